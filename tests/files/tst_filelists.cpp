// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/FileManagerTest.h"
#include "files/FileTree.h"
#include "support/Capture.h"
#include "support/Child.h"
#include "support/Unprivileged.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>
#include <QtCore/QDebug>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QTextCodec>
#include <QtTest/QTest>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>
#include <random>
#include <thread>

#include <linux/fs.h>
#include <sys/syscall.h>

using FileManagerTest::service;
using TestSupport::Capture;
using TestSupport::Unprivileged;

namespace {

using Collect = bool (ZeFileManager::*)(const QString &, const QStringList &, QList<QVariant> &);

/// The three collectors and what they differ in.
struct Collector
{
    const char *name;
    Collect collect;
    bool bySuffix;
    bool listed;
    bool logsSkipped;
    const char *failed;
};

const Collector collectors[] = {
    {"getDirectoryFiles", &ZeFileManager::getDirectoryFiles, false, false, false, nullptr},
    {"getDirectorySuffixFiles", &ZeFileManager::getDirectorySuffixFiles, true, true, true,
     "[error:getDirectorySuffixFiles: %1 to  失败.]"},
    {"getDirectoryFilesSuffix", &ZeFileManager::getDirectoryFilesSuffix, true, false, true,
     "[error:getDirectoryFilesSuffix:拷贝 %1 to  失败.]"},
};

const QDir::Filters listedEntries = QDir::Dirs | QDir::Files | QDir::Hidden | QDir::NoDotAndDotDot;

QString skippedLine(const Collector &collector, const QStringList &list, const QString &name)
{
    return QString("D [debug][%1] [跳过的过滤文件[%2]:%3]")
        .arg(collector.name, list.join(','), name);
}

/// What the collectors do, entry by entry as documented, through Qt's listings.
void collectThroughQt(const Collector &collector, const QString &path, const QStringList &list,
                      QList<QVariant> &out, QStringList &lines)
{
    const QFileInfoList entries = QDir(path).entryInfoList(listedEntries);
    for (const QFileInfo &entry : entries) {
        const QString key = collector.bySuffix ? entry.suffix() : entry.fileName();
        if (entry.isDir())
            collectThroughQt(collector, entry.absoluteFilePath(), list, out, lines);
        else if (!entry.isFile())
            continue;
        else if (list.contains(key) == collector.listed)
            out.append(entry.absoluteFilePath());
        else if (collector.logsSkipped)
            lines.append(skippedLine(collector, list, entry.fileName()));
    }
}

QList<QVariant> paths(const QStringList &list)
{
    QList<QVariant> result;
    for (const QString &path : list)
        result.append(path);
    return result;
}

int openDescriptors()
{
    return int(QDir("/proc/self/fd").count());
}

// By this name, since a debug build of Qt's headers refuses the type's own: it
// contains a reference.
using BuildTree = std::function<void(const FileTree &)>;

} // namespace

Q_DECLARE_METATYPE(BuildTree)

class tst_FileLists : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void sameAsQt_data();
    void sameAsQt();
    void sameAsQtUnderOtherPaths_data();
    void sameAsQtUnderOtherPaths();
    void sameAsQtInOtherLocales_data();
    void sameAsQtInOtherLocales();
    void sameAsQtInAnotherEncoding();
    void whileStaticsAreDestroyed();
    void namesThatDifferInCaseOnly();
    void namedFile_data();
    void namedFile();
    void textsOfSkippedFiles_data();
    void textsOfSkippedFiles();
    void suffixes_data();
    void suffixes();
    void listIsNotCleared();
    void nothingToCollect_data();
    void nothingToCollect();
    void unreadableDirectory();
    void linksToAncestors();
    void rootThatIsALink();
    void linksAreFollowedAsOftenAsTheyStand();
    void deepTree();
    void manyFiles();
    void directoryThatBecomesAFile_data();
    void directoryThatBecomesAFile();
    void records();
    void recordsOrder();
    void recordsOfTheSameTime();
    void recordsFilters_data();
    void recordsFilters();
    void recordsOfNothing_data();
    void recordsOfNothing();
    void readsTheLastFile();
    void readsInTheOrderAskedFor();
    void readFailures();
    void readNothing_data();
    void readNothing();
    void creationOrder();
    void creationOrderOfEqualTimes_data();
    void creationOrderOfEqualTimes();
    void creationOrderOfShuffledLists();
    void creationOrderLines();
    void creationTimeOfResources();

private:
    static void addCollectors()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < int(std::size(collectors)); ++i)
            QTest::newRow(collectors[i].name) << i;
    }
    void verifySameAsQt(const QString &path, const QStringList &list);

    std::unique_ptr<FileTree> m_tree;
    std::unique_ptr<Capture> m_capture;
    QString m_startDir = QDir::currentPath();
};

void tst_FileLists::init()
{
    m_tree = std::make_unique<FileTree>();
    m_capture = std::make_unique<Capture>();
}

void tst_FileLists::cleanup()
{
    m_capture.reset();
    QDir::setCurrent(m_startDir);
    m_tree.reset();
}

void tst_FileLists::verifySameAsQt(const QString &path, const QStringList &list)
{
    const QString lastError = ZeFileManager::getLastError();
    for (const Collector &collector : collectors) {
        QList<QVariant> expected;
        QStringList expectedLines;
        collectThroughQt(collector, path, list, expected, expectedLines);
        m_capture->take();
        QList<QVariant> collected;
        const int descriptors = openDescriptors();
        QVERIFY((service().*collector.collect)(path, list, collected));
        QCOMPARE(openDescriptors(), descriptors);
        QCOMPARE(collected, expected);
        QCOMPARE(m_capture->take(), expectedLines);
    }
    QCOMPARE(ZeFileManager::getLastError(), lastError);
}

void tst_FileLists::sameAsQt_data()
{
    QTest::addColumn<BuildTree>("build");
    QTest::newRow("empty") << BuildTree([](const FileTree &) {});
    QTest::newRow("order of names") << BuildTree([](const FileTree &tree) {
        for (const char *name : {"b", "B2", "A", "aa", "a.txt", "C.log", ".h", ".Hidden.txt", "_u",
                                 "[x]", "~", "10.log", "9.log", "z z.txt", "-", "#.log"})
            tree.file(QString::fromLatin1(name));
    });
    QTest::newRow("directories among files") << BuildTree([](const FileTree &tree) {
        for (const char *name : {"b.txt", "c/z.log", "c/A/x.txt", "c/B.log", "d.log", "D1/a.txt",
                                 ".hidden/a.txt", "empty.d/e/f.txt"})
            tree.file(QString::fromLatin1(name));
        tree.directory("empty.txt");
    });
    QTest::newRow("names beyond ASCII") << BuildTree([](const FileTree &tree) {
        for (const char *name : {"日志.txt", "Ärger.log", "ärger2.log", "İstanbul.txt", "ß.log",
                                 "ǅ.txt", "Ω", "ω1", "🦀.txt", "～.log", "\uFFFD.txt", "z"})
            tree.file(QString::fromUtf8(name));
        const QChar mark(QChar::ByteOrderMark); // fromUtf8() would swallow it
        tree.file(mark + QString("mark.txt"));
        tree.file(mark + QString("d/x.txt"));
    });
    QTest::newRow("odd names") << BuildTree([](const FileTree &tree) {
        for (const QString &name :
             {QString("line\nbreak.txt"), QString(" blank .txt"), QString("%1%2.log"),
              QString("tab\t.log"), QString("back\\s"), QString(251, 'n') + ".txt", QString("*"),
              QString("..."), QString("end."), QString("?.txt")})
            tree.file(name);
    });
    QTest::newRow("names that are not UTF-8") << BuildTree([](const FileTree &tree) {
        for (const char *name : {"caf\xE9.txt", "\xFF\xFE", "ok.txt", "cut\xE2\x82", "\xC0\xAF.log",
                                 "\xED\xA0\x80.txt", "\xF4\x90\x80\x80"})
            tree.nativeFile(name);
    });
    QTest::newRow("links") << BuildTree([](const FileTree &tree) {
        tree.file("target/f.txt");
        tree.file("plain.log");
        tree.link("plain.log", "alias.txt");
        tree.link("target", "directory.link");
        tree.link(tree.path("target/f.txt"), "absolute.txt");
        tree.link("nowhere.txt", "broken.txt");
        tree.link("itself.txt", "itself.txt");
    });
    QTest::newRow("neither files nor directories") << BuildTree([](const FileTree &tree) {
        tree.fifo("fifo.txt");
        tree.socket("socket.txt");
        tree.link("fifo.txt", "fifolink.txt");
        tree.link("/dev/null", "null.txt");
        tree.file("file.txt");
    });
    QTest::newRow("sizes") << BuildTree([](const FileTree &tree) {
        tree.file("empty.txt", "");
        tree.file("sparse.txt", "");
        if (::truncate(tree.native("sparse.txt").constData(), off_t(1) << 30) != 0)
            qFatal("cannot make a sparse file");
    });
}

void tst_FileLists::sameAsQt()
{
    QFETCH(BuildTree, build);
    build(*m_tree);
    verifySameAsQt(m_tree->path(), {});
    verifySameAsQt(m_tree->path(), {"txt", "a.txt"});
    verifySameAsQt(m_tree->path(), {"", "log", "z"});
}

void tst_FileLists::sameAsQtUnderOtherPaths_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("relative") << "d";
    QTest::newRow("dot") << ".";
    QTest::newRow("dot dot") << "d/..";
    QTest::newRow("slash at the end") << "d/";
    QTest::newRow("slashes") << "d//s///";
    QTest::newRow("dots within") << "./d/../d/./s";
    QTest::newRow("search path") << "place:d";
    QTest::newRow("resources") << ":/files";
}

void tst_FileLists::sameAsQtUnderOtherPaths()
{
    QFETCH(QString, path);
    for (const char *name : {"d/b.txt", "d/s/A.log", "d/s/t/c.txt"})
        m_tree->file(QString::fromLatin1(name));
    QVERIFY(QDir::setCurrent(m_tree->path()));
    QDir::setSearchPaths("place", {m_tree->path()});
    QList<QVariant> any;
    QVERIFY(service().getDirectoryFiles(path, {}, any));
    QVERIFY(!any.isEmpty());
    verifySameAsQt(path, {"log"});
    QDir::setSearchPaths("place", {});
}

void tst_FileLists::sameAsQtInOtherLocales_data()
{
    QTest::addColumn<QString>("locale");
    QTest::newRow("C") << "LC_ALL=C";
    QTest::newRow("POSIX") << "LC_ALL=POSIX";
    QTest::newRow("UTF-8") << "LC_ALL=C.UTF-8";
}

void tst_FileLists::sameAsQtInOtherLocales()
{
    QFETCH(QString, locale);
    for (const char *name : {"b.txt", "A.txt", "caf\xC3\xA9", "\xE6\x97\xA5.txt", "caf\xE9"})
        m_tree->nativeFile(name);
    TestSupport::ChildOptions options;
    options.environment = QStringList{locale};
    const QString program = TestSupport::helperPath("files_child");
    const auto expected =
        TestSupport::runChild(program, {"collectThroughQt", m_tree->path()}, options);
    QVERIFY2(expected.endedWith(0), expected.report());
    QVERIFY(expected.out.count('\n') >= 2);
    const auto collected = TestSupport::runChild(program, {"collect", m_tree->path()}, options);
    QVERIFY2(collected.endedWith(0), collected.report());
    QCOMPARE(collected.out, expected.out);
}

/// One in which all bytes are names.
void tst_FileLists::sameAsQtInAnotherEncoding()
{
    for (const char *name : {"b.txt", "\xE6\x97\xA5\xE6\x97\xA5.txt", "caf\xE9.txt"})
        m_tree->nativeFile(name);
    QTextCodec *const before = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
    verifySameAsQt(m_tree->path(), {});
    QList<QVariant> collected;
    service().getDirectoryFiles(m_tree->path(), {}, collected);
    QTextCodec::setCodecForLocale(before);
    QCOMPARE(collected.size(), 3);
}

/// Qt's codecs may be gone by then.
void tst_FileLists::whileStaticsAreDestroyed()
{
    for (const char *name : {"a.txt", "日.txt", "\uFEFFb.txt"})
        m_tree->nativeFile(name);
    m_tree->nativeFile("caf\xE9");
    const auto result = TestSupport::runChild(TestSupport::helperPath("files_child"),
                                              {"collectAtTheEnd", m_tree->path()});
    QVERIFY2(result.endedWith(0), result.report());
    QCOMPARE(result.out, QByteArray("3\n"));
}

void tst_FileLists::namesThatDifferInCaseOnly()
{
    for (const char *name : {"a", "A", "b.TXT", "B.txt", "c"})
        m_tree->file(QString::fromLatin1(name));
    QList<QVariant> collected;
    QVERIFY(service().getDirectoryFiles(m_tree->path(), {}, collected));
    QCOMPARE(collected.size(), 5);
    // Which of two such names comes first is open.
    QStringList lower;
    for (const QVariant &path : collected)
        lower += QFileInfo(path.toString()).fileName().toLower();
    QCOMPARE(lower, QStringList({"a", "a", "b.txt", "b.txt", "c"}));
}

void tst_FileLists::namedFile_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QStringList>("list");
    QTest::addColumn<bool>("taken");
    QTest::newRow("suffix listed") << 1 << QStringList{"log"} << true;
    QTest::newRow("suffix not listed") << 1 << QStringList{"txt"} << false;
    QTest::newRow("several suffixes") << 1 << QStringList{"txt", "log"} << true;
    QTest::newRow("no list of suffixes") << 1 << QStringList() << false;
    QTest::newRow("suffix with dot") << 1 << QStringList{".log"} << false;
    QTest::newRow("suffix in other case") << 1 << QStringList{"LOG"} << false;
    QTest::newRow("suffix excluded") << 2 << QStringList{"log"} << false;
    QTest::newRow("suffix not excluded") << 2 << QStringList{"txt"} << true;
    QTest::newRow("no suffix excluded") << 2 << QStringList() << true;
    QTest::newRow("name excluded") << 0 << QStringList{"a", "b.log"} << false;
    QTest::newRow("name not excluded") << 0 << QStringList{"a"} << true;
    QTest::newRow("part of the name") << 0 << QStringList{"b", "log", "d/b.log"} << true;
    QTest::newRow("name in other case") << 0 << QStringList{"B.LOG"} << true;
}

void tst_FileLists::namedFile()
{
    QFETCH(int, index);
    QFETCH(QStringList, list);
    QFETCH(bool, taken);
    const Collector &collector = collectors[index];
    m_tree->file("d/b.log");
    QVERIFY(QDir::setCurrent(m_tree->path("d")));
    for (const QString &path :
         {m_tree->path("d/b.log"), QString("b.log"), QString("../d/./b.log")}) {
        QList<QVariant> out;
        QCOMPARE((service().*collector.collect)(path, list, out), taken);
        QCOMPARE(out, taken ? paths({m_tree->path("d/b.log")}) : paths({}));
        QCOMPARE(m_capture->take(),
                 taken ? QStringList() : QStringList{skippedLine(collector, list, "b.log")});
    }
}

void tst_FileLists::textsOfSkippedFiles_data()
{
    addCollectors();
}

void tst_FileLists::textsOfSkippedFiles()
{
    QFETCH(int, index);
    const Collector &collector = collectors[index];
    m_tree->file("a.txt");
    m_tree->file("b.log");
    m_tree->file("s/c.txt");
    m_tree->file("s/%1.%2");
    const QStringList list =
        collector.bySuffix ? QStringList{"%2", "txt"} : QStringList{"%1.%2", "a.txt"};
    QList<QVariant> out;
    QVERIFY((service().*collector.collect)(m_tree->path(), list, out));
    switch (index) {
    case 0:
        QCOMPARE(out, paths({m_tree->path("b.log"), m_tree->path("s/c.txt")}));
        QCOMPARE(m_capture->take(), QStringList());
        break;
    case 1:
        QCOMPARE(out,
                 paths({m_tree->path("a.txt"), m_tree->path("s/%1.%2"), m_tree->path("s/c.txt")}));
        QCOMPARE(m_capture->take(),
                 QStringList{"D [debug][getDirectorySuffixFiles] [跳过的过滤文件[%2,txt]:b.log]"});
        break;
    default:
        QCOMPARE(out, paths({m_tree->path("b.log")}));
        QCOMPARE(
            m_capture->take(),
            QStringList({"D [debug][getDirectoryFilesSuffix] [跳过的过滤文件[%2,txt]:a.txt]",
                         "D [debug][getDirectoryFilesSuffix] [跳过的过滤文件[%2,txt]:%1.%2]",
                         "D [debug][getDirectoryFilesSuffix] [跳过的过滤文件[%2,txt]:c.txt]"}));
    }
}

void tst_FileLists::suffixes_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("suffix");
    QTest::newRow("last of several") << "a.tar.gz"
                                     << "gz";
    QTest::newRow("none") << "plain"
                          << "";
    QTest::newRow("empty") << "end."
                           << "";
    QTest::newRow("hidden") << ".bashrc"
                            << "bashrc";
    QTest::newRow("dots only") << "..."
                               << "";
    QTest::newRow("beyond ASCII") << QString::fromUtf8("数据.日志") << QString::fromUtf8("日志");
    QTest::newRow("blank") << "a. b"
                           << " b";
}

void tst_FileLists::suffixes()
{
    QFETCH(QString, name);
    QFETCH(QString, suffix);
    m_tree->file("d/" + name);
    QCOMPARE(QFileInfo(name).suffix(), suffix);
    for (const QString &path : {m_tree->path("d"), m_tree->path("d/" + name)}) {
        QList<QVariant> out;
        QVERIFY(service().getDirectorySuffixFiles(path, {suffix}, out));
        QCOMPARE(out, paths({m_tree->path("d/" + name)}));
        out.clear();
        service().getDirectoryFilesSuffix(path, {suffix}, out);
        QCOMPARE(out, paths({}));
    }
}

void tst_FileLists::listIsNotCleared()
{
    m_tree->file("a");
    QList<QVariant> out{QVariant(7)};
    QVERIFY(service().getDirectoryFiles(m_tree->path(), {}, out));
    QVERIFY(service().getDirectoryFiles(m_tree->path("a"), {}, out));
    QCOMPARE(out, QList<QVariant>({7, m_tree->path("a"), m_tree->path("a")}));
    QCOMPARE(out.last().type(), QVariant::String);
}

void tst_FileLists::nothingToCollect_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("empty") << "";
    QTest::newRow("null") << QString();
    QTest::newRow("missing") << "/missing/of/course";
    QTest::newRow("fifo") << "fifo";
    QTest::newRow("socket") << "socket";
    QTest::newRow("broken link") << "broken";
    QTest::newRow("device") << "/dev/null";
    QTest::newRow("file as a directory") << "file/";
    QTest::newRow("below a file") << "file/x";
    QTest::newRow("NUL") << QString::fromLatin1("d\0x", 3);
    QTest::newRow("missing resource") << ":/missing";
    QTest::newRow("too long") << QString(5000, 'x');
}

void tst_FileLists::nothingToCollect()
{
    QFETCH(QString, path);
    m_tree->file("file");
    m_tree->file("d/file");
    m_tree->fifo("fifo");
    m_tree->socket("socket");
    m_tree->link("nowhere", "broken");
    QVERIFY(QDir::setCurrent(m_tree->path()));
    for (const Collector &collector : collectors) {
        QList<QVariant> out;
        QVERIFY((service().*collector.collect)(path, {"x"}, out));
        QCOMPARE(out, QList<QVariant>());
        QCOMPARE(m_capture->take(), QStringList());
    }
}

void tst_FileLists::unreadableDirectory()
{
    m_tree->file("closed/a");
    m_tree->file("open/b");
    m_tree->mode("closed", 0);
    const Unprivileged unprivileged;
    verifySameAsQt(m_tree->path(), {});
    QList<QVariant> out;
    QVERIFY(service().getDirectoryFiles(m_tree->path(), {}, out));
    QCOMPARE(out, paths({m_tree->path("open/b")}));
}

void tst_FileLists::linksToAncestors()
{
    m_tree->file("d/a");
    m_tree->file("d/s/b");
    m_tree->file("e/c");
    m_tree->link(".", "d/self");
    m_tree->link(m_tree->path("d"), "d/s/absolute");
    m_tree->link("../..", "d/s/aboveRoot");
    m_tree->link("/", "d/s/filesystem");
    m_tree->link("../../e", "d/s/sibling");
    QList<QVariant> out;
    QVERIFY(service().getDirectoryFiles(m_tree->path("d"), {}, out));
    QCOMPARE(out,
             paths({m_tree->path("d/a"), m_tree->path("d/s/b"), m_tree->path("d/s/sibling/c")}));
}

void tst_FileLists::rootThatIsALink()
{
    m_tree->file("d/a");
    m_tree->link("d", "alias");
    m_tree->link(".", "d/self");
    QList<QVariant> out;
    QVERIFY(service().getDirectoryFiles(m_tree->path("alias"), {}, out));
    QCOMPARE(out, paths({m_tree->path("alias/a")}));
    // Whoever names such a link wants what it points at.
    out.clear();
    QVERIFY(service().getDirectoryFiles(m_tree->path("d/self"), {}, out));
    QCOMPARE(out, paths({m_tree->path("d/self/a")}));
}

void tst_FileLists::linksAreFollowedAsOftenAsTheyStand()
{
    m_tree->file("d/x/a");
    m_tree->link("x", "d/y");
    m_tree->link("x", "d/z");
    QList<QVariant> out;
    QVERIFY(service().getDirectoryFiles(m_tree->path("d"), {}, out));
    QCOMPARE(out, paths({m_tree->path("d/x/a"), m_tree->path("d/y/a"), m_tree->path("d/z/a")}));
}

void tst_FileLists::deepTree()
{
    QString directory = "d";
    for (int level = 0; level < 200; ++level) {
        m_tree->file(directory + "/f.txt");
        directory += "/s";
    }
    const FewDescriptors few;
    verifySameAsQt(m_tree->path(), {"txt"});
}

void tst_FileLists::manyFiles()
{
    for (int i = 0; i < 10000; ++i)
        m_tree->file(QString("d%1/File%2.%3").arg(i % 37).arg(i).arg(i % 3 ? "txt" : "log"), "");
    verifySameAsQt(m_tree->path(), {"txt"});
}

void tst_FileLists::directoryThatBecomesAFile_data()
{
    addCollectors();
}

/// The one road to a nested failure: between the listing of the parent and its own
/// turn a directory is replaced by a file that is filtered out.
void tst_FileLists::directoryThatBecomesAFile()
{
    QFETCH(int, index);
    const Collector &collector = collectors[index];
    for (int i = 0; i < 3000; ++i)
        m_tree->file("d/" + QString::number(i), "");
    m_tree->directory("d/z.x");
    m_tree->file("other", "");
    const QStringList list{collector.listed ? "no" : collector.bySuffix ? "x" : "z.x"};

    std::atomic<bool> done{false};
    std::thread swapper([&] {
        const QByteArray a = m_tree->native("d/z.x");
        const QByteArray b = m_tree->native("other");
        while (!done) {
            ::syscall(SYS_renameat2, AT_FDCWD, a.constData(), AT_FDCWD, b.constData(),
                      RENAME_EXCHANGE);
            std::this_thread::yield();
        }
    });
    QElapsedTimer timer;
    timer.start();
    bool result = true;
    QStringList lines;
    while (result && timer.elapsed() < 20000) {
        m_capture->take();
        QList<QVariant> out;
        result = (service().*collector.collect)(QDir(m_tree->path()).filePath("d"), list, out);
    }
    lines = m_capture->take();
    done = true;
    swapper.join();
    QVERIFY2(!result, "the exchange was never noticed");
    const QString skipped = skippedLine(collector, list, "z.x");
    if (!collector.failed) {
        QCOMPARE(lines, QStringList{skipped});
        return;
    }
    QVERIFY(lines.size() >= 2);
    QCOMPARE(lines.at(lines.size() - 2), skipped);
    QCOMPARE(
        lines.last(),
        QString("W [warning][%1] %2")
            .arg(collector.name, QString::fromUtf8(collector.failed).arg(m_tree->path("d/z.x"))));
}

void tst_FileLists::records()
{
    m_tree->file(".h.log", QByteArray(1536, 'x'));
    m_tree->directory("sub");
    m_tree->modified(".h.log", 1700000000123);
    const QList<QVariant> list = service().queryFileList(m_tree->path(), {});
    QCOMPARE(list.size(), 2);
    const QStringList keys{"birthTime", "created_date_time",  "file_path", "is_dir", "lastModified",
                           "lastRead",  "metadataChangeTime", "name",      "size"};
    for (const QVariant &entry : list) {
        QCOMPARE(entry.type(), QVariant::Map);
        const QVariantMap map = entry.toMap();
        QCOMPARE(map.keys(), keys);
        const QFileInfo info(m_tree->path(map.value("name").toString()));
        QCOMPARE(map.value("is_dir"), QVariant(info.isDir()));
        QCOMPARE(map.value("name"), QVariant(info.fileName()));
        QCOMPARE(map.value("file_path"), QVariant(info.fileName()));
        QCOMPARE(map.value("size"), QVariant(double(info.size()) * 0.0009765625));
        QCOMPARE(map.value("size").type(), QVariant::Double);
        QCOMPARE(map.value("lastModified"), QVariant(info.lastModified()));
        QCOMPARE(map.value("lastRead"), QVariant(info.lastRead()));
        QCOMPARE(map.value("birthTime"), QVariant(info.birthTime()));
        QCOMPARE(map.value("metadataChangeTime"), QVariant(info.metadataChangeTime()));
        QCOMPARE(
            map.value("created_date_time"),
            QVariant(info.birthTime().isValid() ? info.birthTime() : info.metadataChangeTime()));
        QVERIFY(map.value("created_date_time").toDateTime().isValid());
    }
    const QVariantMap file = list.last().toMap();
    QCOMPARE(file.value("name").toString(), QString(".h.log"));
    QCOMPARE(file.value("size").toDouble(), 1.5);
    QCOMPARE(file.value("lastModified").toDateTime().toMSecsSinceEpoch(), qint64(1700000000123));
    QCOMPARE(m_capture->take(), QStringList());
}

void tst_FileLists::recordsOrder()
{
    constexpr qint64 base = 1700000000000;
    m_tree->directory("x");
    m_tree->directory("y");
    m_tree->file("f");
    m_tree->file("g");
    m_tree->file("x/below");
    m_tree->file("recent");
    m_tree->link("f", "link");
    m_tree->modified("x", base);
    m_tree->modified("y", base + 1); // milliseconds count
    m_tree->modified("f", base + 2);
    m_tree->modified("g", base + 3);
    m_tree->modified("recent", base + qint64(1000) * 60 * 60 * 24 * 365);
    QFile::remove(m_tree->path("link"));
    QStringList names;
    const QList<QVariant> entries = service().queryFileList(m_tree->path(), {});
    for (const QVariant &entry : entries)
        names += entry.toMap().value("name").toString();
    QCOMPARE(names, QStringList({"x", "y", "recent", "g", "f"}));
}

void tst_FileLists::recordsOfTheSameTime()
{
    for (const char *name : {"b", "A", "c", "B"}) {
        m_tree->file(QString::fromLatin1(name));
        m_tree->modified(QString::fromLatin1(name), 1700000000000);
    }
    QStringList names;
    const QList<QVariant> entries = service().queryFileList(m_tree->path(), {});
    for (const QVariant &entry : entries)
        names += entry.toMap().value("name").toString();
    QCOMPARE(names, QStringList({"A", "B", "b", "c"}));
}

void tst_FileLists::recordsFilters_data()
{
    QTest::addColumn<QStringList>("filters");
    QTest::addColumn<QStringList>("names");
    QTest::newRow("none") << QStringList()
                          << QStringList({".h.log", "a.log", "b.txt", "d.log", "e"});
    QTest::newRow("one") << QStringList{"*.log"} << QStringList({".h.log", "a.log", "d.log"});
    QTest::newRow("other case") << QStringList{"*.LOG"}
                                << QStringList({".h.log", "a.log", "d.log"});
    QTest::newRow("two") << QStringList({"?.txt", "e"}) << QStringList({"b.txt", "e"});
    QTest::newRow("no match") << QStringList{"z*"} << QStringList();
}

void tst_FileLists::recordsFilters()
{
    QFETCH(QStringList, filters);
    QFETCH(QStringList, names);
    m_tree->file("a.log");
    m_tree->file("b.txt");
    m_tree->file(".h.log");
    m_tree->directory("d.log");
    m_tree->directory("e");
    QStringList listed;
    const QList<QVariant> entries = service().queryFileList(m_tree->path(), filters);
    for (const QVariant &entry : entries)
        listed += entry.toMap().value("name").toString();
    listed.sort();
    QCOMPARE(listed, names);
}

void tst_FileLists::recordsOfNothing_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("empty") << "";
    QTest::newRow("missing") << "/missing/of/course";
    QTest::newRow("file") << "file";
}

void tst_FileLists::recordsOfNothing()
{
    QFETCH(QString, path);
    m_tree->file("file");
    QVERIFY(QDir::setCurrent(m_tree->path()));
    const QString lastError = ZeFileManager::getLastError();
    QCOMPARE(service().queryFileList(path, {}), QList<QVariant>());
    QCOMPARE(m_capture->take(), QStringList());
    QCOMPARE(ZeFileManager::getLastError(), lastError);
}

void tst_FileLists::readsTheLastFile()
{
    m_tree->file("a", "first");
    m_tree->file("b", "second");
    m_tree->file(".c", "hidden");
    QVERIFY(QDir::setCurrent("/"));
    QCOMPARE(service().readAllFiles(m_tree->path(), {}, QDir::Files, QDir::Name),
             QByteArray("second"));
    QCOMPARE(QDir::currentPath(), QCoreApplication::applicationDirPath());
    QCOMPARE(m_capture->take(), QStringList());
    // The path is resolved before the current directory changes.
    QVERIFY(QDir::setCurrent(m_tree->path()));
    QCOMPARE(service().readAllFiles(".", {"a*"}, QDir::Files, QDir::Name), QByteArray("first"));
    QCOMPARE(QDir::currentPath(), QCoreApplication::applicationDirPath());
}

void tst_FileLists::readsInTheOrderAskedFor()
{
    m_tree->file("a", "A");
    m_tree->file("b", QByteArray("B\0C", 3));
    m_tree->file(".c", "hidden");
    m_tree->modified("a", 1700000000000);
    m_tree->modified("b", 1700000001000);
    const QString path = m_tree->path();
    QCOMPARE(service().readAllFiles(path, {}, QDir::Files, QDir::Name), QByteArray("B\0C", 3));
    QCOMPARE(service().readAllFiles(path, {}, QDir::Files, QDir::Name | QDir::Reversed),
             QByteArray("A"));
    QCOMPARE(service().readAllFiles(path, {}, QDir::Files, QDir::Time), QByteArray("A"));
    QCOMPARE(service().readAllFiles(path, {"A"}, QDir::Files, QDir::Name), QByteArray("A"));
    QCOMPARE(service().readAllFiles(path, {".*"}, QDir::Files | QDir::Hidden, QDir::Name),
             QByteArray("hidden"));
}

void tst_FileLists::readFailures()
{
    m_tree->file("a", "readable");
    m_tree->file("b", "closed");
    m_tree->mode("b", 0);
    m_tree->directory("c");
    m_tree->fifo("d");
    m_tree->socket("e");
    m_tree->link("nowhere", "f");
    const Unprivileged unprivileged;
    const QString lastError = ZeFileManager::getLastError();
    QCOMPARE(service().readAllFiles(m_tree->path(), {},
                                    QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot,
                                    QDir::Name),
             QByteArray("readable"));
    QStringList lines;
    for (const char *name : {"b", "c", "d", "e", "f"})
        lines += "W [warning][readAllFiles] [read file faild: " + m_tree->path(name) + "]";
    QCOMPARE(m_capture->take(), lines);
    QCOMPARE(ZeFileManager::getLastError(), lastError);
}

void tst_FileLists::readNothing_data()
{
    recordsOfNothing_data();
}

void tst_FileLists::readNothing()
{
    QFETCH(QString, path);
    m_tree->file("file");
    QVERIFY(QDir::setCurrent(m_tree->path()));
    QCOMPARE(service().readAllFiles(path, {}, QDir::Files, QDir::Name), QByteArray());
    QCOMPARE(m_capture->take(), QStringList());
    QCOMPARE(QDir::currentPath(), QCoreApplication::applicationDirPath());
}

namespace {

qint64 createdMs(const QFileInfo &info)
{
    const QDateTime birth = info.birthTime();
    return (birth.isValid() ? birth : info.metadataChangeTime()).toMSecsSinceEpoch();
}

/// The documented order, literally.
void doublePass(QList<QFileInfo> &list)
{
    for (int i = 0; i < list.size(); ++i) {
        for (int j = 0; j < list.size(); ++j) {
            if (createdMs(list.at(i)) < createdMs(list.at(j)))
                list.swapItemsAt(i, j);
        }
    }
}

QStringList namesOf(const QList<QFileInfo> &list)
{
    QStringList names;
    for (const QFileInfo &info : list)
        names += info.fileName();
    return names;
}

} // namespace

void tst_FileLists::creationOrder()
{
    for (const char *name : {"1", "2", "3"}) {
        m_tree->file(QString::fromLatin1(name));
        QTest::qSleep(30);
    }
    QList<QFileInfo> list;
    for (const char *name : {"3", "1", "2"})
        list += QFileInfo(m_tree->path(QString::fromLatin1(name)));
    service().moveToListFirst(list);
    QCOMPARE(namesOf(list), QStringList({"1", "2", "3"}));

    QList<QFileInfo> empty;
    m_capture->take();
    service().moveToListFirst(empty);
    QVERIFY(empty.isEmpty());
    QCOMPARE(m_capture->take(), QStringList());
}

void tst_FileLists::creationOrderOfEqualTimes_data()
{
    QTest::addColumn<QString>("order");
    // The letter is the time, the number tells links of one file apart.
    for (const char *order : {"a1 a2 a3", "b1 a1 b2 a2", "b1 b2 a1 a2 a3", "c1 a1 b1 a2 c2 b2 a3",
                              "a1 b1 c1", "c1 b2 b1 a2 a1 c2", "b1", "b2 b1 missing a1 other"})
        QTest::newRow(order) << QString::fromLatin1(order);
}

void tst_FileLists::creationOrderOfEqualTimes()
{
    QFETCH(QString, order);
    for (const QString &file : {QString("a1"), QString("b1"), QString("c1")}) {
        m_tree->file(file);
        QTest::qSleep(30);
        m_tree->hardLink(file, QString(file).replace('1', '2'));
        m_tree->hardLink(file, QString(file).replace('1', '3'));
    }
    QList<QFileInfo> list;
    const QStringList names = order.split(' ');
    for (const QString &name : names)
        list += QFileInfo(m_tree->path(name));
    QList<QFileInfo> expected = list;
    doublePass(expected);
    const QList<QFileInfo> untouched = list; // shares its data until the sort
    service().moveToListFirst(list);
    QCOMPARE(namesOf(list), namesOf(expected));
    QCOMPARE(namesOf(untouched), names);
}

void tst_FileLists::creationOrderOfShuffledLists()
{
    QList<QFileInfo> list;
    for (const QString &file : {QString("a1"), QString("b1"), QString("c1")}) {
        m_tree->file(file);
        QTest::qSleep(30);
        list += QFileInfo(m_tree->path(file));
        for (const char number : {'2', '3', '4'}) {
            m_tree->hardLink(file, QString(file).replace('1', number));
            list += QFileInfo(m_tree->path(QString(file).replace('1', number)));
        }
    }
    std::mt19937 random(1); // always the same lists
    for (int round = 0; round < 500; ++round) {
        std::shuffle(list.begin(), list.end(), random);
        QList<QFileInfo> ordered = list.mid(0, 2 + round % (list.size() - 1));
        QList<QFileInfo> expected = ordered;
        doublePass(expected);
        service().moveToListFirst(ordered);
        QCOMPARE(namesOf(ordered), namesOf(expected));
    }
}

void tst_FileLists::creationOrderLines()
{
    m_tree->file("a");
    QTest::qSleep(30);
    m_tree->file("b");
    QTest::qSleep(30);
    m_tree->mode("a", 0600); // a change of its status, but no birth
    // A file system without times of birth.
    QList<QFileInfo> list{QFileInfo(m_tree->path("b")), QFileInfo(m_tree->path("a")),
                          QFileInfo("/proc/self/status")};
    service().moveToListFirst(list);
    QStringList lines;
    for (const QFileInfo &info : qAsConst(list)) {
        const QDateTime time =
            info.birthTime().isValid() ? info.birthTime() : info.metadataChangeTime();
        QString text;
        QDebug(&text).noquote() << "[" << time << time.toMSecsSinceEpoch() << "]";
        lines += "D [debug][moveToListFirst] " + text.trimmed();
    }
    QCOMPARE(m_capture->take(), lines);
    QStringList names = namesOf(list);
    QVERIFY(names.removeOne("status"));
    const bool hasBirths = QFileInfo(m_tree->path("a")).birthTime().isValid();
    QCOMPARE(names, hasBirths ? QStringList({"a", "b"}) : QStringList({"b", "a"}));
}

/// They know neither birth nor change of status, and say when their file was modified.
void tst_FileLists::creationTimeOfResources()
{
    QList<QFileInfo> list{QFileInfo(":/files/b.txt")};
    const QDateTime time = list.first().lastModified();
    QVERIFY(time.isValid());
    service().moveToListFirst(list);
    QString text;
    QDebug(&text).noquote() << "[" << time << time.toMSecsSinceEpoch() << "]";
    QCOMPARE(m_capture->take(), QStringList{"D [debug][moveToListFirst] " + text.trimmed()});
}

QTEST_GUILESS_MAIN(tst_FileLists)
#include "tst_filelists.moc"
