// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/DiskFree_p.h"
#include "files/FileManagerTest.h"
#include "files/FileTree.h"
#include "support/Capture.h"
#include "support/Child.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>
#include <QtCore/QStorageInfo>
#include <QtTest/QTest>

#include <memory>

using FileManagerTest::service;
using TestSupport::Capture;
using ZeCore::DiskFreeLine;

namespace {

const QStringList storageKeys{"blockSize", "bytesAvaliable", "bytesFree",      "bytesTotal",
                              "device",    "displayName",    "fileSystemType", "isReadOnly",
                              "isRoot",    "isValid",        "name",           "rootDir"};

/// A parsed line in one text.
QString text(const DiskFreeLine &line)
{
    return QStringList{
        line.device,    line.size, line.used, line.available, QString::number(line.usedPercent),
        line.mountPoint}
        .join('|');
}

QStringList parse(const QByteArray &output)
{
    QStringList texts;
    const QVector<DiskFreeLine> lines = ZeCore::parseDiskFree(output);
    for (const DiskFreeLine &line : lines)
        texts += text(line);
    return texts;
}

const QByteArray headers = "Filesystem      Size  Used Avail Use% Mounted on\n";

} // namespace

class tst_Storage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void rootVolume();
    void types();
    void otherVolumes_data();
    void otherVolumes();
    void noVolume_data();
    void noVolume();
    void readOnlyVolume();
    void parser_data();
    void parser();
    void devices();
    void devicesOfStandIn();
    void noDf();
    void failingDf();
    void dfThatHangs();

private:
    /// Runs getDevices() with @p script as the only "df".
    TestSupport::ChildResult devicesWithDf(const QByteArray &script, int limitMs = 30000);

    std::unique_ptr<FileTree> m_tree;
    std::unique_ptr<Capture> m_capture;
};

void tst_Storage::init()
{
    m_tree = std::make_unique<FileTree>();
    m_capture = std::make_unique<Capture>();
    ZeFileManager::setLastError("untouched");
    m_capture->take();
}

void tst_Storage::cleanup()
{
    QCOMPARE(m_capture->take(), QStringList());
    QCOMPARE(ZeFileManager::getLastError(), QString("untouched"));
    m_capture.reset();
    m_tree.reset();
}

void tst_Storage::rootVolume()
{
    const QVariantMap map = service().getStorageInfo("/");
    const QStorageInfo root = QStorageInfo::root();
    QCOMPARE(map.keys(), storageKeys);
    QCOMPARE(map.value("isRoot"), QVariant(true));
    QCOMPARE(map.value("rootDir"), QVariant("/"));
    QCOMPARE(map.value("isValid"), QVariant(true));
    QCOMPARE(map.value("bytesTotal"), QVariant(root.bytesTotal()));
    // Other processes write to the disk meanwhile.
    const qint64 slack = root.bytesTotal() / 10;
    QVERIFY(qAbs(map.value("bytesFree").toLongLong() - root.bytesFree()) <= slack);
    QVERIFY(qAbs(map.value("bytesAvaliable").toLongLong() - root.bytesAvailable()) <= slack);
    QCOMPARE(map.value("name"), QVariant(root.name()));
    QCOMPARE(map.value("device"), QVariant(QString::fromUtf8(root.device())));
    QCOMPARE(map.value("blockSize"), QVariant(root.blockSize()));
    QCOMPARE(map.value("displayName"), QVariant(root.displayName()));
    QCOMPARE(map.value("fileSystemType"), QVariant(root.fileSystemType()));
    QCOMPARE(map.value("isReadOnly"), QVariant(root.isReadOnly()));
}

void tst_Storage::types()
{
    const QVariantMap map = service().getStorageInfo("/");
    for (const char *key : {"name", "device", "rootDir", "displayName"})
        QCOMPARE(map.value(key).type(), QVariant::String);
    for (const char *key : {"isValid", "isReadOnly", "isRoot"})
        QCOMPARE(map.value(key).type(), QVariant::Bool);
    for (const char *key : {"bytesAvaliable", "bytesFree", "bytesTotal"})
        QCOMPARE(map.value(key).type(), QVariant::LongLong);
    QCOMPARE(map.value("blockSize").type(), QVariant::Int);
    QCOMPARE(map.value("fileSystemType").type(), QVariant::ByteArray);
}

void tst_Storage::otherVolumes_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("pseudo file system") << "/proc/self";
    QTest::newRow("devices") << "/dev";
    QTest::newRow("temporary directory") << QDir::tempPath();
}

void tst_Storage::otherVolumes()
{
    QFETCH(QString, path);
    const QVariantMap map = service().getStorageInfo(path);
    const QStorageInfo storage(path);
    QCOMPARE(map.keys(), storageKeys);
    QCOMPARE(map.value("isValid").toBool(), storage.isValid());
    QCOMPARE(map.value("rootDir").toString(), storage.rootPath());
    QCOMPARE(map.value("fileSystemType").toByteArray(), storage.fileSystemType());
    QCOMPARE(map.value("isRoot").toBool(), storage.isRoot());
}

void tst_Storage::noVolume_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << "/missing/of/course";
    QTest::newRow("empty") << "";
    QTest::newRow("null") << QString();
}

void tst_Storage::noVolume()
{
    QFETCH(QString, path);
    const QVariantMap map = service().getStorageInfo(path);
    const QStorageInfo invalid;
    QCOMPARE(map.keys(), storageKeys);
    QCOMPARE(map.value("isValid"), QVariant(false));
    QCOMPARE(map.value("isRoot"), QVariant(false));
    QCOMPARE(map.value("bytesTotal"), QVariant(invalid.bytesTotal()));
    QCOMPARE(map.value("bytesFree"), QVariant(invalid.bytesFree()));
    QCOMPARE(map.value("device"), QVariant(QString()));
    QCOMPARE(map.value("rootDir").toString(), QString());
}

void tst_Storage::readOnlyVolume()
{
    if (!TestSupport::canMountPrivately())
        QSKIP("this user cannot mount a file system");
    m_tree->directory("mount");
    const auto result = TestSupport::runInPrivateMounts(
        QString("mount -t tmpfs -o ro tmpfs '%1'").arg(m_tree->path("mount")),
        TestSupport::helperPath("files_child"), {"storage", m_tree->path("mount")});
    QVERIFY2(result.endedWith(0), result.report());
    QCOMPARE(result.out,
             "isReadOnly=true isValid=true isRoot=false fileSystemType=tmpfs rootDir="
                 + m_tree->native("mount") + '\n');
}

void tst_Storage::parser_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("nothing") << QByteArray() << QStringList();
    QTest::newRow("headers only") << headers << QStringList();
    QTest::newRow("headers without line end") << headers.chopped(1) << QStringList();
    QTest::newRow("line") << headers + "/dev/sda1        29G   12G   16G  43% /\n"
                          << QStringList{"/dev/sda1|29G|12G|16G|43|/"};
    QTest::newRow("single blanks") << headers + "/dev/sda1 29G 12G 16G 43% /\n"
                                   << QStringList{"/dev/sda1|29G|12G|16G|43|/"};
    QTest::newRow("blanks around") << headers + "   a 1 2 3 4% /x   \n"
                                   << QStringList{"a|1|2|3|4|/x"};
    QTest::newRow("no line end") << headers + "a 1 2 3 4% /x\nb 1 2 3 5% /y"
                                 << QStringList({"a|1|2|3|4|/x", "b|1|2|3|5|/y"});
    QTest::newRow("blank lines") << headers + "\na 1 2 3 4% /x\n\n"
                                 << QStringList({"||||0|", "a|1|2|3|4|/x", "||||0|"});
    QTest::newRow("line of blanks") << headers + "   \n" << QStringList{"||||0|"};
    QTest::newRow("first line is not looked at")
        << QByteArray("a 1 2 3 4% /x\nb 1 2 3 5% /y\n") << QStringList{"b|1|2|3|5|/y"};
    QTest::newRow("mount point with blank") << headers + "a 1 2 3 4% /media/my disk\n"
                                            << QStringList{"a|1|2|3|4|disk"};
    QTest::newRow("tab") << headers + "a\t1 2 3 4 5% /x\n" << QStringList{"a\t1|2|3|4|5|/x"};
    QTest::newRow("tab at an end") << headers + "a\t \t1 2 3 4% /x\t\n"
                                   << QStringList{"a|1|2|3|4|/x"};
    QTest::newRow("carriage return") << headers + "a 1 2 3 4% /x\r\n"
                                     << QStringList{"a|1|2|3|4|/x"};
    QTest::newRow("one field") << headers + "/x\n" << QStringList{"/x||||0|/x"};
    QTest::newRow("four fields") << headers + "a 1 2 3\n" << QStringList{"a|1|2|3|0|3"};
    QTest::newRow("five fields") << headers + "a 1 2 3 44%\n" << QStringList{"a|1|2|3|44|44%"};
    QTest::newRow("many fields") << headers + "a 1 2 3 4% x y z\n" << QStringList{"a|1|2|3|4|z"};
    QTest::newRow("no percentage") << headers + "proc 0 0 0 - /proc\n"
                                   << QStringList{"proc|0|0|0|0|/proc"};
    QTest::newRow("percentage without sign") << headers + "a 1 2 3 45 /\n"
                                             << QStringList{"a|1|2|3|4|/"};
    QTest::newRow("percentage with comma") << headers + "a 1 2 3 4,5% /\n"
                                           << QStringList{"a|1|2|3|0|/"};
    QTest::newRow("hundred percent") << headers + "a 1 2 3 100% /\n"
                                     << QStringList{"a|1|2|3|100|/"};
    QTest::newRow("negative percentage") << headers + "a 1 2 3 -3% /\n"
                                         << QStringList{"a|1|2|3|-3|/"};
    QTest::newRow("huge percentage") << headers + "a 1 2 3 99999999999% /\n"
                                     << QStringList{"a|1|2|3|0|/"};
    QTest::newRow("Latin-1") << headers + "\xE9 1 2 3 4% /\xC3\xA9\n"
                             << QStringList{QString::fromLatin1("\xE9|1|2|3|4|/\xC3\xA9")};
    QTest::newRow("NUL ends a line") << headers + QByteArray("a\0b 1 2 3 4% /\nc 1 2 3 4% /", 27)
                                     << QStringList({"a||||0|a", "c|1|2|3|4|/"});
    QTest::newRow("long line") << headers + QByteArray(100000, 'a') + " 1 2 3 4% /\n"
                               << QStringList{QString(100000, 'a') + "|1|2|3|4|/"};
}

void tst_Storage::parser()
{
    QFETCH(QByteArray, output);
    QFETCH(QStringList, lines);
    QCOMPARE(parse(output), lines);
}

void tst_Storage::devices()
{
    QProcess df;
    df.start("df", {"-h"});
    QVERIFY(df.waitForFinished());
    const QVector<DiskFreeLine> lines = ZeCore::parseDiskFree(df.readAllStandardOutput());
    QVERIFY(!lines.isEmpty());

    const QList<QVariant> devices = service().getDevices();
    QCOMPARE(devices.size(), lines.size());
    QStringList keys = storageKeys + QStringList{"all", "dev", "free", "percent", "use"};
    keys.sort();
    bool root = false;
    for (int i = 0; i < devices.size(); ++i) {
        QCOMPARE(devices.at(i).type(), QVariant::Map);
        const QVariantMap device = devices.at(i).toMap();
        QCOMPARE(device.keys(), keys);
        QCOMPARE(device.value("dev"), QVariant(lines.at(i).device));
        QCOMPARE(device.value("all"), QVariant(lines.at(i).size));
        QCOMPARE(device.value("percent").type(), QVariant::Int);
        QCOMPARE(device.value("use").type(), QVariant::String);
        QCOMPARE(device.value("free").type(), QVariant::String);
        const QStorageInfo storage(lines.at(i).mountPoint);
        QCOMPARE(device.value("rootDir").toString(), storage.rootPath());
        QCOMPARE(device.value("isValid").toBool(), storage.isValid());
        root = root || device.value("isRoot").toBool();
    }
    QVERIFY(root);
}

TestSupport::ChildResult tst_Storage::devicesWithDf(const QByteArray &script, int limitMs)
{
    m_tree->file("bin/df", script);
    m_tree->mode("bin/df", 0755);
    TestSupport::ChildOptions options;
    options.environment = QStringList{"PATH=" + m_tree->path("bin")};
    options.limitMs = limitMs;
    return TestSupport::runChild(TestSupport::helperPath("files_child"), {"devices"}, options);
}

void tst_Storage::devicesOfStandIn()
{
    m_tree->directory("with blank");
    const auto result = devicesWithDf("#!/bin/sh\n"
                                      "[ \"$#:$*\" = 1:-h ] || exit 1\n"
                                      "echo Filesystem\n"
                                      "echo '/dev/sda1   29G  12G  16G  43% /'\n"
                                      "echo 'tmpfs 1 2 3 4% /media/my disk'\n"
                                      "echo\n"
                                      "echo 'loud' >&2\n"
                                      "printf 'last 1 2'\n"
                                      "exit 3\n");
    QVERIFY2(result.endedWith(0), result.report());
    QCOMPARE(result.out,
             QByteArray("17|/dev/sda1|29G|12G|16G|43|/\n"
                        "17|tmpfs|1|2|3|4|\n"
                        "17|||||0|\n"
                        "17|last|1|2||0|\n"));
    // Neither log lines nor what df itself complained about.
    QCOMPARE(result.err, QByteArray("D [debug][~ZeFileManager]\n"));
}

void tst_Storage::noDf()
{
    TestSupport::ChildOptions options;
    options.environment = QStringList{"PATH=" + m_tree->path()};
    const auto result =
        TestSupport::runChild(TestSupport::helperPath("files_child"), {"devices"}, options);
    QVERIFY2(result.endedWith(0), result.report());
    QCOMPARE(result.out, QByteArray());
    QCOMPARE(result.err, QByteArray("D [debug][~ZeFileManager]\n"));
}

void tst_Storage::failingDf()
{
    const auto silent = devicesWithDf("#!/bin/sh\nexit 1\n");
    QVERIFY2(silent.endedWith(0), silent.report());
    QCOMPARE(silent.out, QByteArray());
    const auto crashing =
        devicesWithDf("#!/bin/sh\necho Filesystem\necho 'a 1 2 3 4% /'\nkill -9 $$\n");
    QVERIFY2(crashing.endedWith(0), crashing.report());
    QCOMPARE(crashing.out, QByteArray("17|a|1|2|3|4|/\n"));
}

/// What has been printed within 30 seconds counts; the process is not left behind.
void tst_Storage::dfThatHangs()
{
    QElapsedTimer timer;
    timer.start();
    const auto result = devicesWithDf("#!/bin/sh\necho Filesystem\necho 'a 1 2 3 4% /'\n"
                                      "echo $$ >'"
                                          + m_tree->native("pid")
                                          + "'\n"
                                            "exec /bin/sleep 300\n",
                                      60000);
    QVERIFY2(result.endedWith(0), result.report());
    QVERIFY(timer.elapsed() >= 30000);
    QCOMPARE(result.out, QByteArray("17|a|1|2|3|4|/\n"));
    const QByteArray pid = m_tree->content("pid").trimmed();
    QVERIFY(pid.toInt() > 1);
    QVERIFY(!QFile::exists("/proc/" + pid));
}

QTEST_GUILESS_MAIN(tst_Storage)
#include "tst_storage.moc"
