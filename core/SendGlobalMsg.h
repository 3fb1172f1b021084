// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef SENDGLOBALMSG_H
#define SENDGLOBALMSG_H

#include "core/ZeCoreGlobal.h"

#include <QtCore/QObject>
#include <QtCore/QVariant>

/// The process-wide bus on which the components of a program announce events.
///
/// A component calls sendGlobalMsg() or sendGlobalMsgResult() on the one object;
/// every interested component connects to the signals once. The library itself
/// never sends an event:
/// @code
/// QObject::connect(SendGlobalMsg::init(), &SendGlobalMsg::sigSendGlobalMsg, window,
///                  [window](int sgs, const QVariant &var) {
///                      if (sgs == SendGlobalMsg::E_GS_SaveLayout)
///                          window->saveLayout(var.toBool());
///                  });
/// SendGlobalMsg::init()->sendGlobalMsg(SendGlobalMsg::E_GS_SaveLayout, true);
/// @endcode
///
/// Thread-safety: init() and both send operations may be called from any thread.
/// The signals are emitted on the sender's thread; a receiver that lives in
/// another thread gets them queued, so the payload must be a type that Qt can
/// copy between threads.
class ZECORE_EXPORT SendGlobalMsg : public QObject
{
    Q_OBJECT

public:
    /// The events. Senders may also use numbers outside of this list: they are
    /// passed on unchanged and have no name in the log. What the payload of an
    /// event holds is agreed between its sender and its receivers, and so is the
    /// meaning of an event beyond what its name says.
    enum GlobalSignals {
        E_GS_ChangedTranslator = 0,
        E_GS_ShowGViewRule = 1,
        E_GS_ShowCurveTangent = 2,
        E_GS_CalibrationNode = 3,
        E_GS_SaveLayout = 4,
        E_GS_RestoreLayout = 5,
        E_GS_SynchronizeZmxLMap = 6,
        E_GS_SynchronizeZmxModel = 7,
        E_GS_ScanFinisedOpenLMap = 8, ///< Spelled so: programs know it by this name.
        E_GS_ImportImageToOpenLMap = 9,
        E_GS_ChangedMainTab = 10,
        E_GS_UploadLMap = 11,
        E_GS_ChangedLocalLMap = 12,
        E_GS_UserRole = 13 ///< The last value.
    };
    Q_ENUM(GlobalSignals)

    /// A bus of its own; programs use the one object of init(). @p parent owns it, if given.
    explicit SendGlobalMsg(QObject *parent);

    /// The one object, created on first use in the calling thread. It has no
    /// parent and is never deleted. Thread-safe; takes a lock at every call.
    static SendGlobalMsg *init();

    /// Writes one debug line with the name of @p sgs and @p var, then emits
    /// sigSendGlobalMsg(). Blocks as long as directly connected receivers do.
    void sendGlobalMsg(int sgs, const QVariant &var);

    /// As sendGlobalMsg() with @p sgs and @p var, for the outcome of an event. Logs
    /// @p isError too and emits sigSendGlobalMsgResult().
    void sendGlobalMsgResult(int sgs, const QVariant &var, bool isError);

    /// The object of init(), null before the first call; use init().
    static SendGlobalMsg *pSendGlobalMsg;

Q_SIGNALS:
    /// The event @p sgs, a #GlobalSignals or a number of the program's own, with its
    /// payload @p var.
    void sigSendGlobalMsg(int sgs, const QVariant &var);
    /// The outcome of the event @p sgs, a failure if @p isError, with its payload @p var.
    void sigSendGlobalMsgResult(int sgs, const QVariant &var, bool isError);

private:
    Q_DISABLE_COPY(SendGlobalMsg)
};

#endif // SENDGLOBALMSG_H
