// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "util/PublicClass.h"

#include "core/JsonTree_p.h"
#include "core/LogTag_p.h"
#include "util/LineCollector_p.h"
#include "util/SettingsRoom_p.h"
#include "util/TextUpToNul_p.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDataStream>
#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QSettings>
#include <QtCore/QStringList>

namespace {

using ZeCore::logDebug;
using ZeCore::logWarning;

/// How many characters QSettings may write for a value, before it escapes them.
qint64 lengthOf(const QVariant &value)
{
    if (value.userType() == QMetaType::QString)
        return value.toString().size();
    // Bytes, lists, maps: QSettings writes most of them in this form.
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream << value;
    return bytes.size();
}

/// Parses @p data; logs and returns false if it is no JSON or an empty document.
bool parseDocument(const char *operation, const QByteArray &data, QJsonDocument &document)
{
    QJsonParseError error{};
    document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError) {
        logWarning(operation) << "[" << error.errorString() << "]";
        return false;
    }
    if (ZeCore::isEmptyDocument(document)) {
        logWarning(operation) << "[jsonDocument.isEmpty()]";
        return false;
    }
    return true;
}

/// The whole contents of a file; empty if it cannot be opened.
QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString inApplicationDir(const QString &path)
{
    return QStringLiteral("%1/%2").arg(QCoreApplication::applicationDirPath(), path);
}

QString historyPath()
{
    return inApplicationDir(QStringLiteral("appInfo/backupFile/ActionHistory.txt"));
}

} // namespace

bool PublicClass::isJson(const QByteArray &data)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError) {
        setLastError(QStringLiteral("%1:%2").arg(QLatin1String("isJson"), error.errorString()));
        return false;
    }
    if (ZeCore::isEmptyDocument(document)) {
        setLastError(QStringLiteral("json:%1 is empty").arg(ZeCore::textUpToNul(data)));
        return false;
    }
    return true;
}

QVariant PublicClass::getJsonVariant(const QByteArray &data)
{
    QJsonDocument document;
    if (!parseDocument("getJsonVariant", data, document))
        return QVariant();
    return ZeCore::toVariantTree(document);
}

QVariant PublicClass::getJsonVariant(const QString &path)
{
    const QFileInfo info(path);
    QByteArray data;
    if (info.isFile())
        data = contentsOf(info.absoluteFilePath());
    else
        logWarning("getJsonVariant") << "[" << path << "is not a file]";
    return getJsonVariant(data);
}

QString PublicClass::getValueFromJson(const QByteArray &data) const
{
    constexpr auto operation = "getValueFromJson";
    QJsonDocument document;
    if (!parseDocument(operation, data, document))
        return QString();
    if (document.isArray()) {
        logDebug(operation) << "[jsonDocument.isArray]";
        return QString();
    }
    // Of several members the last one wins; callers rely on it.
    const QVariantMap members = ZeCore::toVariantTree(document).toMap();
    return members.last().toString();
}

QByteArray PublicClass::qVariantToByteArray(const QVariant &v,
                                            const QJsonDocument::JsonFormat &fmt) const
{
    if (v.isNull())
        return QByteArray();
    switch (v.userType()) {
    case QMetaType::QString:
        return v.toString().toLocal8Bit();
    case QMetaType::QVariantMap:
    case QMetaType::QVariantList:
        return QJsonDocument::fromVariant(v).toJson(fmt);
    case QMetaType::QByteArray:
        return v.toByteArray();
    default:
        return QByteArray();
    }
}

bool PublicClass::writeJsonFile(const QString &path, const QVariant &v,
                                QJsonDocument::JsonFormat fmt)
{
    const QJsonDocument document = ZeCore::documentFromVariant(v);
    if (ZeCore::isEmptyDocument(document)) {
        setLastError(QStringLiteral("json format is incorrect"));
        return false;
    }
    const QByteArray bytes = document.toJson(fmt);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        setLastError(QStringLiteral("Fail to open file:%1").arg(path));
        return false;
    }
    file.write(bytes); // not looked at: callers rely on true for a file that opened
    return true;
}

QVariant PublicClass::readIni(const QString &path, const QString &key)
{
    return QSettings(path, QSettings::IniFormat).value(key);
}

void PublicClass::writeIni(const QString &path, const QString &key, const QVariant &value)
{
    QSettings settings(inApplicationDir(path), QSettings::IniFormat);
    if (ZeCore::hasRoomForSettings(settings.fileName(), key.size() + lengthOf(value)))
        settings.setValue(key, value);
}

QStringList PublicClass::readTxt(const QString &path)
{
    constexpr qint64 blockSize = 1 << 20;
    QFile file(path);
    if (path.isEmpty() || !file.open(QIODevice::ReadOnly))
        return QStringList();
    // Not in text mode, in which Qt drops or keeps a lone carriage return
    // depending on where in the file it stands.
    ZeCore::LineCollector lines;
    for (QByteArray block = file.read(blockSize); !block.isEmpty(); block = file.read(blockSize))
        lines.add(block);
    return lines.finish();
}

QMap<QString, QString> PublicClass::readKeyComparison(const QString &path)
{
    QMap<QString, QString> table;
    const QJsonObject root = QJsonDocument::fromJson(contentsOf(path)).object();
    const QStringList keys = root.value(QLatin1String("ShiftForge")).toObject().keys();
    // The inner object only names the keys; what they stand for is in the root.
    for (const QString &key : keys)
        table.insert(key, root.value(key).toString());
    return table;
}

QByteArray PublicClass::readAllActionHistory()
{
    return contentsOf(historyPath());
}

bool PublicClass::writeActionHistory(const QString &text)
{
    // Without a buffer the record reaches the file in one piece, and at its end
    // whatever other processes have added meanwhile.
    QFile file(historyPath());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
        setLastError(file.errorString());
        return false;
    }
    const QString time =
        QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
    file.write(QStringLiteral("%1\t%2\r\n").arg(time, text).toUtf8());
    return true;
}
