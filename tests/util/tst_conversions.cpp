// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/DirectoryGuard_p.h"
#include "support/Capture.h"
#include "support/Unprivileged.h"
#include "util/OwnDirectory.h"
#include "util/PublicClass.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <thread>

using TestSupport::Capture;
using TestSupport::Unprivileged;

namespace {

constexpr qint64 kib = 1024;
constexpr qint64 mib = 1024 * kib;
constexpr qint64 gib = 1024 * mib;

/// A directory that others may enter.
class OpenDir : public QTemporaryDir
{
public:
    OpenDir() { QFile::setPermissions(path(), QFile::Permissions(0x7755)); }
};

bool makeFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write("x") == 1;
}

QString poolFor(bool digits, bool lower, bool upper)
{
    QString pool;
    if (digits)
        pool += QStringLiteral("0123456789");
    if (lower)
        pool += QStringLiteral("abcdefghijklmnopqrstuvwxyz");
    if (lower && upper)
        pool += QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    return pool;
}

} // namespace

class tst_Conversions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sizeToString_data();
    void sizeToString();
    void toTimeString_data();
    void toTimeString();
    void getTimeForSec_data();
    void getTimeForSec();
    void getDateSTime_data();
    void getDateSTime();
    void getDateMSTime_data();
    void getDateMSTime();
    void datesBeyondReason();
    void getCurrentDateTime();
    void rounding_data();
    void rounding();
    void getCountOneBits_data();
    void getCountOneBits();
    void isValidIP_data();
    void isValidIP();
    void getMask1Bits_data();
    void getMask1Bits();
    void isChinese_data();
    void isChinese();
    void findRegExp_data();
    void findRegExp();
    void findRegExpOnManyThreads();
    void randomPassword_data();
    void randomPassword();
    void randomPasswordIsEven();
    void qStringtoStdString_data();
    void qStringtoStdString();
    void stringToByteArray_data();
    void stringToByteArray();
    void lpcstr_data();
    void lpcstr();
    void lpcstrPerThread();
    void getLastDirName_data();
    void getLastDirName();
    void setWindowTitleChanged_data();
    void setWindowTitleChanged();
    void platform();
    void remakePathMakesMissing();
    void remakePathEmptiesExisting();
    void remakePathIsRelativeToTheProgram();
    void remakePathThatIsAFile();
    void remakePathRemovalFails();
    void remakePathRefused_data();
    void remakePathRefused();
    void containsDirectory_data();
    void containsDirectory();
    void nothingIsLogged();

private:
    QSharedPointer<PublicClass> m_service = PublicClass::init();
};

void tst_Conversions::sizeToString_data()
{
    QTest::addColumn<qint64>("size");
    QTest::addColumn<QString>("expected");
    QTest::newRow("0") << qint64(0) << "0.00 ";
    QTest::newRow("-1") << qint64(-1) << "0.00 ";
    QTest::newRow("minimum") << std::numeric_limits<qint64>::min() << "0.00 ";
    QTest::newRow("1") << qint64(1) << "1.00 B";
    QTest::newRow("512") << qint64(512) << "512.00 B";
    QTest::newRow("below 1 KB") << kib - 1 << "1023.00 B";
    QTest::newRow("1 KB") << kib << "1.00 KB";
    QTest::newRow("above 1 KB") << kib + 1 << "1.00 KB";
    QTest::newRow("1.5 KB") << qint64(1536) << "1.50 KB";
    QTest::newRow("rounded up") << qint64(1030) << "1.01 KB";
    QTest::newRow("below 1 MB") << mib - 1 << "1024.00 KB";
    QTest::newRow("1 MB") << mib << "1.00 MB";
    QTest::newRow("below 1 GB") << gib - 1 << "1024.00 MB";
    QTest::newRow("1 GB") << gib << "1.00 GB";
    QTest::newRow("2.25 GB") << 2 * gib + gib / 4 << "2.25 GB";
    QTest::newRow("1 TB") << 1024 * gib << "1024.00 GB";
    QTest::newRow("maximum") << std::numeric_limits<qint64>::max() << "8589934592.00 GB";
}

void tst_Conversions::sizeToString()
{
    QFETCH(qint64, size);
    QFETCH(QString, expected);
    QCOMPARE(m_service->sizeToString(size), expected);
}

void tst_Conversions::toTimeString_data()
{
    QTest::addColumn<qint64>("n");
    QTest::addColumn<QString>("expected");
    QTest::newRow("0") << qint64(0) << "00";
    QTest::newRow("7") << qint64(7) << "07";
    QTest::newRow("9") << qint64(9) << "09";
    QTest::newRow("10") << qint64(10) << "10";
    QTest::newRow("12") << qint64(12) << "12";
    QTest::newRow("100") << qint64(100) << "100";
    QTest::newRow("-5") << qint64(-5) << "0-5";
    QTest::newRow("-10") << qint64(-10) << "0-10";
    QTest::newRow("minimum") << std::numeric_limits<qint64>::min() << "0-9223372036854775808";
    QTest::newRow("maximum") << std::numeric_limits<qint64>::max() << "9223372036854775807";
}

void tst_Conversions::toTimeString()
{
    QFETCH(qint64, n);
    QFETCH(QString, expected);
    QCOMPARE(m_service->toTimeString(n), expected);
}

void tst_Conversions::getTimeForSec_data()
{
    QTest::addColumn<qint64>("ms");
    QTest::addColumn<QString>("expected");
    QTest::newRow("0") << qint64(0) << "00day00h00m00s";
    QTest::newRow("999") << qint64(999) << "00day00h00m00s";
    QTest::newRow("-999") << qint64(-999) << "00day00h00m00s";
    QTest::newRow("1 s") << qint64(1000) << "00day00h00m01s";
    QTest::newRow("-1 s") << qint64(-1000) << "00day00h00m0-1s";
    QTest::newRow("below 1 min") << qint64(59999) << "00day00h00m59s";
    QTest::newRow("1 min") << qint64(60000) << "00day00h01m00s";
    QTest::newRow("below 1 h") << qint64(3599999) << "00day00h59m59s";
    QTest::newRow("1 h") << qint64(3600000) << "00day01h00m00s";
    QTest::newRow("below 1 d") << qint64(86399999) << "00day23h59m59s";
    QTest::newRow("1 d") << qint64(86400000) << "01day00h00m00s";
    QTest::newRow("all fields") << qint64(93784000) << "01day02h03m04s";
    QTest::newRow("all fields negative") << qint64(-93784000) << "0-1day0-2h0-3m0-4s";
    QTest::newRow("100 d") << qint64(8640000000) << "100day00h00m00s";
    QTest::newRow("greatest second") << qint64(2147483647999) << "24855day03h14m07s";
    QTest::newRow("one further wraps") << qint64(2147483648000) << "0-24855day0-3h0-14m0-8s";
    QTest::newRow("2^32 s wraps to 0") << qint64(4294967296000) << "00day00h00m00s";
    QTest::newRow("2^32 + 61 s") << qint64(4294967357000) << "00day00h01m01s";
}

void tst_Conversions::getTimeForSec()
{
    QFETCH(qint64, ms);
    QFETCH(QString, expected);
    QCOMPARE(m_service->getTimeForSec(ms), expected);
}

void tst_Conversions::getDateSTime_data()
{
    // The copy of this program runs eight hours east of Greenwich.
    QTest::addColumn<qint64>("secs");
    QTest::addColumn<QString>("expected");
    QTest::newRow("epoch") << qint64(0) << "1970-01-01 08:00:00";
    QTest::newRow("before") << qint64(-1) << "1970-01-01 07:59:59";
    QTest::newRow("2026") << qint64(1767225600) << "2026-01-01 08:00:00";
    QTest::newRow("beyond 32 bits") << qint64(4294967296) << "2106-02-07 14:28:16";
}

void tst_Conversions::getDateSTime()
{
    QFETCH(qint64, secs);
    QFETCH(QString, expected);
    QCOMPARE(m_service->getDateSTime(secs), expected);
}

void tst_Conversions::getDateMSTime_data()
{
    QTest::addColumn<qint64>("ms");
    QTest::addColumn<QString>("expected");
    QTest::newRow("epoch") << qint64(0) << "1970-01-01 08:00:00.000";
    QTest::newRow("before") << qint64(-1) << "1970-01-01 07:59:59.999";
    QTest::newRow("2026") << qint64(1767225600007) << "2026-01-01 08:00:00.007";
}

void tst_Conversions::getDateMSTime()
{
    QFETCH(qint64, ms);
    QFETCH(QString, expected);
    QCOMPARE(m_service->getDateMSTime(ms), expected);
}

void tst_Conversions::datesBeyondReason()
{
    // What comes out does not matter, that it comes does.
    for (const qint64 time :
         {std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max()}) {
        QVERIFY(!m_service->getDateMSTime(time).isEmpty());
        QVERIFY(!m_service->getDateSTime(time / 1000).isEmpty());
    }
}

void tst_Conversions::getCurrentDateTime()
{
    const QString format = QStringLiteral("yyyy-MM-dd hh:mm:ss");
    const QString before = QDateTime::currentDateTime().toString(format);
    const QString now = m_service->getCurrentDateTime(format);
    const QString after = QDateTime::currentDateTime().toString(format);
    QVERIFY2(before <= now && now <= after, qPrintable(now));
    QCOMPARE(m_service->getCurrentDateTime(QStringLiteral("'%1'")), QStringLiteral("%1"));
    QCOMPARE(m_service->getCurrentDateTime(QString()), QString());
}

void tst_Conversions::rounding_data()
{
    const double infinity = std::numeric_limits<double>::infinity();
    QTest::addColumn<double>("value");
    QTest::addColumn<double>("units"); // what the value is rounded to
    QTest::newRow("0") << 0.0 << 0.0;
    QTest::newRow("half") << 0.5 << 1.0;
    QTest::newRow("below half") << 0.4999 << 0.0;
    QTest::newRow("minus half") << -0.5 << 0.0;
    QTest::newRow("below minus half") << -0.5001 << -1.0;
    QTest::newRow("1.5") << 1.5 << 2.0;
    QTest::newRow("2.5") << 2.5 << 3.0;
    QTest::newRow("-1.5") << -1.5 << -1.0;
    QTest::newRow("-2.5") << -2.5 << -2.0;
    QTest::newRow("-2.6") << -2.6 << -3.0;
    QTest::newRow("1234.5") << 1234.5 << 1235.0;
    QTest::newRow("149.5") << 149.5 << 150.0;
    QTest::newRow("maximum") << 2147483647.0 << 2147483647.0;
    QTest::newRow("maximum, below half") << 2147483647.25 << 2147483647.0;
    QTest::newRow("above the maximum") << 2147483647.5 << 2147483647.0;
    QTest::newRow("minimum") << -2147483648.0 << -2147483648.0;
    QTest::newRow("minimum, half") << -2147483648.5 << -2147483648.0;
    QTest::newRow("below the minimum") << -2147483649.0 << -2147483648.0;
    QTest::newRow("huge") << 1e300 << 2147483647.0;
    QTest::newRow("minus huge") << -1e300 << -2147483648.0;
    QTest::newRow("infinity") << infinity << 2147483647.0;
    QTest::newRow("minus infinity") << -infinity << -2147483648.0;
    QTest::newRow("not a number") << std::nan("") << 0.0;
}

void tst_Conversions::rounding()
{
    QFETCH(double, value);
    QFETCH(double, units);
    // Not QCOMPARE, which takes nearly equal numbers for equal.
    QVERIFY(m_service->mm2m(value) == units / 1000.0);
    QVERIFY(m_service->cm2m(value) == units / 100.0);

    QVERIFY(m_service->mm2m(1234.5) == 1.235);
    QVERIFY(m_service->mm2m(-2.5) == -0.002);
    QVERIFY(m_service->cm2m(149.5) == 1.5);
    QVERIFY(m_service->q_3(1.23456) == 1.235);
    QVERIFY(m_service->q_3(-1.23456) == -1.235);
    QVERIFY(m_service->q_3(0.0005) == 0.001);
    QVERIFY(m_service->q_3(-0.0005) == 0.0);
    QVERIFY(m_service->q_3(2147483.647) == 2147483.647);
    QVERIFY(m_service->q_3(2147484.0) == 2147483.647);
    QVERIFY(m_service->q_3(-2147484.0) == -2147483.648);
    QVERIFY(m_service->q_3(std::numeric_limits<double>::max()) == 2147483.647);
    QVERIFY(m_service->q_3(std::nan("")) == 0.0);
}

void tst_Conversions::getCountOneBits_data()
{
    QTest::addColumn<uint>("n");
    QTest::addColumn<int>("expected");
    for (int bit = 0; bit < 32; ++bit) {
        const uint power = 1u << bit;
        QTest::addRow("2^%d", bit) << power << (bit == 31 ? -1 : 1);
        QTest::addRow("2^%d - 1", bit) << power - 1 << bit;
        QTest::addRow("2^32 - 2^%d", bit) << 0u - power << -1;
    }
    QTest::newRow("0xFFFFFFFF") << 0xFFFFFFFFu << -1;
    QTest::newRow("0xFFFFFFFD") << 0xFFFFFFFDu << -2;
    QTest::newRow("0x80000001") << 0x80000001u << -31;
    QTest::newRow("0x7FFFFFFF") << 0x7FFFFFFFu << 31;
    QTest::newRow("0xF0F0F0F0") << 0xF0F0F0F0u << -13; // 0x0F0F0F10
    QTest::newRow("0x0F0F0F0F") << 0x0F0F0F0Fu << 16;
    QTest::newRow("255") << 255u << 8;
}

void tst_Conversions::getCountOneBits()
{
    QFETCH(uint, n);
    QFETCH(int, expected);
    QCOMPARE(m_service->getCountOneBits(n), expected);
}

void tst_Conversions::isValidIP_data()
{
    QTest::addColumn<QString>("ip");
    QTest::addColumn<bool>("valid");
    QTest::newRow("usual") << "192.168.1.1" << true;
    QTest::newRow("zeros") << "0.0.0.0" << true;
    QTest::newRow("greatest") << "255.255.255.255" << true;
    QTest::newRow("249") << "249.199.99.9" << true;
    QTest::newRow("256 first") << "256.1.1.1" << false;
    QTest::newRow("256 last") << "1.1.1.256" << false;
    QTest::newRow("260") << "1.260.1.1" << false;
    QTest::newRow("300") << "1.1.300.1" << false;
    QTest::newRow("leading zero") << "010.001.1.00" << true;
    QTest::newRow("four digits") << "0001.1.1.1" << false;
    QTest::newRow("three fields") << "1.2.3" << false;
    QTest::newRow("five fields") << "1.2.3.4.5" << false;
    QTest::newRow("blank before") << " 1.2.3.4" << false;
    QTest::newRow("blank after") << "1.2.3.4 " << false;
    QTest::newRow("line feed after") << "1.2.3.4\n" << false;
    QTest::newRow("empty field") << "1..3.4" << false;
    QTest::newRow("trailing dot") << "1.2.3." << false;
    QTest::newRow("other separator") << "1,2,3,4" << false;
    QTest::newRow("any character for a dot") << "1x2x3x4" << false;
    QTest::newRow("letters") << "a.b.c.d" << false;
    QTest::newRow("negative") << "-1.2.3.4" << false;
    QTest::newRow("other digits") << QStringLiteral("١.2.3.4") << false;
    QTest::newRow("address of six") << "::1" << false;
    QTest::newRow("empty") << "" << false;
}

void tst_Conversions::isValidIP()
{
    QFETCH(QString, ip);
    QFETCH(bool, valid);
    QCOMPARE(m_service->isValidIP(ip), valid);
}

void tst_Conversions::getMask1Bits_data()
{
    QTest::addColumn<QString>("mask");
    QTest::addColumn<int>("expected"); // -1: refused
    QTest::newRow("24") << "255.255.255.0" << 24;
    QTest::newRow("0") << "0.0.0.0" << 0;
    QTest::newRow("32") << "255.255.255.255" << 32;
    QTest::newRow("17") << "255.255.128.0" << 17;
    QTest::newRow("with a hole") << "255.0.255.0" << 16;
    QTest::newRow("leading zeros are decimal") << "010.1.1.1" << 5;
    QTest::newRow("three fields") << "255.255.255" << -1;
    QTest::newRow("out of range") << "255.255.256.0" << -1;
    QTest::newRow("substitution mark") << "%1" << -1;
    QTest::newRow("empty") << "" << -1;
}

void tst_Conversions::getMask1Bits()
{
    QFETCH(QString, mask);
    QFETCH(int, expected);
    m_service->setLastError(QStringLiteral("before"));
    int bits = 77;
    QCOMPARE(m_service->getMask1Bits(mask, bits), expected >= 0);
    if (expected >= 0) {
        QCOMPARE(bits, expected);
        QCOMPARE(m_service->getLastError(), QStringLiteral("Error:PublicClass::before"));
    } else {
        QCOMPARE(bits, 77);
        QCOMPARE(m_service->getLastError(),
                 QStringLiteral("Error:PublicClass::Invalid subnet mask: ") + mask
                     + QLatin1Char(' '));
    }
}

void tst_Conversions::isChinese_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("expected");
    QTest::newRow("ASCII") << "abc" << false;
    QTest::newRow("empty") << "" << false;
    QTest::newRow("null") << QString() << false;
    QTest::newRow("NUL") << QString(QChar(0)) << false;
    QTest::newRow("U+007F") << QString(QChar(0x7f)) << false;
    QTest::newRow("U+0080") << QString(QChar(0x80)) << false;
    QTest::newRow("U+0081") << QString(QChar(0x81)) << true;
    QTest::newRow("accent") << QStringLiteral("é") << true;
    QTest::newRow("Chinese") << QStringLiteral("中") << true;
    QTest::newRow("Chinese last") << QStringLiteral("abc中") << true;
    QTest::newRow("surrogates") << QStringLiteral("\U0001F600") << true;
}

void tst_Conversions::isChinese()
{
    QFETCH(QString, text);
    QFETCH(bool, expected);
    QCOMPARE(m_service->isChinese(text), expected);
}

void tst_Conversions::findRegExp_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("one group") << "k=(\\d+);"
                               << "k=1;x k=22; k=;k=3;" << QStringList{"1", "22", "3"};
    QTest::newRow("first of several groups") << "(a)(b)(c)?"
                                             << "ab abc" << QStringList{"a", "a"};
    QTest::newRow("nested groups") << "((a)b)"
                                   << "abab" << QStringList{"ab", "ab"};
    QTest::newRow("no group") << "a+"
                              << "aaba" << QStringList{"", ""};
    QTest::newRow("non-capturing group") << "(?:a)(b)"
                                         << "abab" << QStringList{"b", "b"};
    QTest::newRow("group left out") << "x(y)?"
                                    << "xxyx" << QStringList{"", "y", ""};
    QTest::newRow("no match") << "(z)"
                              << "abc" << QStringList{};
    QTest::newRow("matches do not overlap") << "(aa)"
                                            << "aaaaa" << QStringList{"aa", "aa"};
    QTest::newRow("far match is found once") << "(b)"
                                             << "aaaaaaab" << QStringList{"b"};
    QTest::newRow("far matches") << "(b.)"
                                 << "aaab1aaab2" << QStringList{"b1", "b2"};
    QTest::newRow("case matters") << "(a)"
                                  << "Aa" << QStringList{"a"};
    QTest::newRow("start of the text only") << "^(a)"
                                            << "aaa" << QStringList{"a"};
    QTest::newRow("greedy") << "<(.*)>"
                            << "<a><b>" << QStringList{"a><b"};
    QTest::newRow("line feeds") << "(\\w+)\\n"
                                << "a\nbc\nd" << QStringList{"a", "bc"};
    QTest::newRow("Chinese") << QStringLiteral("图(.)") << QStringLiteral("地图一地图二")
                             << QStringList{QStringLiteral("一"), QStringLiteral("二")};
    QTest::newRow("empty match at once") << "x*"
                                         << "axb" << QStringList{};
    QTest::newRow("empty match later") << "(x*)"
                                       << "xxb" << QStringList{"xx"};
    QTest::newRow("empty match at the end") << "(a)|$"
                                            << "aa" << QStringList{"a", "a"};
    QTest::newRow("empty pattern") << ""
                                   << "abc" << QStringList{};
    QTest::newRow("empty text") << "(a)"
                                << "" << QStringList{};
    QTest::newRow("invalid pattern") << "("
                                     << "((" << QStringList{};
}

void tst_Conversions::findRegExp()
{
    QFETCH(QString, pattern);
    QFETCH(QString, text);
    QFETCH(QStringList, expected);
    QCOMPARE(m_service->findRegExp(pattern, text), expected);
}

void tst_Conversions::findRegExpOnManyThreads()
{
    constexpr int repeats = 200;
    const QString pattern = QStringLiteral("k=(\\d+);");
    QString text;
    QStringList expected;
    for (int i = 0; i < repeats; ++i) {
        text += QStringLiteral("k=%1; ").arg(i);
        expected += QString::number(i);
    }
    PublicClass &service = *m_service;
    std::array<bool, 4> same{};
    std::array<std::thread, 4> threads;
    for (size_t t = 0; t < threads.size(); ++t) {
        threads[t] = std::thread([&, t] {
            same[t] = service.findRegExp(pattern, text) == expected
                && service.isValidIP(QStringLiteral("10.0.0.1"));
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    for (const bool ok : same)
        QVERIFY(ok);
}

void tst_Conversions::randomPassword_data()
{
    QTest::addColumn<bool>("digits");
    QTest::addColumn<bool>("lower");
    QTest::addColumn<bool>("upper");
    QTest::addColumn<bool>("dashes");
    for (int flags = 0; flags < 16; ++flags) {
        const bool digits = flags & 1;
        const bool lower = flags & 2;
        const bool upper = flags & 4;
        const bool dashes = flags & 8;
        QTest::addRow("%s%s%s%s.", digits ? "digits " : "", lower ? "lower " : "",
                      upper ? "upper " : "", dashes ? "dashes" : "")
            << digits << lower << upper << dashes;
    }
}

void tst_Conversions::randomPassword()
{
    QFETCH(bool, digits);
    QFETCH(bool, lower);
    QFETCH(bool, upper);
    QFETCH(bool, dashes);
    const QString pool = poolFor(digits, lower, upper);
    for (int length = -1; length <= 64; ++length) {
        constexpr unsigned seed = 20;
        std::srand(seed);
        const QString password = m_service->randomPassword(length, digits, lower, upper, dashes);
        if (length < 1 || pool.isEmpty()) {
            QVERIFY(password.isNull());
            continue;
        }
        std::srand(seed);
        QString expected;
        for (int place = 1; place <= length; ++place)
            expected += dashes && place % 4 == 0 ? QChar('-') : pool.at(rand() % pool.size());
        QCOMPARE(password, expected);
        QCOMPARE(password.size(), length);
    }
}

void tst_Conversions::randomPasswordIsEven()
{
    constexpr int perCharacter = 500;
    std::srand(1);
    const QString pool = poolFor(true, true, true);
    const QString first =
        m_service->randomPassword(pool.size() * perCharacter, true, true, true, false);
    for (const QChar c : pool) {
        const int count = first.count(c);
        // More than six standard deviations away from the mean.
        QVERIFY2(std::abs(count - perCharacter) < 135, qPrintable(QString(c)));
    }
    // Not seeded again from one call to the next.
    QVERIFY(m_service->randomPassword(16, true, true, true, false)
            != m_service->randomPassword(16, true, true, true, false));
}

void tst_Conversions::qStringtoStdString_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("ASCII") << "abc" << QByteArray("abc");
    QTest::newRow("empty") << "" << QByteArray();
    QTest::newRow("null") << QString() << QByteArray();
    QTest::newRow("two bytes") << QStringLiteral("中文") << QByteArray("\xD6\xD0\xCE\xC4");
    QTest::newRow("accent") << QStringLiteral("é") << QByteArray("\xA8\xA6");
    QTest::newRow("four bytes") << QString(QChar(0x80)) << QByteArray("\x81\x30\x81\x30");
    QTest::newRow("surrogates") << QStringLiteral("\U0001F600") << QByteArray("\x94\x39\xFC\x36");
    QTest::newRow("up to NUL") << QStringLiteral("中a") + QChar(0) + QChar('b')
                               << QByteArray("\xD6\xD0"
                                             "a");
    QTest::newRow("NUL first") << QString(QChar(0)) + QChar('b') << QByteArray();
}

void tst_Conversions::qStringtoStdString()
{
    QFETCH(QString, text);
    QFETCH(QByteArray, expected);
    const std::string result = m_service->qStringtoStdString(text);
    QCOMPARE(QByteArray(result.data(), int(result.size())), expected);
}

void tst_Conversions::stringToByteArray_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("expected");
    QTest::newRow("ASCII") << QByteArray("abc") << QByteArray("abc");
    QTest::newRow("empty") << QByteArray() << QByteArray();
    QTest::newRow("Latin-1") << QByteArray("\xC3\xA9\xC3\xBF") << QByteArray("\xE9\xFF");
    QTest::newRow("beyond Latin-1") << QByteArray("a\xE4\xB8\xAD"
                                                  "b")
                                    << QByteArray("a?b");
    QTest::newRow("surrogates") << QByteArray("\xF0\x9F\x98\x80") << QByteArray("??");
    QTest::newRow("no UTF-8") << QByteArray("a\xFF"
                                            "b")
                              << QByteArray("a?b");
    QTest::newRow("NUL stays") << QByteArray("a\0b", 3) << QByteArray("a\0b", 3);
}

void tst_Conversions::stringToByteArray()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, expected);
    QCOMPARE(m_service->stringToByteArray(text.toStdString()), expected);
}

void tst_Conversions::lpcstr_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("ASCII") << "abc";
    QTest::newRow("empty") << "";
    QTest::newRow("null") << QString();
    QTest::newRow("Chinese") << QStringLiteral("中文");
    QTest::newRow("long") << QString(100000, QLatin1Char('x'));
}

void tst_Conversions::lpcstr()
{
    QFETCH(QString, text);
    const char *bytes = m_service->qStringToLPCSTR(text);
    QCOMPARE(QByteArray(bytes), QByteArray(text.toLocal8Bit()));
    // As a C string it ends at the first NUL.
    bytes = m_service->qStringToLPCSTR(text + QChar(0) + text);
    QCOMPARE(QByteArray(bytes), QByteArray(text.toLocal8Bit()));
}

void tst_Conversions::lpcstrPerThread()
{
    const char *here = m_service->qStringToLPCSTR(QStringLiteral("here"));
    bool same = false;
    std::thread thread([&] {
        // Often enough for memory that was given back to be used again.
        for (int i = 0; i < 8; ++i) {
            const char *there = m_service->qStringToLPCSTR(QStringLiteral("else"));
            same = std::strcmp(there, "else") == 0 && there != here;
        }
    });
    thread.join();
    QVERIFY(same);
    QCOMPARE(here, "here");
}

void tst_Conversions::getLastDirName_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("expected");
    QTest::newRow("absolute") << "/home/user/logs"
                              << "\\home\\user\\logs";
    QTest::newRow("relative") << "a/b/c"
                              << "a\\b\\c";
    QTest::newRow("trailing slash") << "a/b/"
                                    << "a\\b\\";
    QTest::newRow("backslashes") << "a\\b/c"
                                 << "a\\b\\c";
    QTest::newRow("one name") << "a"
                              << "a";
    QTest::newRow("empty") << ""
                           << "";
}

void tst_Conversions::getLastDirName()
{
    QFETCH(QString, path);
    QFETCH(QString, expected);
    QCOMPARE(m_service->getLastDirName(path), expected);
}

void tst_Conversions::setWindowTitleChanged_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected"); // without "*"
    QTest::newRow("bracket") << "[Main] view"
                             << " - edited"
                             << "[Main - edited";
    QTest::newRow("no bracket") << "Main view"
                                << " - edited"
                                << "Main view";
    QTest::newRow("two brackets") << "a]b]c"
                                  << "x"
                                  << "ax";
    QTest::newRow("bracket first") << "]a"
                                   << "x"
                                   << "x";
    QTest::newRow("bracket last") << "a]"
                                  << "x"
                                  << "ax";
    QTest::newRow("bracket in the text") << "a]"
                                         << "]x"
                                         << "a]x";
    QTest::newRow("opening bracket only") << "[a"
                                          << "x"
                                          << "[a";
    QTest::newRow("empty title") << ""
                                 << "x"
                                 << "";
    QTest::newRow("empty text") << "a]b"
                                << ""
                                << "a";
    QTest::newRow("changed before") << "a]*"
                                    << "x"
                                    << "ax";
}

void tst_Conversions::setWindowTitleChanged()
{
    QFETCH(QString, title);
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QCOMPARE(m_service->setWindowTitleChanged(title, text, false), expected);
    QCOMPARE(m_service->setWindowTitleChanged(title, text, true), expected + QLatin1Char('*'));
}

void tst_Conversions::platform()
{
    QVERIFY(!m_service->isBigEnd());
    const int before = m_service->zcType;
    const QList<int> variants{0, 3, 4, 5};
    for (int code = -2; code <= 9; ++code) {
        m_service->zcType = code;
        QCOMPARE(m_service->isZC760(), variants.contains(code));
    }
    m_service->zcType = before;
}

void tst_Conversions::remakePathMakesMissing()
{
    const QTemporaryDir dir;
    QDir::setCurrent(QDir::tempPath());
    Capture capture;
    m_service->remakePath(dir.filePath(QStringLiteral("a/b/c")));
    QVERIFY(QDir(dir.filePath(QStringLiteral("a/b/c"))).exists());
    QCOMPARE(capture.lines(), QStringList());
    QCOMPARE(QDir::currentPath(), QCoreApplication::applicationDirPath());
}

void tst_Conversions::remakePathEmptiesExisting()
{
    const QTemporaryDir dir;
    QVERIFY(QDir(dir.path()).mkpath(QStringLiteral("a/b")));
    QVERIFY(QDir(dir.path()).mkpath(QStringLiteral("other")));
    QVERIFY(makeFile(dir.filePath(QStringLiteral("a/b/.hidden"))));
    QVERIFY(makeFile(dir.filePath(QStringLiteral("other/kept"))));
    QVERIFY(
        QFile::link(dir.filePath(QStringLiteral("other")), dir.filePath(QStringLiteral("a/l"))));
    Capture capture;
    m_service->remakePath(dir.filePath(QStringLiteral("a")));
    const QDir made(dir.filePath(QStringLiteral("a")));
    QVERIFY(made.exists());
    QVERIFY(made.isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot));
    QVERIFY(QFile::exists(dir.filePath(QStringLiteral("other/kept"))));
    QCOMPARE(capture.lines(), QStringList());
}

void tst_Conversions::remakePathIsRelativeToTheProgram()
{
    const QTemporaryDir elsewhere;
    QDir::setCurrent(elsewhere.path());
    const QDir home(QCoreApplication::applicationDirPath());
    QVERIFY(home.mkpath(QStringLiteral("made/inner")));
    m_service->remakePath(QStringLiteral("made"));
    QVERIFY(home.exists(QStringLiteral("made")));
    QVERIFY(!home.exists(QStringLiteral("made/inner")));
    QVERIFY(QDir(elsewhere.path()).isEmpty());
    QCOMPARE(QDir::currentPath(), home.path());
    QVERIFY(home.rmdir(QStringLiteral("made")));
}

void tst_Conversions::remakePathThatIsAFile()
{
    const QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("file"));
    QVERIFY(makeFile(path));
    Capture capture;
    m_service->remakePath(path); // neither removed nor made, and nothing to report
    QVERIFY(QFileInfo(path).isFile());
    QCOMPARE(capture.lines(), QStringList());
}

void tst_Conversions::remakePathRemovalFails()
{
    const OpenDir dir;
    const QString locked = dir.filePath(QStringLiteral("locked"));
    QVERIFY(QDir().mkdir(locked));
    QVERIFY(makeFile(locked + QStringLiteral("/file")));
    QVERIFY(QFile::setPermissions(locked, QFile::Permissions(0x5555)));
    Capture capture;
    {
        const Unprivileged unprivileged;
        m_service->remakePath(locked);
    }
    QCOMPARE(capture.lines(),
             QStringList{QStringLiteral("W [warning][remakePath] [remove failed: ") + locked
                         + QStringLiteral(" ]")});
    QVERIFY(QFile::exists(locked + QStringLiteral("/file")));
    QVERIFY(QFile::setPermissions(locked, QFile::Permissions(0x7755)));
}

void tst_Conversions::remakePathRefused_data()
{
    QTest::addColumn<QString>("path");
    const QString home = QCoreApplication::applicationDirPath();
    QTest::newRow("empty") << "";
    QTest::newRow("null") << QString();
    QTest::newRow("itself") << home;
    QTest::newRow("itself with a slash") << home + QLatin1Char('/');
    QTest::newRow("itself by a detour") << home + QStringLiteral("/../program/.");
    QTest::newRow("dot") << ".";
    QTest::newRow("parent") << "..";
    QTest::newRow("parent with dots") << "./../.";
    QTest::newRow("parent, absolute") << QFileInfo(home).path();
    QTest::newRow("by a link") << QFileInfo(home).path() + QStringLiteral("/link");
}

void tst_Conversions::remakePathRefused()
{
    QFETCH(QString, path);
    const QDir home(QCoreApplication::applicationDirPath());
    // If this fails, the program removes no more than the copy of itself.
    QVERIFY(TestSupport::isInOwnDirectory());
    const QString link = QFileInfo(home.path()).path() + QStringLiteral("/link");
    QFile::link(home.path(), link);
    QVERIFY(makeFile(home.filePath(QStringLiteral("kept"))));
    const QStringList before = home.entryList();
    const QTemporaryDir elsewhere;
    QDir::setCurrent(elsewhere.path());

    Capture capture;
    m_service->remakePath(path);
    QCOMPARE(capture.lines(),
             QStringList{QStringLiteral("W [warning][remakePath] [remove failed: ") + path
                         + QStringLiteral(" ]")});
    QCOMPARE(QDir(home.path()).entryList(), before);
    QVERIFY(elsewhere.isValid() && QDir(elsewhere.path()).isEmpty());
    QCOMPARE(QDir::currentPath(), home.path());
    QVERIFY(QFile::remove(link));
}

void tst_Conversions::containsDirectory_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("expected");
    const QString home = QCoreApplication::applicationDirPath();
    QTest::newRow("root") << "/" << true;
    QTest::newRow("root twice") << "//" << true;
    QTest::newRow("above root") << "/.." << true;
    QTest::newRow("root of the process") << "/proc/self/root" << true;
    QTest::newRow("itself") << home << true;
    QTest::newRow("parent") << home + QStringLiteral("/..") << true;
    QTest::newRow("below") << home + QStringLiteral("/inner") << false;
    QTest::newRow("missing") << home + QStringLiteral("/none") << false;
    QTest::newRow("the same beginning") << home.left(home.size() - 1) << false;
    QTest::newRow("elsewhere") << "/usr" << false;
}

void tst_Conversions::containsDirectory()
{
    QFETCH(QString, path);
    QFETCH(bool, expected);
    const QDir home(QCoreApplication::applicationDirPath());
    QVERIFY(home.mkpath(QStringLiteral("inner")));
    const QString beginning = home.path().left(home.path().size() - 1);
    QVERIFY(QDir().mkpath(beginning));
    QCOMPARE(ZeCore::containsDirectory(path, home.path()), expected);
    QVERIFY(QDir().rmdir(beginning));
    QVERIFY(home.rmdir(QStringLiteral("inner")));
}

void tst_Conversions::nothingIsLogged()
{
    Capture capture;
    m_service->sizeToString(-1);
    m_service->getTimeForSec(-1);
    m_service->mm2m(std::nan(""));
    m_service->isValidIP(QStringLiteral("x"));
    int bits = 0;
    m_service->getMask1Bits(QStringLiteral("x"), bits);
    m_service->findRegExp(QStringLiteral("("), QStringLiteral("x"));
    m_service->randomPassword(-1, true, true, true, true);
    m_service->qStringtoStdString(QString());
    QCOMPARE(capture.lines(), QStringList());
}

int main(int argc, char *argv[])
{
    if (!TestSupport::isInOwnDirectory())
        return TestSupport::runInOwnDirectory(argc, argv);
    QCoreApplication app(argc, argv);
    tst_Conversions test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_conversions.moc"
