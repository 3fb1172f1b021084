// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// One operation of the file manager in a process of its own: with other locales,
// full file systems, another df, or to be killed. Prints its result, then a line
// per entry; log lines go to standard error as "W text" or "D text". "collectAtTheEnd"
// collects when statics are destroyed, and prints how many there are.

#include "files/ZeFileManager.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QStringList>

#include <cstdio>

namespace {

void logToStderr(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    std::fprintf(stderr, "%c %s\n", type == QtWarningMsg ? 'W' : 'D', text.toUtf8().constData());
}

int print(const QList<QVariant> &entries)
{
    for (const QVariant &entry : entries)
        std::printf("%s\n", entry.toString().toLocal8Bit().toHex().constData());
    return 0;
}

/// What the collectors promise to be equal to, by Qt alone.
void collectThroughQt(const QString &path, QList<QVariant> &out)
{
    const QFileInfoList entries =
        QDir(path).entryInfoList(QDir::Dirs | QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot);
    for (const QFileInfo &entry : entries) {
        if (entry.isDir())
            collectThroughQt(entry.absoluteFilePath(), out);
        else if (entry.isFile())
            out.append(entry.absoluteFilePath());
    }
}

/// Like a service of a program that is destroyed after Qt's own statics.
struct LateCollector
{
    LateCollector() = default;
    ~LateCollector()
    {
        if (path.isEmpty())
            return;
        QList<QVariant> out;
        ZeFileManager::init()->getDirectoryFiles(path, {}, out);
        std::printf("%d\n", out.size());
    }
    Q_DISABLE_COPY(LateCollector)

    QString path;
};

LateCollector s_lateCollector;

int printDevices(const QList<QVariant> &devices)
{
    for (const QVariant &entry : devices) {
        const QVariantMap device = entry.toMap();
        QStringList texts;
        for (const char *key : {"dev", "all", "use", "free", "percent", "rootDir"})
            texts += device.value(QString::fromLatin1(key)).toString();
        std::printf("%d|%s\n", device.size(), texts.join('|').toUtf8().constData());
    }
    return 0;
}

int printStorage(const QVariantMap &storage)
{
    QStringList texts;
    for (const char *key : {"isReadOnly", "isValid", "isRoot", "fileSystemType", "rootDir"}) {
        const QString name = QString::fromLatin1(key);
        texts += name + '=' + storage.value(name).toString();
    }
    std::printf("%s\n", texts.join(' ').toUtf8().constData());
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler(logToStderr);
    const QStringList arguments = QCoreApplication::arguments();
    const QString command = arguments.value(1);
    const QString source = arguments.value(2);
    const QString target = arguments.value(3);
    const QSharedPointer<ZeFileManager> files = ZeFileManager::init();
    QList<QVariant> out;

    if (command == "collect") {
        files->getDirectoryFiles(source, {}, out);
        return print(out);
    }
    if (command == "collectAtTheEnd") {
        s_lateCollector.path = source;
        collectThroughQt(source, out); // has Qt make its codecs
        return 0;
    }
    if (command == "collectThroughQt") {
        collectThroughQt(source, out);
        return print(out);
    }
    if (command == "devices")
        return printDevices(files->getDevices());
    if (command == "storage")
        return printStorage(files->getStorageInfo(source));
    if (command == "copyFile")
        std::printf("%d\n", files->copyDirectoryFile(source, target, {}, true));
    if (command == "copyFileSuffix")
        std::printf("%d\n", files->copyDirectoryFileSuffix(source, target, {}, true));
    if (command == "copyFiles")
        std::printf("%d\n", files->copyDirectoryFiles(source, target, {}, true));
    if (command == "copySame")
        std::printf("%d\n", files->copyDirectorySameFiles(source, target));
    return 0;
}
