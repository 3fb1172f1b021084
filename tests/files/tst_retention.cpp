// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/FileManagerTest.h"
#include "support/Capture.h"
#include "support/TestClock.h"
#include "support/Unprivileged.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTextCodec>
#include <QtTest/QTest>

#include <algorithm>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using FileManagerTest::errorLine;
using FileManagerTest::service;
using TestSupport::Capture;
using TestSupport::Unprivileged;

namespace {

/// What a removal reports: the last error first, then its own warning.
QStringList reported(const char *operation, const QString &text)
{
    return {errorLine(text),
            "W [warning][" + QString::fromLatin1(operation) + "] [ " + text + " ]"};
}

QString applicationDir()
{
    return QCoreApplication::applicationDirPath();
}

constexpr qint64 baseMs = 1700000000000;

} // namespace

class tst_Retention : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void keepNewest_data();
    void keepNewest();
    void keepNewestByTheMillisecond();
    void keepNewestInTheHourThatComesTwice();
    void keepNewestFilters_data();
    void keepNewestFilters();
    void keepNewestBeyondAscii();
    void nameThatBeginsWithAByteOrderMark();
    void keepNewestInAnotherEncoding();
    void keepNewestLinksAndOthers();
    void keepNewestIgnoresFailures();
    void keepNewestElsewhere_data();
    void keepNewestElsewhere();
    void byTime_data();
    void byTime();
    void byTimeMissingDirectory();
    void byTimeFailure();
    void byTimeRelativePath();
    void byDays_data();
    void byDays();
    void byDaysCountsCalendarDays();
    void byDaysFilters();
    void byDaysFailure();
    void byDaysElsewhere();
    void byWords_data();
    void byWords();
    void byWordsSecondWordFails();
    void byWordsFailureGoesOn();
    void byWordsElsewhere();
    void contentOfTree();
    void contentOfTreeRelative();
    void contentOfMissingTree_data();
    void contentOfMissingTree();
    void contentFailuresGoOn();
    void contentStopsAtLinks();
    void contentOfAFile();

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    QStringList files() const
    {
        return QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
    }
    void makeFile(const QString &name, qint64 modifiedMs = baseMs)
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write("x"), qint64(1));
        file.close();
        const timespec time{static_cast<time_t>(modifiedMs / 1000),
                            static_cast<long>(modifiedMs % 1000 * 1000000)};
        const timespec times[2] = {time, time};
        QCOMPARE(::utimensat(AT_FDCWD, qPrintable(path(name)), times, 0), 0);
    }
    /// Files "0" (the oldest) to @p count - 1, one second apart.
    void makeFiles(int count, const QString &suffix)
    {
        for (int i = 0; i < count; ++i)
            makeFile(QString::number(i) + suffix, baseMs + i * qint64(1000));
    }
    void closeDirectory(const QString &name) { QCOMPARE(::chmod(qPrintable(path(name)), 0555), 0); }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Capture> m_capture;
    QString m_startDir = QDir::currentPath();
};

void tst_Retention::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    QCOMPARE(::chmod(qPrintable(m_dir->path()), 0777), 0);
    m_capture = std::make_unique<Capture>();
    // Any other directory than the one that some operations leave current.
    QVERIFY(QDir::setCurrent(QDir::rootPath()));
}

void tst_Retention::cleanup()
{
    TestClock::reset();
    qputenv("TZ", "UTC");
    tzset();
    m_capture.reset();
    ::chmod(qPrintable(m_dir->path()), 0777);
    m_dir.reset();
    QDir::setCurrent(m_startDir);
}

void tst_Retention::keepNewest_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("keep");
    QTest::addColumn<bool>("result");
    QTest::addColumn<int>("left");
    QTest::newRow("two too many") << 7 << 5 << true << 5;
    QTest::newRow("one too many") << 6 << 5 << true << 5;
    QTest::newRow("exactly") << 5 << 5 << false << 5;
    QTest::newRow("fewer") << 3 << 5 << false << 3;
    QTest::newRow("none to keep") << 3 << 0 << true << 0;
    QTest::newRow("nothing there") << 0 << 0 << false << 0;
    QTest::newRow("negative") << 3 << -1 << false << 3;
    QTest::newRow("most negative") << 3 << -2147483647 - 1 << false << 3;
    QTest::newRow("largest") << 3 << 2147483647 << false << 3;
}

void tst_Retention::keepNewest()
{
    QFETCH(int, count);
    QFETCH(int, keep);
    QFETCH(int, left);
    makeFiles(count, ".log");
    QTEST(service().removeLastDateTimeFiles(m_dir->path(), {"*.log"}, keep), "result");
    QStringList expected;
    for (int i = count - left; i < count; ++i)
        expected << QString::number(i) + ".log";
    QCOMPARE(files(), expected);
    QVERIFY(m_capture->lines().isEmpty());
    QCOMPARE(QDir::currentPath(), QDir::rootPath()); // left alone
}

void tst_Retention::keepNewestByTheMillisecond()
{
    // Newer by a millisecond is newer; of the same time the last in name order goes.
    makeFile("d", baseMs + 1);
    makeFile("a", baseMs);
    makeFile("C", baseMs);
    makeFile("b", baseMs);
    QVERIFY(service().removeLastDateTimeFiles(m_dir->path(), {}, 3));
    QCOMPARE(files(), (QStringList{"C", "a", "d"}));
    QVERIFY(service().removeLastDateTimeFiles(m_dir->path(), {}, 2));
    QCOMPARE(files(), (QStringList{"C", "d"}));
    QVERIFY(service().removeLastDateTimeFiles(m_dir->path(), {}, 1));
    QCOMPARE(files(), QStringList{"d"});
}

void tst_Retention::keepNewestInTheHourThatComesTwice()
{
    // Clocks went back at 01:00 UTC: 02:30 before is older than 02:10 after.
    qputenv("TZ", "Europe/Berlin");
    tzset();
    const qint64 change = QDateTime(QDate(2026, 10, 25), QTime(1, 0), Qt::UTC).toMSecsSinceEpoch();
    makeFile("before", change - 1800000);
    makeFile("after", change + 600000);
    QVERIFY(service().removeLastDateTimeFiles(m_dir->path(), {}, 1));
    QCOMPARE(files(), QStringList{"after"});
}

void tst_Retention::keepNewestFilters_data()
{
    QTest::addColumn<QStringList>("filters");
    QTest::addColumn<QStringList>("left");
    const QStringList all{".a.log", "A.LOG", "[x].txt", "a.log", "alog", "b.txt", "log"};
    const auto without = [&all](const QStringList &gone) {
        QStringList left;
        std::copy_if(all.begin(), all.end(), std::back_inserter(left),
                     [&gone](const QString &name) { return !gone.contains(name); });
        return left;
    };
    QTest::newRow("ending, any case, hidden")
        << QStringList{"*.log"} << without({".a.log", "A.LOG", "a.log"});
    QTest::newRow("ending in capitals")
        << QStringList{"*.LOG"} << without({".a.log", "A.LOG", "a.log"});
    QTest::newRow("all") << QStringList{"*"} << without(all);
    QTest::newRow("no filters") << QStringList{} << without(all);
    QTest::newRow("two filters") << QStringList{"*.txt", "log"}
                                 << without({"[x].txt", "b.txt", "log"});
    QTest::newRow("question mark") << QStringList{"?.log"} << without({"A.LOG", "a.log"});
    QTest::newRow("set") << QStringList{"[ab].*"} << without({"A.LOG", "a.log", "b.txt"});
    QTest::newRow("star and question mark")
        << QStringList{"*.?og"} << without({".a.log", "A.LOG", "a.log"});
    QTest::newRow("star and set") << QStringList{"*.[bt]xt"} << without({"[x].txt", "b.txt"});
    QTest::newRow("two stars") << QStringList{"*lo*"}
                               << without({".a.log", "A.LOG", "a.log", "alog", "log"});
    QTest::newRow("exact name") << QStringList{"ALOG"} << without({"alog"});
    QTest::newRow("nothing matches") << QStringList{"*.zip"} << all;
    QTest::newRow("empty filter") << QStringList{""} << all;
    QTest::newRow("star inside") << QStringList{"a*g"} << without({"A.LOG", "a.log", "alog"});
}

void tst_Retention::keepNewestFilters()
{
    QFETCH(QStringList, filters);
    QFETCH(QStringList, left);
    for (const char *name : {".a.log", "A.LOG", "[x].txt", "a.log", "alog", "b.txt", "log"})
        makeFile(name);
    // The same files that Qt's own listing would name.
    const QStringList qtNames =
        QDir(m_dir->path()).entryList(filters, QDir::Files | QDir::Hidden, QDir::Name);
    QCOMPARE(service().removeLastDateTimeFiles(m_dir->path(), filters, 0), !qtNames.isEmpty());
    QCOMPARE(files(), left);
    for (const QString &name : qtNames)
        QVERIFY(!left.contains(name));
    QCOMPARE(qtNames.size() + left.size(), 7);
}

void tst_Retention::keepNewestBeyondAscii()
{
    for (const char *name : {"eins.ä", "zwei.Ä", "drei.a"})
        makeFile(QString::fromUtf8(name));
    QVERIFY(service().removeLastDateTimeFiles(m_dir->path(), {QStringLiteral("*.ä")}, 0));
    QCOMPARE(files(), QStringList{"drei.a"});
}

void tst_Retention::nameThatBeginsWithAByteOrderMark()
{
    const QString name = QChar(QChar::ByteOrderMark) + QString("one.log");
    makeFile(name);
    QVERIFY(service().removeLastDateTimeFiles(m_dir->path(), {"*.log"}, 0));
    QCOMPARE(files(), QStringList());
    makeFile(name);
    makeFile("two.log");
    QVERIFY(service().removeFileByTime(m_dir->path(), 0));
    QCOMPARE(files(), QStringList());
}

/// Names are read in the local encoding; those that it does not have do not count.
void tst_Retention::keepNewestInAnotherEncoding()
{
    const auto makeNative = [this](const char *name) {
        const QByteArray native = QFile::encodeName(m_dir->path()) + '/' + name;
        const int descriptor = ::open(native.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
        QVERIFY(descriptor >= 0);
        ::close(descriptor);
    };
    makeNative("a.\xBF\xAA");
    makeNative("b.\xFF");
    makeNative("c.log");
    QTextCodec *const before = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("GB18030"));
    const bool byName =
        service().removeLastDateTimeFiles(m_dir->path(), {QStringLiteral("*.开")}, 0);
    const bool others = service().removeLastDateTimeFiles(m_dir->path(), {}, 0);
    QTextCodec::setCodecForLocale(before);
    QVERIFY(byName);
    QVERIFY(others);
    const QByteArray invalid = QFile::encodeName(m_dir->path()) + "/b.\xFF";
    QCOMPARE(::unlink(invalid.constData()), 0); // all that is left
    QVERIFY(m_dir->remove());
}

void tst_Retention::keepNewestLinksAndOthers()
{
    makeFile("file");
    QVERIFY(QDir(m_dir->path()).mkdir("dir"));
    QVERIFY(QDir(m_dir->path()).mkdir("outside"));
    makeFile("outside/target", baseMs - 1000);
    QVERIFY(QFile::link(path("outside/target"), path("link")));
    QVERIFY(QFile::link(path("outside"), path("dirlink")));
    QVERIFY(QFile::link(path("nowhere"), path("dangling")));
    QCOMPARE(::mkfifo(qPrintable(path("fifo")), 0600), 0);
    const QByteArray notUtf8 = QFile::encodeName(m_dir->path()) + "/\xFF\xFE";
    const int descriptor = ::open(notUtf8.constData(), O_CREAT | O_WRONLY, 0600);
    QVERIFY(descriptor >= 0);
    ::close(descriptor);
    // "file" and "link" are all that counts.
    QVERIFY(!service().removeLastDateTimeFiles(m_dir->path(), {}, 2));
    QVERIFY(service().removeLastDateTimeFiles(m_dir->path(), {}, 0));
    QVERIFY(!QFileInfo::exists(path("file")));
    QVERIFY(!QFileInfo(path("link")).isSymLink());
    QVERIFY(QFileInfo::exists(path("outside/target"))); // links go, not what they point at
    for (const char *other : {"dir", "outside", "dirlink", "fifo"})
        QVERIFY2(QFileInfo::exists(path(other)), other);
    QVERIFY(QFileInfo(path("dangling")).isSymLink());
    QCOMPARE(::unlink(notUtf8.constData()), 0);
}

void tst_Retention::keepNewestIgnoresFailures()
{
    makeFiles(3, "");
    closeDirectory(".");
    {
        const Unprivileged user;
        QVERIFY(service().removeLastDateTimeFiles(m_dir->path(), {}, 1));
    }
    QCOMPARE(files().size(), 3);
    QVERIFY(m_capture->lines().isEmpty());
}

void tst_Retention::keepNewestElsewhere_data()
{
    QTest::addColumn<QString>("directory");
    QTest::newRow("missing") << "/no/such";
    QTest::newRow("empty path") << "";
    QTest::newRow("null path") << QString();
    QTest::newRow("a file") << "file";
    QTest::newRow("name that ends early") << "NUL";
}

void tst_Retention::keepNewestElsewhere()
{
    QFETCH(QString, directory);
    makeFiles(2, "");
    makeFile("file");
    if (directory == "file")
        directory = path("file");
    else if (directory == "NUL")
        directory = m_dir->path() + QChar(QChar::Null) + "behind";
    QVERIFY(QDir::setCurrent(m_dir->path()));
    QVERIFY(!service().removeLastDateTimeFiles(directory, {}, 0));
    QCOMPARE(files().size(), 3); // not even the current directory
}

void tst_Retention::byTime_data()
{
    QTest::addColumn<int>("keep");
    QTest::addColumn<QStringList>("left");
    QTest::addColumn<bool>("result");
    QTest::newRow("none") << 0 << QStringList{} << true;
    QTest::newRow("two") << 2 << QStringList{"2", "3"} << true;
    QTest::newRow("all") << 4 << QStringList{"0", "1", "2", "3"} << true;
    QTest::newRow("more") << 9 << QStringList{"0", "1", "2", "3"} << true;
    QTest::newRow("negative") << -1 << QStringList{"0", "1", "2", "3"} << false;
}

void tst_Retention::byTime()
{
    QFETCH(int, keep);
    makeFiles(4, "");
    QVERIFY(QDir(m_dir->path()).mkdir("sub"));
    makeFile("sub/inside");
    QTEST(service().removeFileByTime(m_dir->path(), keep), "result");
    QTEST(files(), "left");
    QVERIFY(QFileInfo::exists(path("sub/inside")));
    QVERIFY(m_capture->lines().isEmpty());
    QCOMPARE(QDir::currentPath(), keep < 0 ? QDir::rootPath() : applicationDir());
}

void tst_Retention::byTimeMissingDirectory()
{
    QVERIFY(!service().removeFileByTime(path("missing%1"), 0));
    QCOMPARE(ZeFileManager::getLastError(), "dir is not exists : " + path("missing%1"));
    QCOMPARE(m_capture->take(), QStringList{errorLine("dir is not exists : " + path("missing%1"))});
    QCOMPARE(QDir::currentPath(), applicationDir());

    // A relative path is the one that was looked for, below the current directory.
    QVERIFY(QDir::setCurrent(m_dir->path()));
    QVERIFY(!service().removeFileByTime("relative", 0));
    QCOMPARE(m_capture->take(), QStringList{errorLine("dir is not exists : " + path("relative"))});

    makeFiles(2, "");
    QVERIFY(QDir::setCurrent(m_dir->path()));
    QVERIFY(!service().removeFileByTime(QString(), 0));
    QCOMPARE(files().size(), 2);
    QCOMPARE(m_capture->take(), QStringList{errorLine("dir is not exists : " + m_dir->path())});
    QCOMPARE(QDir::currentPath(), applicationDir());
}

void tst_Retention::byTimeFailure()
{
    makeFiles(3, "");
    closeDirectory(".");
    {
        const Unprivileged user;
        QVERIFY(!service().removeFileByTime(m_dir->path(), 1));
    }
    // The newest of those that are too many is tried first, and nothing after it.
    QCOMPARE(m_capture->lines(), QStringList{errorLine("remove file faild: " + path("1"))});
    QCOMPARE(files().size(), 3);
    QCOMPARE(QDir::currentPath(), applicationDir());
}

void tst_Retention::byTimeRelativePath()
{
    QVERIFY(QDir(m_dir->path()).mkdir("sub"));
    makeFile("sub/file");
    QVERIFY(QDir::setCurrent(m_dir->path()));
    QVERIFY(service().removeFileByTime("sub", 0));
    QVERIFY(!QFileInfo::exists(path("sub/file")));
    QCOMPARE(QDir::currentPath(), applicationDir());
}

void tst_Retention::byDays_data()
{
    QTest::addColumn<int>("ageDays");
    QTest::addColumn<int>("days");
    QTest::addColumn<bool>("result");
    QTest::addColumn<bool>("stays");
    QTest::newRow("created today") << 0 << 0 << true << true;
    QTest::newRow("yesterday, none allowed") << 1 << 0 << true << false;
    QTest::newRow("yesterday, one allowed") << 1 << 1 << true << true;
    QTest::newRow("a week") << 7 << 7 << true << true;
    QTest::newRow("a week and a day") << 8 << 7 << true << false;
    QTest::newRow("in the future, none allowed") << -1 << 0 << true << false;
    QTest::newRow("in the future, allowed") << -3 << 3 << true << true;
    QTest::newRow("far in the future") << -4 << 3 << true << false;
    QTest::newRow("negative days") << 5 << -1 << false << true;
}

void tst_Retention::byDays()
{
    QFETCH(int, ageDays);
    QFETCH(int, days);
    // Modification times do not matter: one is old, one is new.
    makeFile("old", baseMs - 1000);
    makeFile("new", QDateTime::currentMSecsSinceEpoch());
    TestClock::set(QDateTime::currentDateTime().addDays(ageDays));
    QTEST(service().removeFilesByDateOfDay(m_dir->path(), {}, days), "result");
    QFETCH(bool, stays);
    QCOMPARE(files(), stays ? (QStringList{"new", "old"}) : QStringList());
    QVERIFY(m_capture->lines().isEmpty());
    QCOMPARE(QDir::currentPath(), QDir::rootPath());
}

void tst_Retention::byDaysCountsCalendarDays()
{
    // Seconds before and after a midnight are a day apart, wherever the midnight is.
    makeFile("file");
    const QDateTime created = QFileInfo(path("file")).fileTime(QFileDevice::FileBirthTime).isValid()
        ? QFileInfo(path("file")).fileTime(QFileDevice::FileBirthTime)
        : QFileInfo(path("file")).fileTime(QFileDevice::FileMetadataChangeTime);
    const QDateTime midnight(created.date().addDays(1), QTime(0, 0));
    TestClock::set(midnight.addMSecs(-1));
    QVERIFY(service().removeFilesByDateOfDay(m_dir->path(), {}, 0));
    QCOMPARE(files(), QStringList{"file"});
    TestClock::set(midnight);
    QVERIFY(service().removeFilesByDateOfDay(m_dir->path(), {}, 0));
    QCOMPARE(files(), QStringList());
}

void tst_Retention::byDaysFilters()
{
    makeFile("a.log");
    makeFile("b.txt");
    TestClock::set(QDateTime::currentDateTime().addDays(10));
    QVERIFY(service().removeFilesByDateOfDay(m_dir->path(), {"*.log"}, 3));
    QCOMPARE(files(), QStringList{"b.txt"});
}

void tst_Retention::byDaysFailure()
{
    makeFiles(3, "");
    closeDirectory(".");
    TestClock::set(QDateTime::currentDateTime().addDays(10));
    {
        const Unprivileged user;
        QVERIFY(!service().removeFilesByDateOfDay(m_dir->path(), {}, 3));
    }
    QCOMPARE(files().size(), 3);
    // The most recently modified one is tried first.
    QCOMPARE(m_capture->lines(), QStringList{errorLine("remove file faild: " + path("2"))});
    QCOMPARE(ZeFileManager::getLastError(), "remove file faild: " + path("2"));
}

void tst_Retention::byDaysElsewhere()
{
    makeFiles(2, "");
    TestClock::set(QDateTime::currentDateTime().addDays(10));
    QVERIFY(QDir::setCurrent(m_dir->path()));
    QVERIFY(service().removeFilesByDateOfDay(path("missing"), {}, 0));
    QVERIFY(service().removeFilesByDateOfDay(QString(), {}, 0));
    QCOMPARE(files().size(), 2);
    QVERIFY(m_capture->lines().isEmpty());
}

void tst_Retention::byWords_data()
{
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QStringList>("left");
    QTest::newRow("one word") << QStringList{"tmp"} << QStringList{"TMP", "other"};
    QTest::newRow("other case") << QStringList{"TMP"}
                                << QStringList{".tmp", "a.tmp", "other", "tmp_1", "xtmpx"};
    QTest::newRow("two words") << QStringList{"oth", "_1"}
                               << QStringList{".tmp", "TMP", "a.tmp", "xtmpx"};
    QTest::newRow("no words") << QStringList{}
                              << QStringList{".tmp", "TMP", "a.tmp", "other", "tmp_1", "xtmpx"};
    QTest::newRow("empty word is in every name") << QStringList{""} << QStringList{};
    QTest::newRow("no wildcards") << QStringList{"*"}
                                  << QStringList{".tmp", "TMP", "a.tmp", "other", "tmp_1", "xtmpx"};
}

void tst_Retention::byWords()
{
    QFETCH(QStringList, words);
    for (const char *name : {".tmp", "a.tmp", "tmp_1", "xtmpx", "TMP", "other"})
        makeFile(name);
    QVERIFY(QDir(m_dir->path()).mkdir("tmpdir"));
    QVERIFY(service().removeDirWithFileNames(m_dir->path(), words));
    QStringList left = files();
    QTEST(left, "left");
    QVERIFY(QFileInfo::exists(path("tmpdir")));
    QVERIFY(m_capture->lines().isEmpty());
    QCOMPARE(QDir::currentPath(), QDir::rootPath());
}

void tst_Retention::byWordsSecondWordFails()
{
    makeFile("both");
    QVERIFY(service().removeDirWithFileNames(m_dir->path(), {"bo", "th"}));
    QCOMPARE(files(), QStringList());
    QCOMPARE(m_capture->lines(),
             reported("removeDirWithFileNames", "Remove file failed:" + path("both")));
}

void tst_Retention::byWordsFailureGoesOn()
{
    makeFile("word1");
    makeFile("word2");
    closeDirectory(".");
    {
        const Unprivileged user;
        QVERIFY(service().removeDirWithFileNames(m_dir->path(), {"word"}));
    }
    QStringList lines = m_capture->lines();
    QCOMPARE(lines.size(), 4); // two files, in whatever order
    QStringList expected = reported("removeDirWithFileNames", "Remove file failed:" + path("word1"))
        + reported("removeDirWithFileNames", "Remove file failed:" + path("word2"));
    lines.sort();
    expected.sort();
    QCOMPARE(lines, expected);
}

void tst_Retention::byWordsElsewhere()
{
    makeFile("word");
    QVERIFY(QDir::setCurrent(m_dir->path()));
    QVERIFY(service().removeDirWithFileNames(QString(), {"word"}));
    QVERIFY(service().removeDirWithFileNames(path("missing"), {"word"}));
    QCOMPARE(files(), QStringList{"word"});
    QVERIFY(service().removeDirWithFileNames(".", {"word"})); // against the current directory
    QCOMPARE(files(), QStringList());
    QVERIFY(m_capture->lines().isEmpty());
}

void tst_Retention::contentOfTree()
{
    QVERIFY(QDir().mkpath(path("tree/b/c")));
    QVERIFY(QDir().mkpath(path("tree/a/.d")));
    for (const char *name : {"tree/1", "tree/.2", "tree/b/3", "tree/b/c/4", "tree/a/.d/5"})
        makeFile(name);
    QVERIFY(service().removeDirWithContent(path("tree")));
    for (const char *name : {"tree/1", "tree/.2", "tree/b/3", "tree/b/c/4", "tree/a/.d/5"})
        QVERIFY2(!QFileInfo::exists(path(name)), name);
    // The directories stay; each is reported, the deepest found last comes first.
    QStringList expected;
    for (const char *name : {"tree/b/c", "tree/a/.d", "tree/b", "tree/a", "tree"}) {
        QVERIFY2(QFileInfo::exists(path(name)), name);
        expected << reported("removeDirWithContent", "remove " + path(name) + " dir failed");
    }
    QCOMPARE(m_capture->lines(), expected);
    QCOMPARE(QDir::currentPath(), applicationDir());
}

void tst_Retention::contentOfTreeRelative()
{
    // Against the application directory, whatever directory is current.
    const QString relative = QDir(applicationDir()).relativeFilePath(m_dir->path());
    QVERIFY(QDir::isRelativePath(relative));
    makeFile("file");
    QVERIFY(service().removeDirWithContent(relative));
    QVERIFY(!QFileInfo::exists(path("file")));
    QCOMPARE(m_capture->lines(),
             reported("removeDirWithContent", "remove " + m_dir->path() + " dir failed"));
}

void tst_Retention::contentOfMissingTree_data()
{
    QTest::addColumn<QString>("tree");
    QTest::newRow("absolute") << "/no/such";
    QTest::newRow("relative") << "no-such";
    QTest::newRow("empty") << "";
}

void tst_Retention::contentOfMissingTree()
{
    QFETCH(QString, tree);
    makeFile("file");
    QVERIFY(QDir::setCurrent(m_dir->path()));
    QVERIFY(!service().removeDirWithContent(tree));
    // The text names the application directory, not what is missing.
    QCOMPARE(m_capture->lines(),
             reported("removeDirWithContent", applicationDir() + " dir is not exists"));
    QCOMPARE(files(), QStringList{"file"});
    QCOMPARE(QDir::currentPath(), m_dir->path());
}

void tst_Retention::contentFailuresGoOn()
{
    QVERIFY(QDir().mkpath(path("tree/closed")));
    QCOMPARE(::chmod(qPrintable(path("tree")), 0777), 0);
    makeFile("tree/closed/1");
    makeFile("tree/closed/2%1");
    makeFile("tree/3");
    closeDirectory("tree/closed");
    {
        const Unprivileged user;
        QVERIFY(service().removeDirWithContent(path("tree")));
    }
    QStringList expected;
    expected << reported("removeDirWithContent", "remove " + path("tree/closed/1") + " file failed")
             << reported("removeDirWithContent",
                         "remove " + path("tree/closed/2%1") + " file failed")
             << reported("removeDirWithContent", "remove " + path("tree/closed") + " dir failed")
             << reported("removeDirWithContent", "remove " + path("tree") + " dir failed");
    QCOMPARE(m_capture->lines(), expected);
    QVERIFY(!QFileInfo::exists(path("tree/3")));
    QVERIFY(QFileInfo::exists(path("tree/closed/1")));
    QCOMPARE(::chmod(qPrintable(path("tree/closed")), 0777), 0);
}

void tst_Retention::contentStopsAtLinks()
{
    QVERIFY(QDir().mkpath(path("tree")));
    QVERIFY(QDir().mkpath(path("outside/sub")));
    makeFile("outside/file");
    makeFile("outside/sub/file");
    QVERIFY(QFile::link(path("outside"), path("tree/link")));
    QVERIFY(QFile::link(path("outside/file"), path("tree/filelink")));
    QVERIFY(QFile::link(path("tree"), path("tree/loop")));
    QVERIFY(service().removeDirWithContent(path("tree")));
    QVERIFY(QFileInfo::exists(path("outside/file")));
    QVERIFY(QFileInfo::exists(path("outside/sub/file")));
    QVERIFY(!QFileInfo(path("tree/filelink")).isSymLink());
    QVERIFY(QFileInfo(path("tree/link")).isSymLink());
    QStringList expected;
    for (const char *name : {"tree/loop", "tree/link", "tree"})
        expected << reported("removeDirWithContent", "remove " + path(name) + " dir failed");
    QCOMPARE(m_capture->lines(), expected);
}

void tst_Retention::contentOfAFile()
{
    makeFile("file");
    QVERIFY(service().removeDirWithContent(path("file"))); // it exists, and that is what counts
    QVERIFY(QFileInfo::exists(path("file")));
    QCOMPARE(m_capture->lines(),
             reported("removeDirWithContent", "remove " + path("file") + " dir failed"));
}

QTEST_GUILESS_MAIN(tst_Retention)
#include "tst_retention.moc"
