// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef BASEOBJECT_H
#define BASEOBJECT_H

#include "core/ZeCoreGlobal.h"

#include <QtCore/QObject>
#include <QtCore/QString>

/// A QObject with the text of its most recent failure.
///
/// Derived classes report a failure through their return value and keep the
/// reason here. Nothing in the class clears the text: it stays until the next
/// setLastError().
///
/// Not thread-safe: an object's last error is set and read on the thread that
/// uses the object.
class ZECORE_EXPORT BaseObject : public QObject
{
    Q_OBJECT

public:
    /// Creates the object with an empty last error; @p parent owns it, if given.
    explicit BaseObject(QObject *parent = nullptr);

    /// The most recent failure text, without line feeds; empty if there was none.
    /// The reference is valid as long as the object and changes with setLastError().
    const QString &lastError() const;

    /// Stores @p error and writes it as one warning line.
    ///
    /// @note The stored text has every line feed removed (carriage returns stay), so
    /// that it fits one line of a dialogue; the log line shows @p error as given.
    void setLastError(const QString &error);

private:
    Q_DISABLE_COPY(BaseObject)

    QString m_lastError;
};

#endif // BASEOBJECT_H
