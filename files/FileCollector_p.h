// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef FILECOLLECTOR_P_H
#define FILECOLLECTOR_P_H

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

namespace ZeCore {

/// Which files a collector takes and what it says of the others.
struct CollectorRule
{
    const char *operation; ///< as log lines name it
    bool bySuffix;         ///< compares suffixes, not whole names
    bool listed;           ///< takes the listed ones, not the others
    bool logsSkipped;      ///< says which files of a directory it leaves out
    const char *failed;    ///< UTF-8; what it says of a nested directory that failed, or null
};

extern const CollectorRule collectListedSuffixes;
extern const CollectorRule collectOtherSuffixes;
extern const CollectorRule collectOtherNames;

/// Appends the absolute paths of the files below @p path, or of the one file that
/// it names, that @p rule takes. False if that one file is not taken.
bool collectFiles(const CollectorRule &rule, const QString &path, const QStringList &list,
                  QList<QVariant> &out);

} // namespace ZeCore

#endif // FILECOLLECTOR_P_H
