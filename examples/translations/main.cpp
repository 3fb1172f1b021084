// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/ZeFileManager.h"

#include <QCoreApplication>
#include <QLocale>
#include <QStandardPaths>
#include <QTextStream>
#include <QTranslator>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);

    // Before other threads start; the translator outlives its use.
    QTranslator translator;
    const QString directory =
        QStandardPaths::locate(QStandardPaths::GenericDataLocation, "ZeCore/translations",
                               QStandardPaths::LocateDirectory);
    if (!directory.isEmpty() && translator.load(QLocale::system(), "zecore", "_", directory))
        QCoreApplication::installTranslator(&translator);

    auto files = ZeFileManager::init();
    const QVariantMap layout{{"columns", 3}};
    if (!files->writeJsonFile("/no such folder/layout.json", layout, QJsonDocument::Indented))
        QTextStream(stdout) << ZeFileManager::getLastError() << '\n';
    return 0;
}
