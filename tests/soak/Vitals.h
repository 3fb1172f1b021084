// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef VITALS_H
#define VITALS_H

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QtGlobal>

namespace Soak {

/// What a process holds.
struct Vitals
{
    int descriptors = 0;
    int threads = 0;
    qint64 residentKib = 0;
    qint64 heapKib = 0; ///< handed out by malloc()

    static Vitals ofThisProcess();

    QByteArray toWords() const;
    /// From the words of toWords(), beginning at @p first.
    static Vitals fromWords(const QList<QByteArray> &words, int first);
};

} // namespace Soak

#endif // VITALS_H
