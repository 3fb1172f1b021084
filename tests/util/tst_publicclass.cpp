// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/Capture.h"
#include "support/Child.h"
#include "util/PublicClass.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QPointer>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>
#include <QtTest/QTest>

#include <algorithm>
#include <limits>
#include <thread>
#include <type_traits>
#include <vector>

using TestSupport::Capture;
using TestSupport::ChildOptions;
using TestSupport::ChildResult;

namespace {

void writeFile(const QString &path, const QByteArray &content,
               QFileDevice::Permissions permissions = QFileDevice::ReadOwner)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
    file.close();
    QVERIFY(QFile::setPermissions(path, permissions));
}

/// Puts a directory over /etc in a private mount namespace.
const QString coverEtc = QStringLiteral("mount --bind \"$ZECORE_TEST_ETC\" /etc");

} // namespace

class tst_PublicClass : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void creationFromManyThreads();
    void releaseKeepsTheObject();
    void fieldDefaults();
    void fieldOrder();
    void constructorAndDestructorLog();
    void modelFile_data();
    void modelFile();
    void settingsOnAFullDisk_data();
    void settingsOnAFullDisk();
    void modelFileThatCannotBeOpened();
    void hostName_data();
    void hostName();
    void hostNameWithoutShell();
    void initMemberAgain();
    void errorAndDebugTexts();
    void byteArrayList();
    void byteArrayListFromThreads();
    void waitSeconds();
    void waitMilliseconds_data();
    void waitMilliseconds();
    void deleteTimer();
};

void tst_PublicClass::creationFromManyThreads()
{
    // First, while there is no object yet.
    QVERIFY(PublicClass::instance.isNull());
    Capture capture;
    std::vector<PublicClass *> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (PublicClass *&object : seen)
        threads.emplace_back([&object] { object = PublicClass::init().data(); });
    for (std::thread &thread : threads)
        thread.join();
    for (const PublicClass *object : seen)
        QCOMPARE(object, PublicClass::instance.data());
    QCOMPARE(capture.lines(), QStringList{"D [debug][PublicClass] [new PublicClass()]"});
    QCOMPARE(&PublicClass::init(), &PublicClass::instance);
}

void tst_PublicClass::releaseKeepsTheObject()
{
    const PublicClass *const before = PublicClass::init().data();
    PublicClass::init()->setDebugStr("still here");
    Capture capture;
    PublicClass::releaseThis();
    QCOMPARE(PublicClass::init().data(), before);
    QCOMPARE(PublicClass::init()->getDebugStr(), QStringLiteral("still here"));
    QVERIFY(capture.lines().isEmpty());
}

void tst_PublicClass::fieldDefaults()
{
    const Capture capture;
    const PublicClass object;
    QCOMPARE(object.linuxConfigPath, QStringLiteral("appInfo/setting/linux_config.ini"));
    QCOMPARE(object.logDirKey, QStringLiteral("ZmxLogDir"));
    QCOMPARE(object.distDir, QStringLiteral("./dist/"));
    QCOMPARE(object.upgradeTempDir, QStringLiteral("./dist/upgradeTemp/"));
    for (const QString *text :
         {&object.appText1,  &object.appDir,    &object.appInfoDir, &object.logDir,
          &object.appText2,  &object.appText3,  &object.appText4,   &object.appText5,
          &object.appText6,  &object.appText7,  &object.zcName,     &object.appText8,
          &object.appText9,  &object.appText10, &object.appText11,  &object.appText12,
          &object.appText13, &object.appText14, &object.lastError,  &object.debugStr})
        QVERIFY(text->isNull());
    for (const bool flag :
         {object.appFlag1, object.appFlag2, object.appFlag3, object.appFlag4, object.appFlag5,
          object.appFlag6, object.appFlag7, object.appFlag8, object.appFlag9, object.appFlag10})
        QVERIFY(!flag);
    QVERIFY(object.appMap1.isEmpty() && object.appMap2.isEmpty() && object.appMap3.isEmpty());
    QCOMPARE(object.zcType, 0);
    QCOMPARE(object.appNumber1, 0);
    QCOMPARE(object.appNumber2, 5000);
    QCOMPARE(object.appNumber3, 1);
    QCOMPARE(object.appPort, quint16(7109));
    QVERIFY(object.byteArrayList.isEmpty());
}

void tst_PublicClass::fieldOrder()
{
    // Programs read the fields directly, so their order is binary interface.
    static_assert(!std::is_polymorphic<PublicClass>::value, "no virtual operations");
    const Capture capture;
    const PublicClass object;
    const std::vector<const void *> fields{
        &object.appText1,      &object.appDir,     &object.appInfoDir,      &object.logDir,
        &object.appText2,      &object.appText3,   &object.linuxConfigPath, &object.appMap1,
        &object.logDirKey,     &object.appText4,   &object.appText5,        &object.appMap2,
        &object.appText6,      &object.appFlag1,   &object.appFlag2,        &object.appFlag3,
        &object.appFlag4,      &object.appFlag5,   &object.appFlag6,        &object.appText7,
        &object.zcType,        &object.zcName,     &object.appText8,        &object.appText9,
        &object.appNumber1,    &object.appNumber2, &object.appText10,       &object.appMap3,
        &object.appNumber3,    &object.appText11,  &object.appFlag7,        &object.appFlag8,
        &object.appText12,     &object.appText13,  &object.appText14,       &object.appFlag9,
        &object.appFlag10,     &object.appPort,    &object.distDir,         &object.upgradeTempDir,
        &object.byteArrayList, &object.appLock,    &object.lastError,       &object.debugStr};
    QVERIFY(std::is_sorted(fields.begin(), fields.end()));
    QCOMPARE(fields.front(), static_cast<const void *>(&object));
}

void tst_PublicClass::constructorAndDestructorLog()
{
    Capture capture;
    delete new PublicClass;
    QCOMPARE(
        capture.lines(),
        (QStringList{"D [debug][PublicClass] [new PublicClass()]", "D [debug][~PublicClass]"}));
}

void tst_PublicClass::modelFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("name");
    QTest::newRow("ZC760.1") << QByteArray("ZC760.1\n") << 0 << "ZC760.1";
    QTest::newRow("ZC930") << QByteArray("ZC930\n") << 1 << "ZC930";
    QTest::newRow("ZC520") << QByteArray("ZC520\n") << 2 << "ZC520";
    QTest::newRow("ZC760.2") << QByteArray("ZC760.2\n") << 3 << "ZC760.2";
    QTest::newRow("ZC760.4") << QByteArray("ZC760.4\n") << 4 << "ZC760.4";
    QTest::newRow("ZC760.3 in blanks") << QByteArray("  ZC760.3 \t \n") << 5 << "ZC760.3";
    QTest::newRow("ZC580 without line end") << QByteArray("ZC580") << 6 << "ZC580";
    QTest::newRow("ZC410") << QByteArray("ZC410\r\n") << 7 << "ZC410";
    QTest::newRow("lower case") << QByteArray("zc520\n") << 0 << "zc520";
    QTest::newRow("unknown") << QByteArray("ZC999\nZC520\n") << 0 << "ZC999";
    QTest::newRow("inner blanks") << QByteArray("ZC  \t 520\n") << 0 << "ZC 520";
    QTest::newRow("empty") << QByteArray() << 0 << "ZC760.1";
    QTest::newRow("empty first line") << QByteArray("\nZC520\n") << 0 << "ZC760.1";
    QTest::newRow("up to the first NUL") << QByteArray("ZC520\0ZC930\n", 12) << 2 << "ZC520";
    QTest::newRow("UTF-8") << QByteArray("控制器\n") << 0 << QStringLiteral("控制器");
    QTest::newRow("a million characters") << QByteArray(1000000, 'z') + "\n"
                                          << 0 << QString(1000000, 'z');
}

void tst_PublicClass::modelFile()
{
    QFETCH(QByteArray, content);
    QFETCH(int, code);
    QFETCH(QString, name);
    if (!TestSupport::canMountPrivately())
        QSKIP("needs a private mount namespace to show another /etc");
    const QTemporaryDir etc;
    writeFile(etc.filePath("zcname"), content);
    ChildOptions options;
    options.environment = QStringList{"ZECORE_TEST_ETC=" + etc.path()};
    const ChildResult child = TestSupport::runInPrivateMounts(
        coverEtc, TestSupport::helperPath("util_child"), {"identity"}, options);
    QVERIFY2(child.endedWith(0), child.report());
    const QStringList lines = QString::fromUtf8(child.out).split('\n');
    QCOMPARE(lines.at(0), QString::number(code));
    QCOMPARE(lines.at(1), name);
    QCOMPARE(lines.at(2), QString());
    QCOMPARE(lines.at(3), QStringLiteral("/data/app/appInfo"));
    QCOMPARE(lines.at(4), QStringLiteral("/data/app/appInfo/log"));
    QCOMPARE(QString::fromUtf8(child.err),
             "[debug][PublicClass] [new PublicClass()]\n[debug][initMember] _zcType: "
                 + QString::number(code) + " ZC-Name: " + name + "\n[debug][~PublicClass]\n");
}

void tst_PublicClass::settingsOnAFullDisk_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("value"); // of the settings as they were
    QTest::addColumn<int>("freeBlocks");   // a block has 4 KiB
    const QString run = R"(HKEY_CURRENT_USER\Software\Microsoft\Windows\CurrentVersion\Run)";
    const QByteArray plain = "aZ0_-.{" + QByteArray(12993, 'o');
    // Two blocks are for directory entries and the like.
    QTest::newRow("writeIni") << "set.ini"
                              << QStringList{"writeIni", "set.ini", "key", QString(12000, 'x')}
                              << plain << 2;
    QTest::newRow("writeIni, a short value")
        << "set.ini" << QStringList{"writeIni", "set.ini", "key", "x"} << plain << 2;
    const auto writeOdd = [&](const char *row, int length, const char *kind) {
        QTest::newRow(row) << "set.ini"
                           << QStringList{"writeIni", "set.ini", "key", QString(length, 'x'), kind}
                           << plain << 12;
    };
    writeOdd("writeIni, a map", 11300, "map");
    writeOdd("writeIni, a list of a map", 11300, "list");
    writeOdd("writeIni, bytes", 17000, "bytes");
    // Written again, each of these bytes takes four.
    QTest::newRow("writeIni, edited by hand")
        << "set.ini" << QStringList{"writeIni", "set.ini", "key", "x"}
        << QByteArray("\xE6\x97\xA5").repeated(6667) << 18;
    QTest::newRow("setAutoBootSoftware") << run << QStringList{"autoBoot"} << plain << 2;
}

/// Blocks that are free, but too few, have Qt put an empty file in the place of the old.
void tst_PublicClass::settingsOnAFullDisk()
{
    if (!TestSupport::canMountPrivately())
        QSKIP("this user cannot mount a small file system");
    QFETCH(QString, file);
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, value);
    QFETCH(int, freeBlocks);
    const QTemporaryDir directory;
    QVERIFY(QDir(directory.path()).mkpath("small") && QDir(directory.path()).mkpath("result"));
    const QByteArray settings = "[General]\nold=" + value + '\n';
    writeFile(directory.filePath("settings"), settings);
    constexpr int blocks = 32;
    const int rest = 4096 * (blocks - freeBlocks) - (settings.size() + 4095) / 4096 * 4096;
    // The file system is gone with the child: it copies what is there for the test.
    const QString shell = QString("cd '%1/small' && cp ../settings '%2' && head -c %3 /dev/zero"
                                  " >rest && \"$0\" \"$@\"; rm rest; cp -a . ../result")
                              .arg(directory.path(), file, QString::number(rest));
    const auto child = TestSupport::runInPrivateMounts(
        QString("mount -t tmpfs -o size=128k tmpfs '%1'").arg(directory.filePath("small")),
        "/bin/sh", QStringList{"-c", shell, TestSupport::helperPath("util_child")} + arguments);
    QVERIFY2(child.endedWith(0), child.report());
    QCOMPARE(QDir(directory.filePath("result")).entryList(QDir::Files), QStringList{file});
    QFile after(directory.filePath("result/" + file));
    QVERIFY(after.open(QIODevice::ReadOnly));
    QCOMPARE(after.readAll(), settings);
}

void tst_PublicClass::modelFileThatCannotBeOpened()
{
    if (!TestSupport::canMountPrivately())
        QSKIP("needs a private mount namespace to show another /etc");
    const QTemporaryDir etc;
    QVERIFY(QDir(etc.path()).mkdir("zcname")); // not even root opens a directory
    const QTemporaryDir bin;
    writeFile(bin.filePath("hostname"), "#!/bin/sh\necho colibri-imx6\n",
              QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    ChildOptions options;
    options.environment = QStringList{"ZECORE_TEST_ETC=" + etc.path(),
                                      "PATH=" + bin.path() + ':' + qEnvironmentVariable("PATH")};
    const ChildResult child = TestSupport::runInPrivateMounts(
        coverEtc, TestSupport::helperPath("util_child"), {"identity"}, options);
    QVERIFY2(child.endedWith(0), child.report());
    QVERIFY2(child.out.startsWith("2\nZC520\n"), child.report());
}

void tst_PublicClass::hostName_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("name");
    QTest::newRow("board") << QByteArray("echo colibri-imx6") << 2 << "ZC520";
    QTest::newRow("anywhere in the name") << QByteArray("echo my-colibri.local") << 2 << "ZC520";
    QTest::newRow("other case") << QByteArray("echo Colibri") << 1 << "ZC930";
    QTest::newRow("other host") << QByteArray("echo workstation") << 1 << "ZC930";
    QTest::newRow("silent") << QByteArray("exit 0") << 1 << "ZC930";
    QTest::newRow("fails, text on the error channel")
        << QByteArray("echo no colibri here >&2; exit 1") << 2 << "ZC520";
}

void tst_PublicClass::hostName()
{
    QFETCH(QByteArray, script);
    QFETCH(int, code);
    QFETCH(QString, name);
    if (QFile::exists("/etc/zcname"))
        QSKIP("this machine is a controller: its own model file decides");
    const QTemporaryDir bin;
    writeFile(bin.filePath("hostname"), "#!/bin/sh\n" + script + "\n",
              QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    ChildOptions options;
    options.environment = QStringList{"PATH=" + bin.path() + ':' + qEnvironmentVariable("PATH")};
    const ChildResult child =
        TestSupport::runChild(TestSupport::helperPath("util_child"), {"identity"}, options);
    QVERIFY2(child.endedWith(0), child.report());
    const QStringList lines = QString::fromUtf8(child.out).split('\n');
    QCOMPARE(lines.at(0), QString::number(code));
    QCOMPARE(lines.at(1), name);
    QCOMPARE(lines.at(2), QString()); // the exit code does not make the command fail
    QVERIFY2(child.err.contains("[debug][processCmd] [开始执行cmd指令: hostname]\n"),
             child.report());
    QVERIFY2(child.err.contains("[返回cmd指令结果:"), child.report());
    QVERIFY2(!child.err.contains("DoNotPrint"), child.report());
}

void tst_PublicClass::hostNameWithoutShell()
{
    if (QFile::exists("/etc/zcname"))
        QSKIP("this machine is a controller: its own model file decides");
    if (!TestSupport::canMountPrivately())
        QSKIP("needs a private mount namespace to hide the shell");
    const ChildResult child = TestSupport::runInPrivateMounts(
        "mount --bind /dev/null /bin/bash", TestSupport::helperPath("util_child"), {"identity"});
    QVERIFY2(child.endedWith(0), child.report());
    const QStringList lines = QString::fromUtf8(child.out).split('\n');
    QCOMPARE(lines.at(0), QStringLiteral("1"));
    QCOMPARE(lines.at(1), QStringLiteral("ZC930"));
    QVERIFY2(lines.at(2).startsWith("Error:PublicClass::[cmd:hostname]exitCode:["), child.report());
}

void tst_PublicClass::initMemberAgain()
{
    if (QFile::exists("/etc/zcname"))
        QSKIP("this machine is a controller: its own model file decides");
    PublicClass &service = *PublicClass::init();
    Capture capture;
    service.appDir = "/a%1";
    service.zcName = "given by the program";
    service.initMember();
    QCOMPARE(service.appInfoDir, QStringLiteral("/a%1/appInfo"));
    QCOMPARE(service.logDir, QStringLiteral("/a%1/appInfo/log"));
    QCOMPARE(service.zcName, QStringLiteral("given by the program"));
    service.appDir.clear();
    service.zcName.clear();
    service.initMember();
    QCOMPARE(service.appInfoDir, QStringLiteral("/appInfo"));
    QCOMPARE(service.logDir, QStringLiteral("/appInfo/log"));
    QVERIFY(service.zcType == 1 || service.zcType == 2);
    QCOMPARE(service.zcName,
             service.zcType == 1 ? QStringLiteral("ZC930") : QStringLiteral("ZC520"));
    QCOMPARE(capture.lines().constLast(),
             "D [debug][initMember] _zcType: " + QString::number(service.zcType)
                 + " ZC-Name: " + service.zcName);
}

void tst_PublicClass::errorAndDebugTexts()
{
    PublicClass &service = *PublicClass::init();
    Capture capture;
    service.setLastError("text %1 %2\nmore");
    QCOMPARE(service.getLastError(), QStringLiteral("Error:PublicClass::text %1 %2\nmore"));
    QCOMPARE(service.lastError, service.getLastError());
    service.setLastError(QString());
    QCOMPARE(service.getLastError(), QStringLiteral("Error:PublicClass::"));
    service.setDebugStr("%1\n");
    QCOMPARE(service.getDebugStr(), QStringLiteral("%1\n"));
    QCOMPARE(service.debugStr, QStringLiteral("%1\n"));
    QVERIFY(capture.lines().isEmpty());
}

void tst_PublicClass::byteArrayList()
{
    PublicClass &service = *PublicClass::init();
    service.setByteArrayList({});
    QByteArray a("a");
    QByteArray b("b");
    service.addByteArrayList(a);
    service.addByteArrayList(b);
    QCOMPARE(service.getByteArrayListSize(), 2);
    QCOMPARE(service.getByteArrayIndex(0), a);
    QCOMPARE(service.getByteArrayIndex(1), b);
    for (const int outside :
         {-1, 2, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        QCOMPARE(service.getByteArrayIndex(outside), QByteArray());
        service.removeByteArrayList(outside);
        QCOMPARE(service.getByteArrayListSize(), 2); // and the lock is free
    }
    service.removeByteArrayList(0);
    QCOMPARE(service.byteArrayList, QList<QByteArray>{b});
    const QList<QByteArray> other{"x", "y", "z"};
    service.setByteArrayList(other);
    QCOMPARE(service.byteArrayList, other);
    service.setByteArrayList(service.byteArrayList);
    QCOMPARE(service.byteArrayList, other);

    QVERIFY(PublicClass::_mutex.tryLock()); // the one operation that takes no lock
    service.setByteArrayList({});
    PublicClass::_mutex.unlock();
    QCOMPARE(service.getByteArrayListSize(), 0);
}

void tst_PublicClass::byteArrayListFromThreads()
{
    PublicClass &service = *PublicClass::init();
    service.setByteArrayList({});
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&service] {
            QByteArray bytes("bytes");
            for (int round = 0; round < 500; ++round) {
                service.addByteArrayList(bytes);
                service.addByteArrayList(bytes);
                service.getByteArrayIndex(service.getByteArrayListSize() - 1);
                service.removeByteArrayList(0);
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(service.getByteArrayListSize(), 2000);
}

void tst_PublicClass::waitSeconds()
{
    PublicClass &service = *PublicClass::init();
    QTimer timer;
    int served = 0;
    connect(&timer, &QTimer::timeout, this, [&served] { ++served; });
    timer.start(20);
    QElapsedTimer elapsed;
    elapsed.start();
    for (const int none : {0, -3, std::numeric_limits<int>::min()})
        service.waitSTime(none);
    QVERIFY(elapsed.elapsed() < 900);
    QCOMPARE(served, 0); // not even events
    elapsed.start();
    service.waitSTime(1);
    QVERIFY(elapsed.elapsed() >= 1000);
    QCOMPARE(served, 10); // after each slice of 100 ms
}

void tst_PublicClass::waitMilliseconds_data()
{
    QTest::addColumn<int>("ms");
    QTest::newRow("some") << 120;
    QTest::newRow("one") << 1;
    QTest::newRow("none") << 0;
    QTest::newRow("negative") << -1;
    QTest::newRow("most negative") << std::numeric_limits<int>::min();
}

void tst_PublicClass::waitMilliseconds()
{
    QFETCH(int, ms);
    int served = 0;
    QTimer::singleShot(0, this, [&served] { ++served; });
    QElapsedTimer elapsed;
    elapsed.start();
    PublicClass::init()->waitMSTime(ms);
    QVERIFY(elapsed.elapsed() >= ms);
    QVERIFY(elapsed.elapsed() < 5000);
    QCOMPARE(served, 1);
}

void tst_PublicClass::deleteTimer()
{
    PublicClass &service = *PublicClass::init();
    service.deleteTimer(nullptr);
    QTimer *timer = nullptr;
    service.deleteTimer(&timer);
    QCOMPARE(timer, nullptr);
    for (const bool active : {true, false}) {
        timer = new QTimer;
        const QPointer<QTimer> guard(timer);
        if (active)
            timer->start(1000);
        service.deleteTimer(&timer);
        QCOMPARE(timer, nullptr);
        QVERIFY(guard.isNull());
    }
}

QTEST_GUILESS_MAIN(tst_PublicClass)
#include "tst_publicclass.moc"
