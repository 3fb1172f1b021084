// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "util/PublicClass.h"

#include "core/DirectoryGuard_p.h"
#include "core/LogTag_p.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QRegExp>
#include <QtCore/QStringList>
#include <QtCore/QTextCodec>
#include <QtCore/QVector>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

struct SizeUnit
{
    double size = 0;
    QLatin1String name;
};

const std::array<SizeUnit, 4> sizeUnits{{
    {1.0, QLatin1String("B")},
    {1024.0, QLatin1String("KB")},
    {1024.0 * 1024.0, QLatin1String("MB")},
    {1024.0 * 1024.0 * 1024.0, QLatin1String("GB")},
}};

/// The greatest unit that @p size reaches; a fraction of a byte does not exist.
const SizeUnit &unitFor(double size)
{
    const auto greater = std::find_if(sizeUnits.begin() + 1, sizeUnits.end(),
                                      [size](const SizeUnit &unit) { return size < unit.size; });
    return *(greater - 1);
}

/// The nearest whole number, halves upwards, held within the 32-bit range.
double roundHalfUp(double value)
{
    using Limits = std::numeric_limits<qint32>;
    if (std::isnan(value))
        return 0.0;
    return qBound<double>(Limits::min(), std::floor(value + 0.5), Limits::max());
}

/// QRegExp stores the state of a match, so every call has one of its own.
QRegExp addressPattern()
{
    return QRegExp(QStringLiteral("\\b(?:(?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)\\.){3}"
                                  "(?:25[0-5]|2[0-4][0-9]|[01]?[0-9][0-9]?)\\b"));
}

QString passwordPool(bool digits, bool lower, bool upper)
{
    QString pool;
    if (digits)
        pool += QLatin1String("0123456789");
    if (lower) {
        pool += QLatin1String("abcdefghijklmnopqrstuvwxyz");
        // Never without the lower-case ones; callers rely on it.
        if (upper)
            pool += QLatin1String("ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    }
    return pool;
}

/// Removes the tree @p path, but never one that holds the installed program. An
/// empty path counts as such: to QDir it is the current directory.
bool removeTree(const QString &path)
{
    if (path.isEmpty() || ZeCore::containsDirectory(path, QCoreApplication::applicationDirPath()))
        return false;
    return QDir(path).removeRecursively();
}

} // namespace

QString PublicClass::sizeToString(qint64 size)
{
    const auto bytes = static_cast<double>(size);
    double value = 0.0;
    QString name;
    if (bytes > 0.0) {
        const SizeUnit &unit = unitFor(bytes);
        value = bytes / unit.size;
        name = unit.name;
    }
    return QStringLiteral("%1 %2").arg(QString::number(value, 'f', 2), name);
}

QString PublicClass::toTimeString(qint64 n)
{
    const QString digits = QString::number(n);
    // Negative numbers get the "0" as well; callers rely on it.
    return n < 10 ? QLatin1Char('0') + digits : digits;
}

QString PublicClass::getTimeForSec(qint64 ms)
{
    // Durations beyond the 32-bit range of seconds wrap around; callers rely on it.
    const auto s = static_cast<qint32>(ms / 1000);
    return QStringLiteral("%1day%2h%3m%4s")
        .arg(toTimeString(s / 86400), toTimeString((s / 3600) % 24), toTimeString((s / 60) % 60),
             toTimeString(s % 60));
}

QString PublicClass::getDateSTime(const qint64 &secs) const
{
    return QDateTime::fromSecsSinceEpoch(secs).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss"));
}

QString PublicClass::getDateMSTime(const qint64 &ms) const
{
    return QDateTime::fromMSecsSinceEpoch(ms).toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"));
}

QString PublicClass::getCurrentDateTime(const QString &format) const
{
    return QDateTime::currentDateTime().toString(format);
}

double PublicClass::mm2m(double v)
{
    return roundHalfUp(v) / 1000.0;
}

double PublicClass::cm2m(double v)
{
    return roundHalfUp(v) / 100.0;
}

double PublicClass::q_3(double v)
{
    return roundHalfUp(v * 1000.0) / 1000.0;
}

int PublicClass::getCountOneBits(uint n)
{
    // Signed on purpose: callers rely on what that gives for the top bit.
    int count = 0;
    for (auto rest = static_cast<qint32>(n); rest != 0; rest /= 2)
        count += rest % 2;
    return count;
}

bool PublicClass::isValidIP(const QString &ip)
{
    return addressPattern().exactMatch(ip);
}

bool PublicClass::getMask1Bits(const QString &mask, int &bits)
{
    if (!isValidIP(mask)) {
        setLastError(QStringLiteral("Invalid subnet mask: %1 ").arg(mask));
        return false;
    }
    bits = 0;
    const auto fields = mask.splitRef(QLatin1Char('.'));
    for (const QStringRef &field : fields)
        bits += getCountOneBits(field.toUInt());
    return true;
}

bool PublicClass::isChinese(const QString &text)
{
    // Any character beyond ASCII will do, and U+0080 will not; callers rely on it.
    return std::any_of(text.begin(), text.end(), [](QChar c) { return c.unicode() > 0x80; });
}

QStringList PublicClass::findRegExp(const QString &pattern, const QString &text)
{
    QStringList captures;
    QRegExp expression(pattern);
    int position = expression.indexIn(text, 0);
    // An empty match would be found again and again at the same place.
    while (position >= 0 && expression.matchedLength() > 0) {
        captures.append(expression.cap(1));
        position = expression.indexIn(text, position + expression.matchedLength());
    }
    return captures;
}

QString PublicClass::randomPassword(const int &length, const bool &digits, const bool &lower,
                                    const bool &upper, const bool &dashes)
{
    constexpr int groupLength = 4;
    const QString pool = passwordPool(digits, lower, upper);
    QString password;
    if (pool.isEmpty())
        return password;
    for (int i = 1; i <= length; ++i) {
        const bool isDash = dashes && i % groupLength == 0;
        password += isDash ? QChar(QLatin1Char('-')) : pool.at(std::rand() % pool.size());
    }
    return password;
}

std::string PublicClass::qStringtoStdString(const QString &s)
{
    const QTextCodec *codec = QTextCodec::codecForName("gb18030");
    return codec ? std::string(codec->fromUnicode(s).constData()) : std::string();
}

QByteArray PublicClass::stringToByteArray(const std::string &s) const
{
    return QString::fromUtf8(s.data(), static_cast<int>(s.size())).toLatin1();
}

const char *PublicClass::qStringToLPCSTR(const QString &s)
{
    thread_local QByteArray bytes;
    bytes = s.toLocal8Bit();
    return bytes.constData();
}

QString PublicClass::getLastDirName(QString path)
{
    // The whole path, whatever the name says; callers rely on it.
    return path.replace(QLatin1Char('/'), QLatin1Char('\\'));
}

void PublicClass::remakePath(const QString &path)
{
    const QString base = QCoreApplication::applicationDirPath();
    QDir::setCurrent(base);
    const QString target = path.isEmpty() ? path : QDir(base).absoluteFilePath(path);
    if (!removeTree(target))
        ZeCore::logWarning("remakePath") << "[remove failed:" << path << "]";
    if (!target.isEmpty())
        QDir().mkpath(target);
    QDir::setCurrent(base); // what handles the log line may have left it
}

QString PublicClass::setWindowTitleChanged(const QString &title, const QString &text, bool changed)
{
    const int bracket = title.indexOf(QLatin1Char(']'));
    QString result = bracket < 0 ? title : title.left(bracket) + text;
    if (changed)
        result += QLatin1Char('*');
    return result;
}

bool PublicClass::isBigEnd()
{
    return false;
}

bool PublicClass::isZC760()
{
    return zcType == Zc760_1 || zcType == Zc760_2 || zcType == Zc760_3 || zcType == Zc760_4;
}
