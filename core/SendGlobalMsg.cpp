// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/SendGlobalMsg.h"

#include "core/LogTag_p.h"
#include "core/Sync_p.h"

#include <QtCore/QLatin1String>
#include <QtCore/QMetaEnum>
#include <QtCore/QMutex>

using ZeCore::logDebug;

SendGlobalMsg *SendGlobalMsg::pSendGlobalMsg = nullptr;

namespace {

/// The name of an event; empty for a number without one.
QLatin1String nameOf(int sgs)
{
    return QLatin1String(QMetaEnum::fromType<SendGlobalMsg::GlobalSignals>().valueToKey(sgs));
}

} // namespace

SendGlobalMsg::SendGlobalMsg(QObject *parent)
    : QObject(parent)
{
}

SendGlobalMsg *SendGlobalMsg::init()
{
    static QMutex creation;
    const ZeCore::MutexLock lock(creation);
    if (!pSendGlobalMsg)
        pSendGlobalMsg = new SendGlobalMsg(nullptr);
    return pSendGlobalMsg;
}

void SendGlobalMsg::sendGlobalMsg(int sgs, const QVariant &var)
{
    logDebug("sendGlobalMsg") << "[" << nameOf(sgs) << var << "]";
    Q_EMIT sigSendGlobalMsg(sgs, var);
}

void SendGlobalMsg::sendGlobalMsgResult(int sgs, const QVariant &var, bool isError)
{
    logDebug("sendGlobalMsgResult") << "[" << nameOf(sgs) << var << "isError:" << isError << "]";
    Q_EMIT sigSendGlobalMsgResult(sgs, var, isError);
}
