// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/Sync_p.h"
#include "log/ZeLog.h"
#include "support/StderrTo.h"
#include "support/TestClock.h"

#include <QtCore/QTextCodec>
#include <QtCore/QTimeZone>
#include <QtTest/QTest>

#include <algorithm>
#include <random>
#include <thread>
#include <type_traits>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using TestSupport::StderrCapture;
using TestSupport::StderrTo;

namespace {

const QByteArray resetCode("\x1B[0m");

void logText(QtMsgType type, const QString &text)
{
    ZeLog::outputMessage(type, QMessageLogContext(), text);
}

QStringList queuedLines()
{
    const ZeCore::MutexLock lock(ZeLog::_mutex);
    return ZeLog::_stringList;
}

/// What follows the stamp of a line.
QString withoutStamp(const QString &line)
{
    return line.mid(26);
}

void setZone(const char *zone)
{
    qputenv("TZ", zone);
    tzset();
}

QDateTime utc(int year, int month, int day, int hour, int minute, int second, int msec)
{
    return QDateTime(QDate(year, month, day), QTime(hour, minute, second, msec), Qt::UTC);
}

} // namespace

class tst_LogHandler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void typesAndInitialValues();
    void colorConstants_data();
    void colorConstants();
    void gates_data();
    void gates();
    void setWriteLogToFile();
    void stamp_data();
    void stamp();
    void stampAgreesWithQt();
    void stampFollowsClockAndZone();
    void queuedText_data();
    void queuedText();
    void semaphoreCountsLines();
    void console_data();
    void console();
    void consoleWithOddCharacterAnywhere_data();
    void consoleWithOddCharacterAnywhere();
    void consoleColorsAreReadOnEachCall();
    void consoleUsesLocalCodec_data();
    void consoleUsesLocalCodec();
    void consoleIsOneWritePerLine();
    void consoleOfHugeMessage();
    void consoleThatIsNonBlocking();
    void consoleThatIsClosed();
    void consoleThatBlocksHoldsUpNobodyElse();
    void setConsoleColor_data();
    void setConsoleColor();
    void threadsQueueInOrderOfTime();
    void installedHandlerSeesStreams();
};

void tst_LogHandler::initTestCase()
{
    setZone("UTC");
}

void tst_LogHandler::init()
{
    ZeLog::_isRelease = false;
    ZeLog::_isWriteLogToFile = true;
    ZeLog::_stringList.clear();
    while (ZeLog::_synSem.tryAcquire()) { }
}

void tst_LogHandler::cleanup()
{
    TestClock::reset();
    setZone("UTC");
}

void tst_LogHandler::typesAndInitialValues()
{
    static_assert(std::is_same<decltype(ZeLog::_isRelease), bool>::value, "type");
    static_assert(std::is_same<decltype(ZeLog::_isWriteLogToFile), bool>::value, "type");
    static_assert(std::is_same<decltype(ZeLog::_stringList), QStringList>::value, "type");
    static_assert(std::is_same<decltype(ZeLog::_mutex), QMutex>::value, "type");
    static_assert(std::is_same<decltype(ZeLog::_synSem), QSemaphore>::value, "type");
    static_assert(std::is_same<decltype(ZeLog::s_LogName), QString>::value, "type");
    static_assert(std::is_same<decltype(ZeLog::s_SysLogName), QString>::value, "type");
    static_assert(std::is_same<decltype(ZeLog::g_currentDateStr), QString>::value, "type");
    static_assert(std::is_same<decltype(ZeLog::g_index), int>::value, "type");
    static_assert(std::is_base_of<BaseThread, ZeLog>::value, "a BaseThread");
    static_assert(sizeof(ZeLog) == sizeof(BaseThread), "no fields of its own");
    QVERIFY(ZeLog::s_LogName.isEmpty());
    QVERIFY(ZeLog::s_SysLogName.isEmpty());
    QVERIFY(ZeLog::g_currentDateStr.isEmpty());
    QCOMPARE(ZeLog::g_index, 0);
    QCOMPARE(ZeLog::_synSem.available(), 0);
    QVERIFY(ZeLog::_mutex.tryLock());
    QVERIFY(!ZeLog::_mutex.tryLock()); // not recursive
    ZeLog::_mutex.unlock();
    const QtMessageHandler handler = &ZeLog::outputMessage;
    QVERIFY(handler);
    QCOMPARE(ZeLog::staticMetaObject.methodCount(), BaseThread::staticMetaObject.methodCount());
    QCOMPARE(ZeLog::staticMetaObject.propertyCount(), BaseThread::staticMetaObject.propertyCount());
}

void tst_LogHandler::colorConstants_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("expected");
#define ROW(name, expected) QTest::newRow(#name) << ZeLog::name << expected
    ROW(DEFAULT, 0);
    ROW(BOLD, 1);
    ROW(UN_BOLD, 2);
    ROW(UNDER_LINE, 4);
    ROW(GLINT, 5);
    ROW(INVERSE, 7);
    ROW(BOLD_2, 21);
    ROW(NORMAL, 22);
    ROW(UN_UNDER_LINE, 24);
    ROW(STOP_GLINT, 25);
    ROW(INVERSE_2, 27);
    ROW(FORE_GROUND_BLACK, 30);
    ROW(FORE_GROUND_RED, 31);
    ROW(FORE_GROUND_GREEN, 32);
    ROW(FORE_GROUND_ORANGE, 33);
    ROW(FORE_GROUND_BLUE, 34);
    ROW(FORE_GROUND_PURPLE, 35);
    ROW(FORE_GROUND_CYAN, 36);
    ROW(FORE_GROUND_WHITE, 37);
    ROW(BACK_GROUND_BLACK, 40);
    ROW(BACK_GROUND_RED, 41);
    ROW(BACK_GROUND_GREEN, 42);
    ROW(BACK_GROUND_ORANGE, 43);
    ROW(BACK_GROUND_BLUE, 44);
    ROW(BACK_GROUND_PURPLE, 45);
    ROW(BACK_GROUND_CYAN, 46);
    ROW(BACK_GROUND_WHITE, 47);
#undef ROW
}

void tst_LogHandler::colorConstants()
{
    QFETCH(int, value);
    QFETCH(int, expected);
    QCOMPARE(value, expected);
}

void tst_LogHandler::gates_data()
{
    QTest::addColumn<bool>("isRelease");
    QTest::addColumn<bool>("isWriteLogToFile");
    QTest::addColumn<bool>("passes");
    QTest::newRow("open") << false << true << true;
    QTest::newRow("released") << true << true << false;
    QTest::newRow("not writing") << false << false << false;
    QTest::newRow("released and not writing") << true << false << false;
}

void tst_LogHandler::gates()
{
    QFETCH(bool, isRelease);
    QFETCH(bool, isWriteLogToFile);
    QFETCH(bool, passes);
    ZeLog::_isRelease = isRelease;
    ZeLog::_isWriteLogToFile = isWriteLogToFile;
    StderrCapture console;
    for (const QtMsgType type : {QtDebugMsg, QtWarningMsg, QtCriticalMsg, QtFatalMsg, QtInfoMsg})
        logText(type, "text");
    QCOMPARE(queuedLines().size(), passes ? 5 : 0);
    QCOMPARE(ZeLog::_synSem.available(), passes ? 5 : 0);
    QCOMPARE(console.take().count('\n'), passes ? 5 : 0);
}

void tst_LogHandler::setWriteLogToFile()
{
    ZeLog::setWriteLogToFile(false);
    QVERIFY(!ZeLog::_isWriteLogToFile);
    QVERIFY(!ZeLog::_isRelease);
    ZeLog::setWriteLogToFile(true);
    QVERIFY(ZeLog::_isWriteLogToFile);
}

void tst_LogHandler::stamp_data()
{
    QTest::addColumn<QByteArray>("zone");
    QTest::addColumn<QDateTime>("time");
    QTest::addColumn<QString>("expected");
    QTest::newRow("leading zeros")
        << QByteArray("UTC") << utc(2026, 1, 15, 8, 30, 12, 45) << "[260115 083012.045][Zemix]text";
    QTest::newRow("midnight") << QByteArray("UTC") << utc(2026, 12, 31, 0, 0, 0, 0)
                              << "[261231 000000.000][Zemix]text";
    QTest::newRow("last millisecond") << QByteArray("UTC") << utc(2026, 12, 31, 23, 59, 59, 999)
                                      << "[261231 235959.999][Zemix]text";
    QTest::newRow("leap day") << QByteArray("UTC") << utc(2028, 2, 29, 12, 0, 0, 1)
                              << "[280229 120000.001][Zemix]text";
    QTest::newRow("turn of the century")
        << QByteArray("UTC") << utc(2100, 1, 1, 0, 0, 0, 7) << "[000101 000000.007][Zemix]text";
    QTest::newRow("the epoch") << QByteArray("UTC") << utc(1970, 1, 1, 0, 0, 0, 0)
                               << "[700101 000000.000][Zemix]text";
    QTest::newRow("zone east of Greenwich")
        << QByteArray("Asia/Shanghai") << utc(2026, 1, 15, 20, 30, 12, 45)
        << "[260116 043012.045][Zemix]text";
    QTest::newRow("before summer time")
        << QByteArray("Europe/Berlin") << utc(2026, 3, 29, 0, 59, 59, 999)
        << "[260329 015959.999][Zemix]text";
    QTest::newRow("after summer time began")
        << QByteArray("Europe/Berlin") << utc(2026, 3, 29, 1, 0, 0, 0)
        << "[260329 030000.000][Zemix]text";
    QTest::newRow("hour that comes twice")
        << QByteArray("Europe/Berlin") << utc(2026, 10, 25, 1, 30, 0, 5)
        << "[261025 023000.005][Zemix]text";
}

void tst_LogHandler::stamp()
{
    QFETCH(QByteArray, zone);
    QFETCH(QDateTime, time);
    QFETCH(QString, expected);
    setZone(zone.constData());
    TestClock::set(time);
    StderrCapture console;
    logText(QtDebugMsg, "text");
    QCOMPARE(queuedLines(), QStringList{expected});
}

void tst_LogHandler::stampAgreesWithQt()
{
    // Forwards and backwards through 2001 to 2036, in a zone with changes of clocks.
    setZone("America/New_York");
    std::mt19937_64 random(20260115);
    std::uniform_int_distribution<qint64> anyTime(1000000000000, 2100000000000);
    StderrCapture console;
    for (int i = 0; i < 500; ++i) {
        const qint64 time = anyTime(random);
        TestClock::set(time);
        logText(QtDebugMsg, QString());
        const QString expected =
            QStringLiteral("[%1][Zemix]")
                .arg(QDateTime::fromMSecsSinceEpoch(time).toString("yyMMdd hhmmss.zzz"));
        QCOMPARE(queuedLines().constLast(), expected);
    }
}

void tst_LogHandler::stampFollowsClockAndZone()
{
    StderrCapture console;
    const QDateTime time = utc(2026, 7, 1, 10, 0, 0, 500);
    TestClock::set(time);
    logText(QtDebugMsg, "a");
    TestClock::set(time.addMSecs(-501)); // stepped back, over the second
    logText(QtDebugMsg, "b");
    TestClock::set(time);
    logText(QtDebugMsg, "c");
    setZone("Asia/Tokyo"); // shows in the next second
    TestClock::set(time.addSecs(1));
    logText(QtDebugMsg, "d");
    QCOMPARE(queuedLines(),
             (QStringList{"[260701 100000.500][Zemix]a", "[260701 095959.999][Zemix]b",
                          "[260701 100000.500][Zemix]c", "[260701 190001.500][Zemix]d"}));
}

void tst_LogHandler::queuedText_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("plain") << "text";
    QTest::newRow("empty") << "";
    QTest::newRow("null") << QString();
    QTest::newRow("first mark") << "%1 %2 %3";
    QTest::newRow("line feeds") << "a\nb\n";
    QTest::newRow("NUL") << QString::fromLatin1("a\0b", 3);
    QTest::newRow("lone surrogates") << QString(QChar(0xD800)) + "x" + QChar(0xDC00);
    QTest::newRow("Chinese") << QStringLiteral("开始执行");
    QTest::newRow("beyond the basic plane") << QStringLiteral("🤖");
    QTest::newRow("escape sequences") << "\x1B[31mred";
    QTest::newRow("16 MiB") << QString(16 * 1024 * 1024, 'x');
}

void tst_LogHandler::queuedText()
{
    QFETCH(QString, text);
    StderrCapture console;
    logText(QtDebugMsg, text);
    const QStringList lines = queuedLines();
    QCOMPARE(lines.size(), 1);
    QVERIFY(lines.first().startsWith('['));
    QCOMPARE(lines.first().mid(18, 8), QStringLiteral("][Zemix]"));
    QCOMPARE(withoutStamp(lines.first()), text);
}

void tst_LogHandler::semaphoreCountsLines()
{
    StderrCapture console;
    for (int i = 0; i < 7; ++i)
        logText(QtInfoMsg, QString::number(i));
    QCOMPARE(ZeLog::_synSem.available(), 7);
    QCOMPARE(queuedLines().size(), 7);
    QVERIFY(ZeLog::_mutex.tryLock());
    ZeLog::_mutex.unlock();
}

void tst_LogHandler::console_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QByteArray>("expected");
    const QByteArray orange("\x1B[33m");
    const QByteArray red("\x1B[31m");
    QTest::newRow("debug") << int(QtDebugMsg) << "x" << resetCode + "x" + resetCode + "\n";
    QTest::newRow("warning") << int(QtWarningMsg) << "x" << orange + "x" + resetCode + "\n";
    QTest::newRow("critical") << int(QtCriticalMsg) << "x" << red + "x" + resetCode + "\n";
    QTest::newRow("fatal") << int(QtFatalMsg) << "x" << red + "x" + resetCode + "\n";
    QTest::newRow("info") << int(QtInfoMsg) << "x" << QByteArray("x\n");
    QTest::newRow("unknown type") << 17 << "x" << QByteArray("x\n");
    QTest::newRow("empty debug") << int(QtDebugMsg) << "" << resetCode + resetCode + "\n";
    QTest::newRow("empty info") << int(QtInfoMsg) << "" << QByteArray("\n");
    QTest::newRow("tag and all") << int(QtWarningMsg) << "[warning][setLastError] [ e ]"
                                 << orange + "[warning][setLastError] [ e ]" + resetCode + "\n";
    QTest::newRow("substitution mark")
        << int(QtWarningMsg) << "%s %1 %n" << orange + "%s %1 %n" + resetCode + "\n";
    QTest::newRow("ends at NUL") << int(QtWarningMsg) << QString::fromLatin1("ab\0cd", 5)
                                 << orange + "ab\n";
    QTest::newRow("info ends at NUL")
        << int(QtInfoMsg) << QString::fromLatin1("ab\0cd", 5) << QByteArray("ab\n");
    QTest::newRow("several lines")
        << int(QtWarningMsg) << "a\nb" << orange + "a\nb" + resetCode + "\n";
    QTest::newRow("sequences of others")
        << int(QtInfoMsg) << "\x1B]0;title\x07\x1B[2J" << QByteArray("\x1B]0;title\x07\x1B[2J\n");
    QTest::newRow("UTF-8") << int(QtInfoMsg) << QStringLiteral("开始🤖")
                           << QByteArray("开始🤖\n");
    QTest::newRow("lone surrogate")
        << int(QtInfoMsg) << QString(QChar(0xD800)) << QByteArray("?\n");
}

void tst_LogHandler::console()
{
    QFETCH(int, type);
    QFETCH(QString, text);
    QFETCH(QByteArray, expected);
    StderrCapture console;
    logText(static_cast<QtMsgType>(type), text);
    QCOMPARE(console.take(), expected);
}

void tst_LogHandler::consoleWithOddCharacterAnywhere_data()
{
    QTest::addColumn<QString>("odd");
    QTest::newRow("none") << "x";
    QTest::newRow("NUL") << QString(QChar(0));
    QTest::newRow("first control character") << QString(QChar(0x01));
    QTest::newRow("last ASCII character") << QString(QChar(0x7F));
    QTest::newRow("first beyond ASCII") << QString(QChar(0x80));
    QTest::newRow("last of Latin-1") << QString(QChar(0xFF));
    QTest::newRow("low byte 0") << QString(QChar(0x0100));
    QTest::newRow("low byte ASCII") << QString(QChar(0x0161));
    QTest::newRow("last positive") << QString(QChar(0x7FFF));
    QTest::newRow("first negative") << QString(QChar(0x8000));
    QTest::newRow("last unit") << QString(QChar(0xFFFD));
    QTest::newRow("surrogates") << QStringLiteral("🤖");
    QTest::newRow("NUL behind Chinese") << QStringLiteral("开") + QChar(0);
}

/// Short texts are echoed in blocks; no place in them may differ.
void tst_LogHandler::consoleWithOddCharacterAnywhere()
{
    QFETCH(QString, odd);
    for (int length = 0; length <= 50; ++length) {
        for (int place = 0; place <= length; ++place) {
            StderrCapture console;
            const QString text = QString(place, 'a') + odd + QString(length - place, 'b');
            logText(QtWarningMsg, text);
            const QByteArray bytes = ("\x1B[33m" + text + "\x1B[0m").toUtf8();
            QCOMPARE(console.take(), QByteArray(bytes.constData()) + '\n');
        }
    }
}

void tst_LogHandler::consoleColorsAreReadOnEachCall()
{
    StderrCapture console;
    ZeLog::FORE_GROUND_RED = 95;
    logText(QtCriticalMsg, "x");
    logText(QtFatalMsg, "x");
    ZeLog::FORE_GROUND_RED = 31;
    ZeLog::FORE_GROUND_ORANGE = -2147483647 - 1;
    logText(QtWarningMsg, "x");
    ZeLog::FORE_GROUND_ORANGE = 33;
    ZeLog::DEFAULT = 7; // the reset is never built from it
    logText(QtDebugMsg, "x");
    ZeLog::DEFAULT = 0;
    QCOMPARE(console.take(),
             "\x1B[95mx" + resetCode + "\n\x1B[95mx" + resetCode + "\n\x1B[-2147483648mx"
                 + resetCode + "\n\x1B[7mx" + resetCode + "\n");
}

void tst_LogHandler::consoleUsesLocalCodec_data()
{
    QTest::addColumn<QByteArray>("codec");
    QTest::addColumn<QString>("text");
    const QString text = QStringLiteral("开é");
    QTest::newRow("GB18030") << QByteArray("GB18030") << text;
    QTest::newRow("ISO 8859-1") << QByteArray("ISO-8859-1") << text;
    QTest::newRow("UTF-8") << QByteArray("UTF-8") << text;
    // ICU, if Qt has it, changes even what is ASCII.
    const QTextCodec *const japanese = QTextCodec::codecForName("Shift_JIS");
    const QString ascii = QStringLiteral("a\x7F");
    if (japanese && japanese->fromUnicode(ascii) != ascii.toLatin1())
        QTest::newRow("Shift_JIS, all ASCII") << QByteArray("Shift_JIS") << ascii;
}

void tst_LogHandler::consoleUsesLocalCodec()
{
    QFETCH(QByteArray, codec);
    QFETCH(QString, text);
    QTextCodec *const before = QTextCodec::codecForLocale();
    QTextCodec *const local = QTextCodec::codecForName(codec);
    QVERIFY(local);
    const QByteArray literal =
        local->fromUnicode(QStringLiteral("\x1B[33m") + text + QStringLiteral("\x1B[0m")) + '\n';
    const QByteArray inUtf8 = "\x1B[33m" + text.toUtf8() + "\x1B[0m\n";
    QCOMPARE(literal == inUtf8, codec == "UTF-8");

    StderrCapture console;
    logText(QtWarningMsg, text);
    QCOMPARE(console.take(), inUtf8);
    QTextCodec::setCodecForLocale(local);
    logText(QtWarningMsg, text);
    const QByteArray echoed = console.take();
    QTextCodec::setCodecForLocale(before);
    logText(QtWarningMsg, text);
    QCOMPARE(echoed, literal);
    QCOMPARE(console.take(), inUtf8);
    const QStringList lines = queuedLines();
    for (const QString &line : lines)
        QCOMPARE(withoutStamp(line), text);
}

void tst_LogHandler::consoleIsOneWritePerLine()
{
    // A pipe in packet mode keeps writes apart.
    int ends[2];
    QCOMPARE(::pipe2(ends, O_DIRECT | O_NONBLOCK), 0);
    {
        const StderrTo redirection(ends[1]);
        logText(QtWarningMsg, "first");
        logText(QtInfoMsg, "second\nwith a line feed");
    }
    char packet[4096];
    ssize_t size = ::read(ends[0], packet, sizeof(packet));
    QCOMPARE(QByteArray(packet, static_cast<int>(size)), QByteArray("\x1B[33mfirst\x1B[0m\n"));
    size = ::read(ends[0], packet, sizeof(packet));
    QCOMPARE(QByteArray(packet, static_cast<int>(size)), QByteArray("second\nwith a line feed\n"));
    QCOMPARE(::read(ends[0], packet, sizeof(packet)), ssize_t(-1));
    ::close(ends[0]);
    ::close(ends[1]);
}

void tst_LogHandler::consoleOfHugeMessage()
{
    StderrCapture console;
    const QString text(16 * 1024 * 1024, 'h');
    logText(QtCriticalMsg, text);
    QCOMPARE(console.take(), "\x1B[31m" + text.toUtf8() + resetCode + "\n");
    // Around the size up to which no memory is allocated.
    for (int size = 2000; size < 2100; ++size) {
        logText(QtCriticalMsg, QString(size, 'm'));
        QCOMPARE(console.take(), "\x1B[31m" + QByteArray(size, 'm') + resetCode + "\n");
    }
}

void tst_LogHandler::consoleThatIsNonBlocking()
{
    int ends[2];
    QCOMPARE(::pipe2(ends, O_NONBLOCK), 0);
    const QString text(1024 * 1024, 'n');
    QByteArray received;
    std::thread reader([&received, &text, &ends] {
        char block[65536];
        while (received.size() < text.size() + 1) {
            const ssize_t size = ::read(ends[0], block, sizeof(block));
            if (size > 0)
                received.append(block, static_cast<int>(size));
        }
    });
    {
        const StderrTo redirection(ends[1]);
        logText(QtInfoMsg, text);
    }
    reader.join();
    QCOMPARE(received, text.toUtf8() + '\n');
    ::close(ends[0]);
    ::close(ends[1]);
}

void tst_LogHandler::consoleThatIsClosed()
{
    const int closed = ::dup(STDERR_FILENO);
    {
        const StderrTo redirection(closed);
        ::close(STDERR_FILENO);
        logText(QtWarningMsg, "nobody sees it");
    }
    ::close(closed);
    QCOMPARE(queuedLines().size(), 1);
    QCOMPARE(ZeLog::_synSem.available(), 1);
}

void tst_LogHandler::consoleThatBlocksHoldsUpNobodyElse()
{
    int ends[2];
    QCOMPARE(::pipe(ends), 0);
    ::fcntl(ends[1], F_SETFL, O_NONBLOCK);
    const QByteArray filling(4096, 'f');
    while (::write(ends[1], filling.constData(), static_cast<size_t>(filling.size())) > 0) { }
    ::fcntl(ends[1], F_SETFL, 0);

    std::thread first;
    std::thread second;
    {
        const StderrTo redirection(ends[1]);
        first = std::thread([] { logText(QtWarningMsg, "first"); });
        second = std::thread([] { logText(QtWarningMsg, "second"); });
        QTRY_COMPARE(queuedLines().size(), 2); // which also takes the lock
        QTRY_COMPARE(ZeLog::_synSem.available(), 2);
        char block[65536];
        while (::read(ends[0], block, sizeof(block)) == ssize_t(sizeof(block))) { }
        first.join();
        second.join();
    }
    ::close(ends[0]);
    ::close(ends[1]);
}

void tst_LogHandler::setConsoleColor_data()
{
    QTest::addColumn<QList<int>>("codes");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");
    QTest::newRow("no codes") << QList<int>{} << "x"
                              << "x";
    QTest::newRow("one") << QList<int>{31} << "x"
                         << "\x1B[31mx\x1B[0m";
    QTest::newRow("three") << QList<int>{1, 31, 47} << "x"
                           << "\x1B[1;31;47mx\x1B[0m";
    QTest::newRow("zero") << QList<int>{0} << "x"
                          << "\x1B[0mx\x1B[0m";
    QTest::newRow("negative") << QList<int>{-1, 2} << "x"
                              << "\x1B[-1;2mx\x1B[0m";
    QTest::newRow("empty text") << QList<int>{4} << ""
                                << "\x1B[4m\x1B[0m";
    QTest::newRow("marks in the text") << QList<int>{4} << "%1%2"
                                       << "\x1B[4m%1%2\x1B[0m";
    QTest::newRow("no codes, marks") << QList<int>{} << "%1"
                                     << "%1";
}

void tst_LogHandler::setConsoleColor()
{
    QFETCH(QList<int>, codes);
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QCOMPARE(ZeLog::setConsoleColor(codes, text), expected);
}

void tst_LogHandler::threadsQueueInOrderOfTime()
{
    constexpr int threadCount = 4;
    constexpr int linesPerThread = 2000;
    {
        StderrCapture console;
        std::vector<std::thread> threads;
        for (int thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([thread] {
                for (int i = 0; i < linesPerThread; ++i)
                    logText(QtDebugMsg, QStringLiteral("%1:%2").arg(thread).arg(i));
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(console.take().count('\n'), threadCount * linesPerThread);
    }
    const QStringList lines = queuedLines();
    QCOMPARE(lines.size(), threadCount * linesPerThread);
    QCOMPARE(ZeLog::_synSem.available(), threadCount * linesPerThread);
    QStringList stamps;
    std::vector<int> next(threadCount, 0);
    for (const QString &line : lines) {
        stamps.append(line.left(19));
        const QStringList parts = withoutStamp(line).split(':');
        QCOMPARE(parts.at(1).toInt(), next[parts.at(0).toUInt()]++);
    }
    QVERIFY(std::is_sorted(stamps.begin(), stamps.end()));
}

void tst_LogHandler::installedHandlerSeesStreams()
{
    StderrCapture console;
    const QtMessageHandler previous = qInstallMessageHandler(ZeLog::outputMessage);
    qWarning().noquote() << QStringLiteral("[warning][%1]").arg("op") << "["
                         << ""
                         << "]";
    qInfo("plain %d", 5);
    qInstallMessageHandler(previous);
    QCOMPARE(console.take(), QByteArray("\x1B[33m[warning][op] [  ]\x1B[0m\nplain 5\n"));
    QCOMPARE(withoutStamp(queuedLines().constFirst()), QStringLiteral("[warning][op] [  ]"));
}

QTEST_GUILESS_MAIN(tst_LogHandler)
#include "tst_loghandler.moc"
