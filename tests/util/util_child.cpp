// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Calls the utility service in a process of its own:
//   util_child identity       prints zcType, zcName, lastError, appInfoDir and logDir
//   util_child run COMMAND    prints the result of processCmd and its output
//   util_child writeIni FILE KEY VALUE [KIND]   KIND: map, list (of a map), bytes (all NUL)
//   util_child autoBoot

#include "util/PublicClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QTextStream>
#include <QtCore/QVariant>

namespace {

/// A value of the size of @p text.
QVariant valueOf(const QString &text, const QString &kind)
{
    if (kind == "map")
        return QVariantMap{{"m", text}};
    if (kind == "list")
        return QVariantList{QVariantMap{{"m", text}}};
    if (kind == "bytes")
        return QByteArray(text.size(), '\0');
    return text;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    QTextStream out(stdout);
    PublicClass &service = *PublicClass::init();
    if (arguments.value(1) == "identity") {
        service.appDir = "/data/app";
        service.initMember();
        out << service.zcType << '\n'
            << service.zcName << '\n'
            << service.getLastError() << '\n'
            << service.appInfoDir << '\n'
            << service.logDir << '\n';
        return 0;
    }
    if (arguments.value(1) == "run") {
        QString text;
        const bool result = service.processCmd(arguments.value(2), text, 20000, true);
        out << (result ? "true" : "false") << '\n' << text << '\n';
        return 0;
    }
    if (arguments.value(1) == "writeIni") {
        const QDir program(QCoreApplication::applicationDirPath());
        service.writeIni(program.relativeFilePath(QDir().absoluteFilePath(arguments.value(2))),
                         arguments.value(3), valueOf(arguments.value(4), arguments.value(5)));
        return 0;
    }
    if (arguments.value(1) == "autoBoot") {
        service.setAutoBootSoftware(true);
        return 0;
    }
    return 64;
}
