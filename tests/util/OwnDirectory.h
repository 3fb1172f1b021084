// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef OWNDIRECTORY_H
#define OWNDIRECTORY_H

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

namespace TestSupport {

/// Whether this process is the copy that runInOwnDirectory() has started.
inline bool isInOwnDirectory()
{
    return qEnvironmentVariableIsSet("ZECORE_TEST_OWN_DIRECTORY");
}

/// Runs a copy of the test program from "outer/program" in a temporary directory
/// and returns its exit code. For operations that work on the application
/// directory: they must not touch the build.
///
/// Others may enter the directories, so that tests can drop their privileges.
inline int runInOwnDirectory(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    const QTemporaryDir dir;
    const QString home = dir.filePath(QStringLiteral("outer/program"));
    const QString program = home + QStringLiteral("/test");
    const auto open = QFile::Permissions(0x7755);
    if (!QFile::setPermissions(dir.path(), open) || !QDir().mkpath(home)
        || !QFile::copy(QCoreApplication::applicationFilePath(), program))
        return 1;
    QFile::setPermissions(home, open);
    QFile::setPermissions(QFileInfo(home).path(), open);

    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("ZECORE_TEST_OWN_DIRECTORY"), QStringLiteral("1"));
    environment.insert(QStringLiteral("TZ"), QStringLiteral("CST-8"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::ForwardedChannels);
    process.setWorkingDirectory(home);
    process.start(program, QCoreApplication::arguments().mid(1));
    process.waitForFinished(-1);
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : 1;
}

} // namespace TestSupport

#endif // OWNDIRECTORY_H
