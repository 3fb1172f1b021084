// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "util/PublicClass.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    auto service = PublicClass::init();
    service->appDir = app.applicationDirPath();
    service->initMember();
    QDir(service->appInfoDir).mkpath("backupFile"); // the library does not make it

    // JSON: a tree of maps and lists, every number a double.
    const QString recipePath = service->appInfoDir + "/recipe.json";
    const QVariantMap recipe{
        {"name", "weld seam 4"}, {"speed", 12.5}, {"points", QVariantList{1, 2}}};
    if (!service->writeJsonFile(recipePath, recipe, QJsonDocument::Indented))
        qWarning().noquote() << service->getLastError();
    const QVariantMap read = service->getJsonVariant(recipePath).toMap();
    qDebug() << "speed" << read.value("speed").toDouble() << "points" << read.value("points");

    // An empty document counts as a failure.
    if (!service->isJson("{}"))
        qDebug().noquote() << "refused:" << service->getLastError();

    // INI: written relative to the application directory, read relative to the current one.
    service->writeIni("appInfo/panel.ini", "view/zoom", 150);
    const QVariant zoom = service->readIni(service->appInfoDir + "/panel.ini", "view/zoom");
    qDebug() << "zoom" << zoom.toInt();

    // The action history: one record a line, with the time in front.
    if (!service->writeActionHistory("operator: loaded weld seam 4"))
        qWarning().noquote() << service->getLastError();
    const QList<QByteArray> record = service->readAllActionHistory().trimmed().split('\t');
    qDebug() << "history:" << record.value(1);
    return 0;
}
