// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/ZeFileManager.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QTemporaryDir>
#include <QThread>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    auto files = ZeFileManager::init();
    const QTemporaryDir data; // stands for the program's data directory
    const QString package = data.filePath("update.bin");

    // An update package and its digest, kept beside it.
    files->writeFile(package, "firmware 1.4.2");
    const QByteArray digest = files->Md5File(package).toHex();
    const QVariantMap manifest{{"file", "update.bin"}, {"md5", digest.constData()}};
    if (!files->writeJsonFile(data.filePath("manifest.json"), manifest, QJsonDocument::Compact))
        qWarning().noquote() << ZeFileManager::getLastError();

    const QVariantMap read = files->readJsonFile(data.filePath("manifest.json")).toMap();
    qDebug() << "package intact:" << (read.value("md5").toByteArray() == digest);

    // A failure returns false and says why.
    if (!files->writeFile(data.filePath("missing/file"), "x"))
        qDebug().noquote() << "reason:" << ZeFileManager::getLastError().section('/', -1);

    // Recordings of the last runs: keep the three newest.
    QDir(data.path()).mkdir("recordings");
    const QString recordings = data.filePath("recordings");
    for (int run = 1; run <= 5; ++run) {
        files->writeFile(recordings + QString("/run%1.rec").arg(run), "...");
        QThread::msleep(20); // newest by modification time, which has its own grain
    }
    files->removeLastDateTimeFiles(recordings, {"*.rec"}, 3);
    qDebug() << "kept:" << QDir(recordings).entryList(QDir::Files);

    // Onto a stick, but for the notes; the copies are on the disk when the call returns.
    files->writeFile(recordings + "/notes.txt", "private");
    const QString stick = data.filePath("stick");
    QList<QVariant> copies;
    if (files->copyDirectoryFilesSuffix(recordings, stick, {"txt"}, true))
        files->getDirectoryFiles(stick, {}, copies);
    qDebug() << "copied:" << copies.size() << "files";

    // A directory with all its content.
    qDebug() << "removed:" << files->removeDirOrFile(recordings);
    return 0;
}
