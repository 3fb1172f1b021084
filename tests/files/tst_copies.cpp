// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/FileManagerTest.h"
#include "files/FileTree.h"
#include "files/SystemCalls.h"
#include "support/Capture.h"
#include "support/Child.h"
#include "support/Unprivileged.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QProcess>
#include <QtCore/QRandomGenerator>
#include <QtCore/QThread>
#include <QtTest/QTest>

#include <cerrno>
#include <csignal>
#include <functional>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

using FileManagerTest::service;
using TestSupport::Capture;
using TestSupport::Unprivileged;

namespace {

/// The single-file copiers and what they differ in.
struct FileCopier
{
    const char *name;
    bool (ZeFileManager::*copy)(const QString &, const QString &, const QStringList &, bool);
    const char *list; ///< a skip list with the file "x.txt"
    const char *skipped;
    const char *exists;
    const char *failed;
};

const FileCopier fileCopiers[] = {
    {"copyDirectoryFile", &ZeFileManager::copyDirectoryFile, "%2,x.txt",
     "[Skip filter files[%1]:%2]", "[Skip existing file:%2]", "error:copy[%1] to [%2] failed"},
    {"copyDirectoryFileSuffix", &ZeFileManager::copyDirectoryFileSuffix, "%2,txt",
     "[Skip filter files(%1):%2]", "[Skip existing file:%1]", "[Copy failed:(%1) to (%2)]"},
};

/// The tree copiers that take a list and a flag; the mirror in the same form.
using CopyTree = std::function<bool(const QString &, const QString &, const QStringList &, bool)>;

struct TreeCopier
{
    const char *name;
    CopyTree copy;
    const FileCopier &files;
};

const TreeCopier treeCopiers[] = {
    {"copyDirectoryFiles",
     [](const QString &src, const QString &dst, const QStringList &skip, bool overwrite) {
         return service().copyDirectoryFiles(src, dst, skip, overwrite);
     },
     fileCopiers[0]},
    {"copyDirectoryFilesSuffix",
     [](const QString &src, const QString &dst, const QStringList &skip, bool overwrite) {
         return service().copyDirectoryFilesSuffix(src, dst, skip, overwrite);
     },
     fileCopiers[1]},
    {"copyDirectorySameFiles",
     [](const QString &src, const QString &dst, const QStringList &, bool) {
         return service().copyDirectorySameFiles(src, dst);
     },
     fileCopiers[0]},
};

constexpr int byName = 0;
constexpr int bySuffix = 1;
constexpr int mirror = 2;

QString line(char level, const char *operation, const QString &text)
{
    return QString("%1 [%2][%3] %4")
        .arg(QString(QChar::fromLatin1(level)), level == 'W' ? "warning" : "debug", operation,
             text);
}

QString notDeleted(const char *operation, const QString &target)
{
    return line('W', operation, "[Failed to delete file when allowed to overwrite:" + target + ']');
}

QString notCreated(const char *operation, const QString &directory)
{
    return line('W', operation, QString("[error:创建%1失败]").arg(directory));
}

QString failedBelow(const char *operation, const QString &source, const QString &target)
{
    return line('W', operation,
                QString("[error:copyDirectoryFiles:拷贝 %1 to %2 失败.]").arg(source, target));
}

QByteArray pattern(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(i * 131 + i / 251);
    return bytes;
}

} // namespace

Q_DECLARE_METATYPE(SystemCalls::Behaviour)

class tst_Copies : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void oneFile_data();
    void oneFile();
    void oneFileFailures_data();
    void oneFileFailures();
    void ontoItself_data();
    void ontoItself();
    void targetLinks();
    void contents_data();
    void contents();
    void sparseFile();
    void filesOfTheKernel();
    void resources();
    void permissions_data();
    void permissions();
    void otherKernels_data();
    void otherKernels();
    void clones();
    void seekErrors_data();
    void seekErrors();
    void targetWithoutDirectory();
    void targetThatCannotBeListed();
    void leasedSource();
    void readError();
    void fileSystemWithoutModes();
    void writeErrors_data();
    void writeErrors();
    void tree_data();
    void tree();
    void treeOfOddNames_data();
    void treeOfOddNames();
    void treeSkips();
    void treeOverwrites_data();
    void treeOverwrites();
    void treeOfLinks_data();
    void treeOfLinks();
    void rootFile_data();
    void rootFile();
    void rootFileTargets();
    void mirrorOfAFile();
    void missingSource_data();
    void missingSource();
    void emptyTarget_data();
    void emptyTarget();
    void notCreated_data();
    void notCreated();
    void notCreatedBelow_data();
    void notCreatedBelow();
    void failureStopsTheCopy_data();
    void failureStopsTheCopy();
    void failureShowsTheGivenPath_data();
    void failureShowsTheGivenPath();
    void mirrorFailures();
    void targetThatCannotBeRemoved_data();
    void targetThatCannotBeRemoved();
    void pathsWithNul();
    void targetThatAppears_data();
    void targetThatAppears();
    void sourceThatVanishes();
    void directoryThatBecomesAFile();
    void intoItself_data();
    void intoItself();
    void ontoItselfAsATree_data();
    void ontoItselfAsATree();
    void linksBack_data();
    void linksBack();
    void durability();
    void noDescriptorLeft();
    void syncErrors_data();
    void syncErrors();
    void fullDisk_data();
    void fullDisk();
    void readOnlyFileSystem();
    void killedInTheMiddle();
    void descriptors();

private:
    static void addTreeCopiers()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < int(std::size(treeCopiers)); ++i)
            QTest::newRow(treeCopiers[i].name) << i;
    }
    static void addFileCopiers()
    {
        QTest::addColumn<int>("index");
        for (int i = 0; i < int(std::size(fileCopiers)); ++i)
            QTest::newRow(fileCopiers[i].name) << i;
    }
    QString path(const QString &name) const { return m_tree->path(name); }

    /// A file of which only the parts given, offset and size, take room.
    void writeIslands(const QString &name, const QByteArray &content,
                      const QVector<QPair<int, int>> &parts) const
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        for (const QPair<int, int> &part : parts) {
            QVERIFY(file.seek(part.first));
            QCOMPARE(file.write(content.constData() + part.first, part.second),
                     qint64(part.second));
        }
        QCOMPARE(file.size(), qint64(content.size()));
    }

    std::unique_ptr<FileTree> m_tree;
    std::unique_ptr<Capture> m_capture;
    QString m_lastError;
    QString m_startDir = QDir::currentPath();
};

void tst_Copies::init()
{
    m_tree = std::make_unique<FileTree>();
    m_capture = std::make_unique<Capture>();
    ZeFileManager::setLastError("untouched");
    m_capture->take();
}

void tst_Copies::cleanup()
{
    SystemCalls::reset();
    m_capture.reset();
    QDir::setCurrent(m_startDir);
    m_tree.reset();
    QCOMPARE(ZeFileManager::getLastError(), QString("untouched"));
}

void tst_Copies::oneFile_data()
{
    addFileCopiers();
}

void tst_Copies::oneFile()
{
    QFETCH(int, index);
    const FileCopier &copier = fileCopiers[index];
    const auto copy = [&copier](const QString &src, const QString &dst, const QStringList &skip,
                                bool overwrite) {
        return (service().*copier.copy)(src, dst, skip, overwrite);
    };
    m_tree->file("a/x.txt", "new");
    m_tree->directory("b");
    const QString src = path("a/x.txt");
    const QString dst = path("b/%1.txt");

    QVERIFY(copy(src, dst, {}, false));
    QCOMPARE(m_tree->content("b/%1.txt"), QByteArray("new"));
    QCOMPARE(m_capture->take(), QStringList());

    m_tree->file("b/%1.txt", "old");
    QVERIFY(copy(src, dst, {}, false));
    QCOMPARE(m_tree->content("b/%1.txt"), QByteArray("old"));
    QCOMPARE(m_capture->take(),
             QStringList{line('D', copier.name, QString("[Skip existing file:%1]").arg(dst))});

    const QStringList skip = QString::fromLatin1(copier.list).split(',');
    for (const bool overwrite : {false, true}) {
        QVERIFY(copy(src, dst, skip, overwrite));
        QCOMPARE(m_tree->content("b/%1.txt"), QByteArray("old"));
        QCOMPARE(m_capture->take(),
                 QStringList{line('D', copier.name,
                                  QString::fromLatin1(copier.skipped)
                                      .arg(QString::fromLatin1(copier.list), "x.txt"))});
    }
    // Of the list only the source's name counts, exactly.
    for (const char *other : {"X.TXT", "TXT", ".txt", "%1.txt", "x", ""}) {
        QVERIFY(copy(src, dst, {QString::fromLatin1(other)}, true));
        QCOMPARE(m_tree->content("b/%1.txt"), QByteArray("new"));
        m_tree->file("b/%1.txt", "old");
    }
    QCOMPARE(m_capture->take(), QStringList());
    QCOMPARE(m_tree->names("b"), QStringList{"%1.txt"});
    QCOMPARE(m_tree->content("a/x.txt"), QByteArray("new"));

    // It is the name that was given, also where the path says less or more.
    QVERIFY(QDir::setCurrent(path("a")));
    QVERIFY(copy(".", dst, {".", ""}, true));
    QCOMPARE(
        m_capture->take(),
        QStringList{line('D', copier.name, QString::fromLatin1(copier.skipped).arg(".,", "."))});
}

void tst_Copies::oneFileFailures_data()
{
    QTest::addColumn<QString>("src");
    QTest::addColumn<QString>("dst");
    QTest::addColumn<bool>("removed"); ///< the existing target, as documented
    QTest::newRow("missing source") << "a/%2"
                                    << "b/new" << false;
    QTest::newRow("missing source, existing target") << "a/missing"
                                                     << "b/old" << true;
    QTest::newRow("empty source") << ""
                                  << "b/new" << false;
    QTest::newRow("directory") << "a"
                               << "b/new" << false;
    QTest::newRow("fifo") << "a/fifo"
                          << "b/new" << false;
    QTest::newRow("socket") << "a/socket"
                            << "b/new" << false;
    QTest::newRow("device") << "/dev/zero"
                            << "b/new" << false;
    QTest::newRow("broken link") << "a/broken"
                                 << "b/new" << false;
    QTest::newRow("unreadable") << "a/closed"
                                << "b/new" << false;
    QTest::newRow("file as a directory") << "a/x.txt/"
                                         << "b/new" << false;
    QTest::newRow("missing target directory") << "a/x.txt"
                                              << "missing/new" << false;
    QTest::newRow("closed target directory") << "a/x.txt"
                                             << "closed/new" << false;
    QTest::newRow("target below a file") << "a/x.txt"
                                         << "b/old/new" << false;
    QTest::newRow("empty target") << "a/x.txt"
                                  << "" << false;
    QTest::newRow("dangling target") << "a/x.txt"
                                     << "b/dangling" << false;
    QTest::newRow("name too long") << "a/x.txt"
                                   << "b/" + QString(256, 'n') << false;
    QTest::newRow("directory as a new name") << "a/x.txt"
                                             << "b/" << false;
}

void tst_Copies::oneFileFailures()
{
    QFETCH(QString, src);
    QFETCH(QString, dst);
    QFETCH(bool, removed);
    m_tree->file("a/x.txt", "new");
    m_tree->file("a/closed");
    m_tree->mode("a/closed", 0);
    m_tree->fifo("a/fifo");
    m_tree->socket("a/socket");
    m_tree->link("nowhere", "a/broken");
    m_tree->directory("b");
    m_tree->mode("b", 0777);
    m_tree->directory("closed");
    m_tree->mode("closed", 0555);
    m_tree->link("nowhere", "b/dangling");
    QVERIFY(QDir::setCurrent(m_tree->path()));
    for (const FileCopier &copier : fileCopiers) {
        m_tree->file("b/old", "old");
        const Unprivileged unprivileged;
        m_capture->take();
        SystemCalls::reset();
        QVERIFY(!(service().*copier.copy)(src, dst, {}, true));
        // To open one may do something, start a watchdog for example.
        QCOMPARE(SystemCalls::counts().devicesOpened, 0);
        if (dst == "b/")
            QCOMPARE(m_capture->take(), QStringList{notDeleted(copier.name, dst)});
        else
            QCOMPARE(m_capture->take(),
                     QStringList{
                         line('W', copier.name, QString::fromLatin1(copier.failed).arg(src, dst))});
        QCOMPARE(m_tree->names("b"),
                 removed ? QStringList{"dangling"} : QStringList({"dangling", "old"}));
        QCOMPARE(m_tree->names("closed"), QStringList());
        QVERIFY(!m_tree->exists("nowhere"));
        QCOMPARE(m_tree->names(), QStringList({"a", "b", "closed"}));
    }
}

void tst_Copies::ontoItself_data()
{
    QTest::addColumn<QString>("src");
    QTest::addColumn<QString>("dst");
    QTest::newRow("same path") << "d/x.txt"
                               << "d/x.txt";
    QTest::newRow("dots") << "d/x.txt"
                          << "./d/../d/./x.txt";
    QTest::newRow("hard link") << "d/x.txt"
                               << "d/hard";
    QTest::newRow("link as target") << "d/x.txt"
                                    << "d/soft";
    QTest::newRow("link as source") << "d/soft"
                                    << "d/x.txt";
    QTest::newRow("directory link") << "d/x.txt"
                                    << "e/x.txt";
}

void tst_Copies::ontoItself()
{
    QFETCH(QString, src);
    QFETCH(QString, dst);
    m_tree->file("d/x.txt", "content");
    m_tree->hardLink("d/x.txt", "d/hard");
    m_tree->link("x.txt", "d/soft");
    m_tree->link("d", "e");
    QVERIFY(QDir::setCurrent(m_tree->path()));
    for (const FileCopier &copier : fileCopiers) {
        QVERIFY(!(service().*copier.copy)(src, dst, {}, true));
        QCOMPARE(
            m_capture->take(),
            QStringList{line('W', copier.name, QString::fromLatin1(copier.failed).arg(src, dst))});
        QVERIFY((service().*copier.copy)(src, dst, {}, false));
        QCOMPARE(m_capture->take(),
                 QStringList{line('D', copier.name, QString("[Skip existing file:%1]").arg(dst))});
        // A directory is no file that could be lost.
        QVERIFY(!(service().*copier.copy)("d", "./d", {}, true));
        QCOMPARE(m_capture->take(), QStringList{notDeleted(copier.name, "./d")});
        QCOMPARE(m_tree->names("d"), QStringList({"hard", "soft", "x.txt"}));
        QCOMPARE(m_tree->content("d/x.txt"), QByteArray("content"));
        QCOMPARE(m_tree->status("d/x.txt").st_nlink, nlink_t(2));
        QVERIFY(S_ISLNK(m_tree->status("d/soft").st_mode));
    }
}

void tst_Copies::targetLinks()
{
    m_tree->file("new", "new");
    m_tree->file("other", "other");
    m_tree->link("other", "target");
    // The link is replaced, what it points at stays.
    QVERIFY(service().copyDirectoryFile(path("new"), path("target"), {}, true));
    QVERIFY(S_ISREG(m_tree->status("target").st_mode));
    QCOMPARE(m_tree->content("target"), QByteArray("new"));
    QCOMPARE(m_tree->content("other"), QByteArray("other"));
    // A link as the source gives a file.
    m_tree->link("other", "source");
    QVERIFY(service().copyDirectoryFile(path("source"), path("copy"), {}, true));
    QVERIFY(S_ISREG(m_tree->status("copy").st_mode));
    QCOMPARE(m_tree->content("copy"), QByteArray("other"));
}

void tst_Copies::contents_data()
{
    QTest::addColumn<int>("size");
    for (const int size : {0, 1, 65535, 65536, 65537, 131072, 1000003, 5 << 20})
        QTest::addRow("%d", size) << size;
}

void tst_Copies::contents()
{
    QFETCH(int, size);
    const QByteArray content = pattern(size);
    m_tree->file("source", content);
    QVERIFY(service().copyDirectoryFile(path("source"), path("target"), {}, false));
    QCOMPARE(m_tree->content("target"), content);
    QCOMPARE(m_tree->content("source"), content);
    QCOMPARE(m_capture->take(), QStringList());
}

void tst_Copies::sparseFile()
{
    m_tree->file("source", "");
    QFile source(path("source"));
    QVERIFY(source.open(QIODevice::ReadWrite));
    QVERIFY(source.resize(qint64(1) << 30));
    const QByteArray island = pattern(100000);
    for (const qint64 at : {qint64(0), qint64(300) << 20, (qint64(1) << 30) - 200000}) {
        QVERIFY(source.seek(at));
        QCOMPARE(source.write(island), qint64(island.size()));
    }
    source.close();
    QVERIFY(service().copyDirectoryFile(path("source"), path("target"), {}, false));
    QCOMPARE(m_tree->status("target").st_size, off_t(1) << 30);
    QVERIFY(m_tree->status("target").st_blocks < 4096);
    QFile target(path("target"));
    QVERIFY(source.open(QIODevice::ReadOnly));
    QVERIFY(target.open(QIODevice::ReadOnly));
    for (const qint64 at :
         {qint64(0), qint64(200) << 20, (qint64(300) << 20) - 50000, (qint64(1) << 30) - 300000}) {
        QVERIFY(source.seek(at));
        QVERIFY(target.seek(at));
        QCOMPARE(target.read(300000), source.read(300000));
    }

    m_tree->file("hole", "");
    QVERIFY(QFile::resize(path("hole"), 1 << 20));
    QVERIFY(service().copyDirectoryFile(path("hole"), path("hole2"), {}, false));
    QCOMPARE(m_tree->content("hole2"), QByteArray(1 << 20, '\0'));
}

/// They announce no size and are read in pieces.
void tst_Copies::filesOfTheKernel()
{
    QFile version("/proc/version");
    QFile symbols("/proc/filesystems");
    QVERIFY(version.open(QIODevice::ReadOnly));
    QVERIFY(symbols.open(QIODevice::ReadOnly));
    QVERIFY(service().copyDirectoryFile("/proc/version", path("version"), {}, false));
    QCOMPARE(m_tree->content("version"), version.readAll());
    QVERIFY(service().copyDirectoryFile("/proc/filesystems", path("filesystems"), {}, false));
    QCOMPARE(m_tree->content("filesystems"), symbols.readAll());
}

void tst_Copies::resources()
{
    QVERIFY(service().copyDirectoryFile(":/files/b.txt", path("b"), {}, false));
    QFile resource(":/files/b.txt");
    QVERIFY(resource.open(QIODevice::ReadOnly));
    QCOMPARE(m_tree->content("b"), resource.readAll());
    QVERIFY(service().copyDirectoryFiles(":/files", path("tree"), {"A.log"}, false));
    QCOMPARE(m_tree->names("tree"), QStringList({"b.txt", "nested"}));
    QCOMPARE(m_tree->content("tree/nested/c.txt"), m_tree->content("b"));
    QCOMPARE(m_capture->take(),
             QStringList{"D [debug][copyDirectoryFile] [Skip filter files[A.log]:A.log]"});
}

void tst_Copies::permissions_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<int>("umask");
    for (const int mode : {0644, 0600, 0755, 0444, 0400, 0664, 0666, 0777, 0464, 0454, 04755, 02755,
                           01666, 06711, 0440})
        QTest::addRow("%o", unsigned(mode)) << mode << 022;
    QTest::newRow("umask 0") << 0644 << 0;
    QTest::newRow("umask 077") << 0777 << 077;
}

void tst_Copies::permissions()
{
    QFETCH(int, mode);
    QFETCH(int, umask);
    m_tree->file("source", "x");
    m_tree->mode("source", mode_t(mode));
    m_tree->file("large", pattern(200000));
    m_tree->mode("large", mode_t(mode));
    const mode_t before = ::umask(mode_t(umask));
    QVERIFY(QFile::copy(path("source"), path("qt")));
    QVERIFY(service().copyDirectoryFile(path("source"), path("ours"), {}, false));
    QVERIFY(service().copyDirectoryFile(path("large"), path("oursLarge"), {}, false));
    ::umask(before);
    QCOMPARE(m_tree->mode("ours"), m_tree->mode("qt"));
    QCOMPARE(m_tree->mode("oursLarge"), m_tree->mode("qt"));
    // The same as a user who does not own the source.
    if (mode & 04) {
        m_tree->mode(QString(), 0777);
        const Unprivileged unprivileged;
        QVERIFY(QFile::copy(path("source"), path("userQt")));
        QVERIFY(service().copyDirectoryFile(path("source"), path("userOurs"), {}, false));
        QCOMPARE(m_tree->mode("userOurs"), m_tree->mode("userQt"));
    }
}

void tst_Copies::otherKernels_data()
{
    QTest::addColumn<SystemCalls::Behaviour>("behaviour");
    SystemCalls::Behaviour behaviour;
    QTest::newRow("this one") << behaviour;
    for (const int error : {ENOENT, EPERM, EINVAL}) {
        behaviour.descriptorLinkError = error;
        QTest::addRow("links through /proc: %d", error) << behaviour;
    }
    behaviour.linkThroughProc = false;
    QTest::newRow("no /proc") << behaviour;
    behaviour = {};
    for (const int error : {EOPNOTSUPP, EISDIR, EINVAL, ENOSYS}) {
        behaviour.unnamedFileError = error;
        QTest::addRow("no unnamed files: %d", error) << behaviour;
    }
    for (const int error : {EXDEV, ENOSYS, EINVAL, EOPNOTSUPP, EPERM}) {
        behaviour = {};
        behaviour.kernelCopyError = error;
        QTest::addRow("copying fails midway: %d", error) << behaviour;
        behaviour.kernelCopyAtOnce = true;
        QTest::addRow("copying fails: %d", error) << behaviour;
    }
    behaviour = {};
    behaviour.kernelCopyError = ENOSYS;
    behaviour.kernelCopyAtOnce = true;
    behaviour.shortWrites = true;
    QTest::newRow("short writes") << behaviour;
    behaviour.shortReads = true;
    QTest::newRow("short reads") << behaviour;
    behaviour = {};
    behaviour.kernelCopyStops = true;
    QTest::newRow("copying stops midway") << behaviour;
    behaviour = {};
    behaviour.interruptions = true;
    QTest::newRow("interruptions") << behaviour;
    behaviour = {};
    behaviour.seekError = EINVAL; // before Linux 3.1, for example
    QTest::newRow("does not know holes") << behaviour;
}

void tst_Copies::otherKernels()
{
    QFETCH(SystemCalls::Behaviour, behaviour);
    const QByteArray large = pattern(1000003);
    const QByteArray small = pattern(5000);
    m_tree->file("small", small);
    m_tree->file("large", large);
    m_tree->mode("large", 0640);
    m_tree->file("sparse", "");
    QVERIFY(QFile::resize(path("sparse"), 1 << 20));
    // An island bigger than what one call copies, and data to the end.
    QByteArray islands(3 << 20, '\0');
    islands.replace(1 << 20, large.size(), large);
    islands += small;
    writeIslands("islands", islands, {{1 << 20, large.size()}, {3 << 20, small.size()}});
    m_tree->file("old", "old");
    m_tree->link("nowhere", "dangling");
    SystemCalls::behave(behaviour);
    QVERIFY(service().copyDirectoryFile(path("small"), path("small2"), {}, false));
    QVERIFY(service().copyDirectoryFile(path("large"), path("large2"), {}, false));
    QVERIFY(service().copyDirectoryFile(path("sparse"), path("sparse2"), {}, false));
    QVERIFY(service().copyDirectoryFile(path("islands"), path("islands2"), {}, false));
    QVERIFY(service().copyDirectoryFile(path("small"), path("old"), {}, true));
    QVERIFY(!service().copyDirectoryFile(path("small"), path("dangling"), {}, true));
    QVERIFY(SystemCalls::counts().kernelCopies > 0);
    SystemCalls::reset();
    QCOMPARE(m_tree->content("small2"), small);
    QCOMPARE(m_tree->content("large2"), large);
    QCOMPARE(m_tree->mode("large2"), mode_t(0640));
    QCOMPARE(m_tree->content("sparse2"), QByteArray(1 << 20, '\0'));
    QVERIFY(m_tree->content("islands2") == islands);
    QCOMPARE(m_tree->content("old"), small);
    QVERIFY(!m_tree->exists("nowhere"));
    QCOMPARE(m_tree->names().size(), 10);
}

/// A file system that shares blocks copies nothing; small files are not worth asking.
void tst_Copies::clones()
{
    const QByteArray large = pattern(1000003);
    m_tree->file("large", large);
    m_tree->file("small", pattern(65536));
    SystemCalls::Behaviour behaviour;
    behaviour.clones = true;
    SystemCalls::behave(behaviour);
    QVERIFY(service().copyDirectoryFile(path("large"), path("large2"), {}, false));
    QCOMPARE(SystemCalls::counts().clones, 1);
    QCOMPARE(SystemCalls::counts().kernelCopies, 0);
    QVERIFY(service().copyDirectoryFile(path("small"), path("small2"), {}, false));
    QCOMPARE(SystemCalls::counts().clones, 1);
    SystemCalls::reset();
    QCOMPARE(m_tree->content("large2"), large);
    QCOMPARE(m_tree->content("small2"), pattern(65536));
}

void tst_Copies::seekErrors_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<int>("call");
    // Of the source: data, hole, back to the data; then the same place in the target.
    for (int call = 1; call <= 8; ++call)
        QTest::addRow("call %d", call) << EIO << call;
    QTest::newRow("holes forgotten midway") << EINVAL << 5;
}

void tst_Copies::seekErrors()
{
    QFETCH(int, error);
    QFETCH(int, call);
    const QByteArray island = pattern(100000);
    writeIslands("source", QByteArray(1 << 20, '\0') + island + QByteArray(1 << 20, '\0') + island,
                 {{1 << 20, island.size()}, {(2 << 20) + island.size(), island.size()}});
    SystemCalls::Behaviour behaviour;
    behaviour.seekError = error;
    behaviour.firstFailingSeek = call;
    SystemCalls::behave(behaviour);
    QVERIFY(!service().copyDirectoryFile(path("source"), path("target"), {}, false));
    SystemCalls::reset();
    QCOMPARE(m_capture->take(),
             QStringList{line(
                 'W', "copyDirectoryFile",
                 QString("error:copy[%1] to [%2] failed").arg(path("source"), path("target")))});
    QCOMPARE(m_tree->names(), QStringList("source"));
}

void tst_Copies::targetWithoutDirectory()
{
    m_tree->file("x", "x");
    QVERIFY(QDir::setCurrent(m_tree->path()));
    QVERIFY(service().copyDirectoryFile("x", "y", {}, false));
    QVERIFY(QDir::setCurrent(m_startDir));
    QCOMPARE(m_tree->content("y"), QByteArray("x"));
}

/// More files than are synced one by one; what cannot be opened is not synced.
void tst_Copies::targetThatCannotBeListed()
{
    for (int i = 0; i < 40; ++i)
        m_tree->file(QString("a/%1").arg(i), "x");
    m_tree->directory("b");
    m_tree->mode("b", 0333);
    {
        const Unprivileged unprivileged;
        SystemCalls::reset();
        QVERIFY(service().copyDirectoryFiles(path("a"), path("b"), {}, false));
        QCOMPARE(SystemCalls::counts().fileSystemSyncs, 1); // of what was copied
    }
    m_tree->mode("b", 0755);
    QCOMPARE(m_tree->names("b"), m_tree->names("a"));
    QCOMPARE(m_capture->take(), QStringList());
}

/// File servers take leases; whoever opens the file waits until it is given back.
void tst_Copies::leasedSource()
{
    const auto onLeaseBreak = ::signal(SIGIO, SIG_IGN);
    m_tree->file("a", "x");
    const int leased = ::open(m_tree->native("a").constData(), O_RDWR | O_CLOEXEC);
    QVERIFY(leased >= 0);
    if (::fcntl(leased, F_SETLEASE, F_WRLCK) != 0) {
        ::close(leased);
        QSKIP("this file system has no leases");
    }
    std::thread server([leased] {
        while (::fcntl(leased, F_GETLEASE) == F_WRLCK)
            QThread::msleep(1);
        QThread::msleep(50);
        ::fcntl(leased, F_SETLEASE, F_UNLCK);
    });
    const bool copied = service().copyDirectoryFile(path("a"), path("b"), {}, false);
    server.join();
    ::close(leased);
    ::signal(SIGIO, onLeaseBreak);
    QVERIFY(copied);
    QCOMPARE(m_tree->content("b"), QByteArray("x"));
    QCOMPARE(m_capture->take(), QStringList());
}

/// What cannot be read leaves nothing behind.
void tst_Copies::readError()
{
    const QString source = "/proc/self/mem"; // nothing is mapped at its beginning
    QVERIFY(!service().copyDirectoryFile(source, path("target"), {}, false));
    QCOMPARE(
        m_capture->take(),
        QStringList{line('W', "copyDirectoryFile",
                         QString("error:copy[%1] to [%2] failed").arg(source, path("target")))});
    QCOMPARE(m_tree->names(), QStringList());
}

/// FAT keeps no modes, and refuses to set them.
void tst_Copies::fileSystemWithoutModes()
{
    m_tree->file("a/x", "x");
    SystemCalls::Behaviour behaviour;
    for (const bool unnamed : {true, false}) {
        behaviour.unnamedFileError = unnamed ? 0 : EOPNOTSUPP;
        behaviour.modeError = EPERM;
        SystemCalls::behave(behaviour);
        QVERIFY(service().copyDirectoryFile(path("a/x"), path("x"), {}, true));
        QVERIFY(service().copyDirectoryFiles(path("a"), path("b"), {}, true));
        SystemCalls::reset();
        QCOMPARE(m_tree->content("x"), QByteArray("x"));
        QCOMPARE(m_tree->content("b/x"), QByteArray("x"));
    }
    QCOMPARE(m_capture->take(), QStringList());
}

void tst_Copies::writeErrors_data()
{
    QTest::addColumn<SystemCalls::Behaviour>("behaviour");
    for (const bool unnamed : {true, false}) {
        for (const int error : {ENOSPC, EIO, EDQUOT}) {
            SystemCalls::Behaviour behaviour;
            behaviour.unnamedFileError = unnamed ? 0 : EOPNOTSUPP;
            behaviour.kernelCopyError = error;
            QTest::addRow("in the kernel, %s: %d", unnamed ? "unnamed" : "named", error)
                << behaviour;
            behaviour.kernelCopyError = EXDEV;
            behaviour.writeError = error;
            QTest::addRow("written, %s: %d", unnamed ? "unnamed" : "named", error) << behaviour;
        }
    }
}

void tst_Copies::writeErrors()
{
    QFETCH(SystemCalls::Behaviour, behaviour);
    m_tree->file("a/large", pattern(1000003));
    const QByteArray island = pattern(300000);
    writeIslands("sparse", QByteArray(1 << 20, '\0') + island, {{1 << 20, island.size()}});
    SystemCalls::behave(behaviour);
    QVERIFY(!service().copyDirectoryFile(path("sparse"), path("target"), {}, false));
    QCOMPARE(m_capture->take(),
             QStringList{line(
                 'W', "copyDirectoryFile",
                 QString("error:copy[%1] to [%2] failed").arg(path("sparse"), path("target")))});
    SystemCalls::behave(behaviour);
    QVERIFY(!service().copyDirectoryFile(path("a/large"), path("target"), {}, false));
    QCOMPARE(m_capture->take(),
             QStringList{line(
                 'W', "copyDirectoryFile",
                 QString("error:copy[%1] to [%2] failed").arg(path("a/large"), path("target")))});
    QVERIFY(!service().copyDirectoryFiles(path("a"), path("b"), {}, false));
    SystemCalls::reset();
    QCOMPARE(m_tree->names(), QStringList({"a", "b", "sparse"}));
    QCOMPARE(m_tree->names("b"), QStringList());
}

void tst_Copies::tree_data()
{
    addTreeCopiers();
}

void tst_Copies::tree()
{
    QFETCH(int, index);
    const TreeCopier &copier = treeCopiers[index];
    const QMap<QString, QByteArray> files{{"x.txt", "x"},           {".hidden", "h"},
                                          {"s/y.log", "y"},         {"s/t/z.txt", ""},
                                          {"s/t/%1 %2", "percent"}, {"large", pattern(200000)}};
    for (auto file = files.begin(); file != files.end(); ++file)
        m_tree->file("a/" + file.key(), file.value());
    m_tree->directory("a/empty/below");
    m_tree->fifo("a/fifo");
    m_tree->socket("a/socket");
    m_tree->link("nowhere", "a/broken");
    const auto verify = [&](const QString &directory) {
        QCOMPARE(m_tree->names(directory),
                 QStringList({".hidden", "empty", "large", "s", "x.txt"}));
        QCOMPARE(m_tree->names(directory + "/empty"), QStringList{"below"});
        QCOMPARE(m_tree->names(directory + "/s"), QStringList({"t", "y.log"}));
        for (auto file = files.begin(); file != files.end(); ++file)
            QCOMPARE(m_tree->content(directory + '/' + file.key()), file.value());
        QCOMPARE(m_capture->take(), QStringList());
    };
    // Absolute and relative, with and without slashes at the end.
    QVERIFY(copier.copy(path("a"), path("b/c"), {}, false));
    verify("b/c");
    QVERIFY(QDir::setCurrent(path("b")));
    QVERIFY(copier.copy("../a/", "./d//", {}, false));
    verify("b/d");
    QCOMPARE(QDir::currentPath(), path("b"));
    QCOMPARE(m_tree->names(), QStringList({"a", "b"}));
}

void tst_Copies::treeOfOddNames_data()
{
    addTreeCopiers();
}

void tst_Copies::treeOfOddNames()
{
    QFETCH(int, index);
    const QStringList names{
        "%2",   "%1%2",        "line\nbreak", " ",   QString(255, 'n'),
        "日志", "back\\slash", "*",           "...", QChar(QChar::ByteOrderMark) + QString("mark")};
    for (const QString &name : names) {
        m_tree->file("a/%2/" + name, name.toUtf8());
        m_tree->file("a/d-" + name.left(250) + "/f", "f");
    }
    m_tree->nativeFile("a/caf\xE9");
    QVERIFY(treeCopiers[index].copy(path("a"), path("%1"), {}, false));
    for (const QString &name : names) {
        QCOMPARE(m_tree->content("%1/%2/" + name), name.toUtf8());
        QCOMPARE(m_tree->content("%1/d-" + name.left(250) + "/f"), QByteArray("f"));
    }
    QCOMPARE(m_capture->take(), QStringList());
    // Names that Qt does not list are not copied.
    QCOMPARE(m_tree->names("%1").size(), m_tree->names("a").size());
}

void tst_Copies::treeSkips()
{
    for (const char *name : {"a.log", "b.txt", "s/a.log", "s/c.log", "log/x", "a.log.d/y"})
        m_tree->file(QString("a/") + name);
    QVERIFY(service().copyDirectoryFiles(path("a"), path("b"), {"a.log", "log", "s"}, false));
    QCOMPARE(m_capture->take(),
             QStringList({"D [debug][copyDirectoryFile] [Skip filter files[a.log,log,s]:a.log]",
                          "D [debug][copyDirectoryFile] [Skip filter files[a.log,log,s]:a.log]"}));
    QCOMPARE(m_tree->names("b"), QStringList({"a.log.d", "b.txt", "log", "s"}));
    QCOMPARE(m_tree->names("b/s"), QStringList{"c.log"});
    QCOMPARE(m_tree->names("b/log"), QStringList{"x"});

    QVERIFY(service().copyDirectoryFilesSuffix(path("a"), path("c"), {"log"}, false));
    QCOMPARE(m_capture->take(),
             QStringList({"D [debug][copyDirectoryFileSuffix] [Skip filter files(log):a.log]",
                          "D [debug][copyDirectoryFileSuffix] [Skip filter files(log):a.log]",
                          "D [debug][copyDirectoryFileSuffix] [Skip filter files(log):c.log]"}));
    QCOMPARE(m_tree->names("c"), QStringList({"a.log.d", "b.txt", "log", "s"}));
    QCOMPARE(m_tree->names("c/s"), QStringList());
}

void tst_Copies::treeOverwrites_data()
{
    addTreeCopiers();
}

void tst_Copies::treeOverwrites()
{
    QFETCH(int, index);
    const TreeCopier &copier = treeCopiers[index];
    m_tree->file("a/s/x", "new");
    m_tree->file("a/y", "new");
    m_tree->file("b/s/x", "old");
    m_tree->file("b/s/other", "other");
    m_tree->file("b/y", "old");
    if (index != mirror) {
        QVERIFY(copier.copy(path("a"), path("b"), {}, false));
        QCOMPARE(m_tree->content("b/s/x"), QByteArray("old"));
        QCOMPARE(m_tree->content("b/y"), QByteArray("old"));
        const auto exists = [&](const char *name) {
            return line('D', copier.files.name, "[Skip existing file:" + path(name) + ']');
        };
        QCOMPARE(m_capture->take(), QStringList({exists("b/s/x"), exists("b/y")}));
    }
    QVERIFY(copier.copy(path("a"), path("b"), {}, true));
    QCOMPARE(m_tree->content("b/s/x"), QByteArray("new"));
    QCOMPARE(m_tree->content("b/y"), QByteArray("new"));
    QCOMPARE(m_tree->content("b/s/other"), QByteArray("other"));
    QCOMPARE(m_capture->take(), QStringList());
}

void tst_Copies::treeOfLinks_data()
{
    addTreeCopiers();
}

void tst_Copies::treeOfLinks()
{
    QFETCH(int, index);
    m_tree->file("outside/f", "f");
    m_tree->file("a/file", "content");
    m_tree->link("file", "a/alias");
    m_tree->link("../outside", "a/directory");
    QVERIFY(treeCopiers[index].copy(path("a"), path("b"), {}, true));
    QVERIFY(S_ISREG(m_tree->status("b/alias").st_mode));
    QVERIFY(S_ISDIR(m_tree->status("b/directory").st_mode));
    QCOMPARE(m_tree->content("b/alias"), QByteArray("content"));
    QCOMPARE(m_tree->content("b/directory/f"), QByteArray("f"));
}

void tst_Copies::rootFile_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<bool>("overwrite");
    QTest::addColumn<bool>("listed");
    QTest::addColumn<bool>("copied");
    QTest::addColumn<QString>("text");
    QTest::newRow("name") << byName << true << false << true << "";
    QTest::newRow("name, keep") << byName << false << false << false
                                << "[Skip existing file:%1/b/x.log]";
    QTest::newRow("name, listed") << byName << true << true << false
                                  << "[Skip filter files[x.log,log]:x.log]";
    QTest::newRow("suffix") << bySuffix << true << false << true << "";
    QTest::newRow("suffix, keep") << bySuffix << false << false << true << "";
    QTest::newRow("suffix, listed") << bySuffix << false << true << true << "";
    QTest::newRow("mirror") << mirror << false << true << true << "";
}

void tst_Copies::rootFile()
{
    QFETCH(int, index);
    QFETCH(bool, overwrite);
    QFETCH(bool, listed);
    QFETCH(bool, copied);
    QFETCH(QString, text);
    const TreeCopier &copier = treeCopiers[index];
    m_tree->file("a/x.log", "new");
    m_tree->file("b/x.log", "old");
    const QStringList skip = listed ? QStringList{"x.log", "log"} : QStringList();
    QVERIFY(copier.copy(path("a/x.log"), path("b"), skip, overwrite));
    QCOMPARE(m_tree->content("b/x.log"), QByteArray(copied ? "new" : "old"));
    QCOMPARE(m_capture->take(),
             text.isEmpty()
                 ? QStringList()
                 : QStringList{line('D', copier.files.name, text.replace("%1", path("")))});
    QCOMPARE(m_tree->names("b"), QStringList{"x.log"});
}

void tst_Copies::rootFileTargets()
{
    m_tree->file("a/x", "x");
    m_tree->directory("b");
    QVERIFY(QDir::setCurrent(path("a")));
    const QString failed = "error:copy[%1] to [%2] failed";
    const QString suffixFailed = "[Copy failed:(%1) to (%2)]";
    // The slash is always added, and the directory is not created.
    QVERIFY(service().copyDirectoryFiles("x", path("b/"), {}, false));
    QCOMPARE(m_tree->content("b/x"), QByteArray("x"));
    QVERIFY(!service().copyDirectoryFiles("x", path("missing/"), {}, false));
    QCOMPARE(m_capture->take(),
             QStringList{line('W', "copyDirectoryFile", failed.arg("x", path("missing//x")))});
    // The others name the source by its absolute path.
    QVERIFY(!service().copyDirectoryFilesSuffix("x", path("missing"), {}, false));
    QCOMPARE(m_capture->take(),
             QStringList{line('W', "copyDirectoryFileSuffix",
                              suffixFailed.arg(path("a/x"), path("missing/x")))});
    QVERIFY(!service().copyDirectorySameFiles("x", path("missing")));
    QCOMPARE(m_capture->take(),
             QStringList{
                 line('W', "copyDirectorySameFiles", failed.arg(path("a/x"), path("missing/x")))});
    QVERIFY(!m_tree->exists("missing"));
}

void tst_Copies::mirrorOfAFile()
{
    m_tree->file("a/x", "new");
    m_tree->directory("b/x");
    QVERIFY(!service().copyDirectorySameFiles(path("a/x"), path("b")));
    QCOMPARE(m_capture->take(), QStringList{notDeleted("copyDirectorySameFiles", path("b/x"))});
    // Onto itself.
    QVERIFY(!service().copyDirectorySameFiles(path("a/x"), path("a")));
    QCOMPARE(m_capture->take(),
             QStringList{line('W', "copyDirectorySameFiles",
                              QString("error:copy[%1] to [%1] failed").arg(path("a/x")))});
    QCOMPARE(m_tree->content("a/x"), QByteArray("new"));
}

void tst_Copies::missingSource_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("src");
    for (int i = 0; i < int(std::size(treeCopiers)); ++i) {
        for (const char *src : {"missing", "", "fifo", "broken", "file/", "NUL"})
            QTest::addRow("%s: %s", treeCopiers[i].name, src) << i << QString::fromLatin1(src);
    }
}

void tst_Copies::missingSource()
{
    QFETCH(int, index);
    QFETCH(QString, src);
    m_tree->fifo("fifo");
    m_tree->link("nowhere", "broken");
    m_tree->file("file");
    m_tree->file("d/x");
    if (src == "NUL")
        src = QString::fromLatin1("d\0x", 3);
    QVERIFY(QDir::setCurrent(m_tree->path()));
    QVERIFY(treeCopiers[index].copy(src, "b/c", {}, true));
    QCOMPARE(m_tree->names("b/c"), QStringList());
    QVERIFY(m_tree->exists("b/c"));
}

void tst_Copies::emptyTarget_data()
{
    addTreeCopiers();
}

void tst_Copies::emptyTarget()
{
    QFETCH(int, index);
    m_tree->file("a/x");
    m_tree->directory("b");
    QVERIFY(QDir::setCurrent(path("b")));
    for (const QString &src : {path("a"), path("a/x")}) {
        QVERIFY(!treeCopiers[index].copy(src, "", {}, true));
        QCOMPARE(m_capture->take(), QStringList{::notCreated(treeCopiers[index].name, "")});
    }
    QCOMPARE(m_tree->names("b"), QStringList());
    QVERIFY(!QFile::exists("/x"));
}

void tst_Copies::notCreated_data()
{
    addTreeCopiers();
}

void tst_Copies::notCreated()
{
    QFETCH(int, index);
    const TreeCopier &copier = treeCopiers[index];
    m_tree->file("a/x");
    m_tree->file("file", "file");
    m_tree->directory("closed");
    m_tree->mode("closed", 0555);
    QVERIFY(QDir::setCurrent(m_tree->path()));
    const Unprivileged unprivileged;
    for (const char *target : {"file", "file/below", "closed/%1"}) {
        QVERIFY(!copier.copy("a", QString("./") + target, {}, true));
        QCOMPARE(m_capture->take(), QStringList{::notCreated(copier.name, path(target))});
    }
    QCOMPARE(m_tree->content("file"), QByteArray("file"));
    QCOMPARE(m_tree->names("closed"), QStringList());
}

void tst_Copies::notCreatedBelow_data()
{
    addTreeCopiers();
}

void tst_Copies::notCreatedBelow()
{
    QFETCH(int, index);
    const TreeCopier &copier = treeCopiers[index];
    m_tree->file("a/a", "a");
    m_tree->file("a/s/t/x");
    m_tree->file("a/z", "z");
    m_tree->file("b/s/t", "in the way");
    QVERIFY(!copier.copy(path("a"), path("b"), {}, true));
    // The mirror hands nested directories to the copier by name.
    const char *nested = index == mirror ? "copyDirectoryFiles" : copier.name;
    QCOMPARE(m_capture->take(),
             QStringList({::notCreated(nested, path("b/s/t")),
                          failedBelow(nested, path("a/s/t"), path("b/s")),
                          failedBelow(copier.name, path("a/s"), path("b"))}));
    QCOMPARE(m_tree->content("b/a"), QByteArray("a"));
    QCOMPARE(m_tree->content("b/s/t"), QByteArray("in the way"));
    QVERIFY(!m_tree->exists("b/z"));
}

void tst_Copies::failureStopsTheCopy_data()
{
    addTreeCopiers();
}

void tst_Copies::failureStopsTheCopy()
{
    QFETCH(int, index);
    const TreeCopier &copier = treeCopiers[index];
    m_tree->file("a/s/a", "a");
    m_tree->file("a/s/closed");
    m_tree->file("a/s/z");
    m_tree->file("a/z");
    m_tree->mode("a/s/closed", 0);
    const Unprivileged unprivileged;
    QVERIFY(!copier.copy(path("a"), path("b"), {}, true));
    QCOMPARE(m_capture->take(),
             QStringList({line('W', copier.files.name,
                               QString::fromLatin1(copier.files.failed)
                                   .arg(path("a/s/closed"), path("b/s/closed"))),
                          failedBelow(copier.name, path("a/s"), path("b"))}));
    QCOMPARE(m_tree->names("b"), QStringList{"s"});
    QCOMPARE(m_tree->names("b/s"), QStringList{"a"});
    QCOMPARE(m_tree->content("b/s/a"), QByteArray("a"));
}

void tst_Copies::failureShowsTheGivenPath_data()
{
    addTreeCopiers();
}

/// The path of a nested directory begins as the caller's did.
void tst_Copies::failureShowsTheGivenPath()
{
    QFETCH(int, index);
    const TreeCopier &copier = treeCopiers[index];
    m_tree->file("a/s/t/closed");
    m_tree->mode("a/s/t/closed", 0);
    QVERIFY(QDir::setCurrent(m_tree->path()));
    const Unprivileged unprivileged;
    QVERIFY(!copier.copy("./a/", "b", {}, true));
    const char *nested = index == mirror ? "copyDirectoryFiles" : copier.name;
    QCOMPARE(m_capture->take().mid(1),
             QStringList({failedBelow(nested, path("a/s/t"), path("b/s")),
                          failedBelow(copier.name, "./a/s", path("b"))}));
}

void tst_Copies::mirrorFailures()
{
    m_tree->file("a/closed");
    m_tree->mode("a/closed", 0);
    m_tree->directory("c");
    m_tree->file("c/x");
    m_tree->directory("b/x");
    {
        const Unprivileged unprivileged;
        QVERIFY(QDir::setCurrent(m_tree->path()));
        m_tree->directory("target");
        QVERIFY(!service().copyDirectorySameFiles("a/", "target"));
    }
    // It names the directory, not the file.
    QCOMPARE(m_capture->take(),
             QStringList{line(
                 'W', "copyDirectorySameFiles",
                 QString("error:copy[%1] to [%2] failed").arg(path("a"), path("target/closed")))});
    QVERIFY(!service().copyDirectorySameFiles(path("c"), path("b")));
    QCOMPARE(m_capture->take(), QStringList{notDeleted("copyDirectorySameFiles", path("b/x"))});
}

void tst_Copies::targetThatCannotBeRemoved_data()
{
    addFileCopiers();
}

void tst_Copies::targetThatCannotBeRemoved()
{
    QFETCH(int, index);
    const FileCopier &copier = fileCopiers[index];
    m_tree->file("x", "new");
    m_tree->directory("directory");
    m_tree->file("closed/%1", "old");
    m_tree->mode("closed", 0555);
    const Unprivileged unprivileged;
    for (const char *target : {"directory", "closed/%1"}) {
        QVERIFY(!(service().*copier.copy)(path("x"), path(target), {}, true));
        QCOMPARE(m_capture->take(), QStringList{notDeleted(copier.name, path(target))});
    }
    QCOMPARE(m_tree->content("closed/%1"), QByteArray("old"));
}

namespace {

std::function<void()> s_atFirstLine;

/// Changes the tree between the listing of a directory and a later entry's turn.
void actAtFirstLine(QtMsgType, const QMessageLogContext &, const QString &)
{
    const auto act = std::move(s_atFirstLine);
    s_atFirstLine = nullptr;
    if (act)
        act();
}

} // namespace

/// They would end early and name something else.
void tst_Copies::pathsWithNul()
{
    m_tree->file("x", "x");
    m_tree->file("y", "y");
    const QString nul = QString::fromLatin1("\0z", 2);
    for (const FileCopier &copier : fileCopiers) {
        QVERIFY(!(service().*copier.copy)(path("x"), path("new") + nul, {}, true));
        QVERIFY(!(service().*copier.copy)(path("x") + nul, path("new"), {}, true));
        QVERIFY(!(service().*copier.copy)(path("x"), path("y") + nul, {}, true));
    }
    QCOMPARE(m_tree->names(), QStringList({"x", "y"}));
    QCOMPARE(m_tree->content("y"), QByteArray("y"));
}

void tst_Copies::targetThatAppears_data()
{
    QTest::addColumn<bool>("overwrite");
    QTest::newRow("overwrite") << true;
    QTest::newRow("keep") << false;
}

/// In a directory that the copy has made itself: by another program, or since the
/// file system takes two names for one.
void tst_Copies::targetThatAppears()
{
    QFETCH(bool, overwrite);
    m_tree->file("a/1.log");
    m_tree->file("a/2", "new");
    s_atFirstLine = [this] { m_tree->file("b/2", "old"); };
    const QtMessageHandler previous = qInstallMessageHandler(actAtFirstLine);
    const bool copied = service().copyDirectoryFiles(path("a"), path("b"), {"1.log"}, overwrite);
    qInstallMessageHandler(previous);
    QVERIFY(copied);
    QCOMPARE(m_tree->content("b/2"), QByteArray(overwrite ? "new" : "old"));
}

void tst_Copies::sourceThatVanishes()
{
    m_tree->file("a/1.log");
    m_tree->file("a/2", "2");
    m_tree->file("a/3");
    s_atFirstLine = [this] { QFile::remove(path("a/3")); };
    const QtMessageHandler previous = qInstallMessageHandler(actAtFirstLine);
    const bool copied = service().copyDirectoryFiles(path("a"), path("b"), {"1.log"}, true);
    qInstallMessageHandler(previous);
    QVERIFY(!copied);
    QCOMPARE(m_tree->names("b"), QStringList{"2"});
    QCOMPARE(m_tree->content("b/2"), QByteArray("2"));
}

void tst_Copies::directoryThatBecomesAFile()
{
    m_tree->file("a/1.log");
    m_tree->directory("a/2.log");
    m_tree->directory("a/3");
    m_tree->directory("b/2.log");
    s_atFirstLine = [this] {
        QDir(path("a")).rmdir("2.log");
        m_tree->file("a/2.log", "file");
        m_tree->mode("a/3", 0777);
        QDir(path("a")).rmdir("3");
    };
    const QtMessageHandler previous = qInstallMessageHandler(actAtFirstLine);
    const bool copied = service().copyDirectoryFilesSuffix(path("a"), path("b"), {"log"}, false);
    qInstallMessageHandler(previous);
    // A single file given to this copier is copied whatever the list says; a
    // directory that has gone is an empty one.
    QVERIFY(copied);
    QCOMPARE(m_tree->content("b/2.log/2.log"), QByteArray("file"));
    QCOMPARE(m_tree->names("b"), QStringList({"2.log", "3"}));
}

void tst_Copies::intoItself_data()
{
    addTreeCopiers();
}

void tst_Copies::intoItself()
{
    QFETCH(int, index);
    const TreeCopier &copier = treeCopiers[index];
    m_tree->file("a/x", "x");
    m_tree->file("a/s/y", "y");
    for (int round = 0; round < 2; ++round) {
        QVERIFY(copier.copy(path("a"), path("a/s/copy"), {}, true));
        QCOMPARE(m_tree->names("a"), QStringList({"s", "x"}));
        QCOMPARE(m_tree->names("a/s"), QStringList({"copy", "y"}));
        QCOMPARE(m_tree->names("a/s/copy"), QStringList({"s", "x"}));
        QCOMPARE(m_tree->names("a/s/copy/s"), QStringList{"y"});
        QCOMPARE(m_capture->take(), QStringList());
    }
}

void tst_Copies::ontoItselfAsATree_data()
{
    addTreeCopiers();
}

void tst_Copies::ontoItselfAsATree()
{
    QFETCH(int, index);
    const TreeCopier &copier = treeCopiers[index];
    m_tree->file("a/x", "x");
    m_tree->link("a", "b");
    QVERIFY(!copier.copy(path("a"), path("b"), {}, true));
    const QString source = index == mirror ? path("a") : path("a/x");
    QCOMPARE(m_capture->take(),
             QStringList{line('W', index == mirror ? copier.name : copier.files.name,
                              QString::fromLatin1(copier.files.failed).arg(source, path("b/x")))});
    QCOMPARE(m_tree->content("a/x"), QByteArray("x"));
}

void tst_Copies::linksBack_data()
{
    addTreeCopiers();
}

void tst_Copies::linksBack()
{
    QFETCH(int, index);
    m_tree->file("r/a/x", "x");
    m_tree->link(".", "r/a/self");
    m_tree->link("..", "r/a/above");
    m_tree->link("../../b", "r/a/destination");
    m_tree->directory("b");
    QVERIFY(treeCopiers[index].copy(path("r/a"), path("b"), {}, true));
    QCOMPARE(m_tree->names("b"), QStringList{"x"});
    QCOMPARE(m_capture->take(), QStringList());
}

void tst_Copies::durability()
{
    SystemCalls::reset();
    m_tree->file("x");
    QVERIFY(service().copyDirectoryFile(path("x"), path("y"), {}, true));
    QCOMPARE(SystemCalls::counts().fileSyncs, 1);
    // A few files one by one, many at once; nothing for what was not copied.
    for (int i = 0; i < 40; ++i)
        m_tree->file(QString("a/%1/%2").arg(i % 4).arg(i));
    SystemCalls::reset();
    QVERIFY(service().copyDirectoryFiles(path("a"), path("b"), {}, true));
    QVERIFY(SystemCalls::counts().fileSyncs < 20);
    QCOMPARE(SystemCalls::counts().fileSystemSyncs, 1);
    SystemCalls::reset();
    QVERIFY(service().copyDirectoryFiles(path("a"), path("b"), {}, false));
    QCOMPARE(SystemCalls::counts().fileSyncs, 0);
    QCOMPARE(SystemCalls::counts().fileSystemSyncs, 0);
    QVERIFY(service().copyDirectoryFiles(path("a/1"), path("c"), {}, false));
    QCOMPARE(SystemCalls::counts().fileSyncs, 10);
    QCOMPARE(SystemCalls::counts().fileSystemSyncs, 0);
    // Also after a failure.
    m_tree->file("d/3/39/in the way");
    SystemCalls::reset();
    QVERIFY(!service().copyDirectoryFiles(path("a"), path("d"), {}, true));
    QCOMPARE(SystemCalls::counts().fileSystemSyncs, 1);
}

/// A directory that only now cannot be listed is not copied as an empty one.
void tst_Copies::noDescriptorLeft()
{
    m_tree->file("a/x", "x");
    rlimit before{};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const bool isCopied = service().copyDirectoryFiles(path("a"), path("b"), {}, true);
    const bool isCopiedBySuffix =
        service().copyDirectoryFilesSuffix(path("a"), path("b"), {}, true);
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &before), 0);
    QVERIFY(!isCopied);
    QVERIFY(!isCopiedBySuffix);
    QCOMPARE(m_capture->take(),
             (QStringList{line('W', "copyDirectoryFile",
                               QString("error:copy[%1] to [%2] failed").arg(path("a"), path("b"))),
                          line('W', "copyDirectoryFileSuffix",
                               QString("[Copy failed:(%1) to (%2)]").arg(path("a"), path("b")))}));
}

void tst_Copies::syncErrors_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("losesData");
    QTest::newRow("full") << ENOSPC << true;
    QTest::newRow("quota") << EDQUOT << true;
    QTest::newRow("broken") << EIO << true;
    QTest::newRow("cannot sync") << EINVAL << false;
    QTest::newRow("read-only") << EROFS << false;
}

/// Some file systems notice only at the end that there is no room.
void tst_Copies::syncErrors()
{
    QFETCH(int, error);
    QFETCH(bool, losesData);
    const QString failed = "error:copy[%1] to [%2] failed";
    m_tree->file("x", "x");
    SystemCalls::Behaviour behaviour;
    behaviour.syncError = error;
    SystemCalls::behave(behaviour);
    QCOMPARE(service().copyDirectoryFile(path("x"), path("y"), {}, true), !losesData);
    QCOMPARE(m_tree->exists("y"), !losesData);
    if (losesData)
        QCOMPARE(m_capture->take(),
                 QStringList{line('W', "copyDirectoryFile", failed.arg(path("x"), path("y")))});
    SystemCalls::reset();

    // A tree is synced at its end.
    for (int i = 0; i < 40; ++i)
        m_tree->file(QString("a/%1").arg(i, 2, 10, QChar('0')));
    behaviour.onlyFileSystems = true;
    SystemCalls::behave(behaviour);
    QCOMPARE(service().copyDirectoryFiles(path("a"), path("b"), {}, true), !losesData);
    SystemCalls::reset();
    QCOMPARE(m_tree->names("b").size(), 40);
    QCOMPARE(m_capture->take(),
             losesData
                 ? QStringList{line('W', "copyDirectoryFile", failed.arg(path("a"), path("b")))}
                 : QStringList());
}

void tst_Copies::fullDisk_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("isTree");
    for (const int size : {30000, 300000}) {
        QTest::addRow("copyDirectoryFile, %d", size) << "copyFile" << size << false;
        QTest::addRow("copyDirectoryFileSuffix, %d", size) << "copyFileSuffix" << size << false;
        QTest::addRow("copyDirectoryFiles, %d", size) << "copyFiles" << size << true;
        QTest::addRow("copyDirectorySameFiles, %d", size) << "copySame" << size << true;
    }
}

void tst_Copies::fullDisk()
{
    if (!TestSupport::canMountPrivately())
        QSKIP("this user cannot mount a small file system");
    QFETCH(QString, command);
    QFETCH(int, size);
    QFETCH(bool, isTree);
    for (int i = 0; i < 8; ++i)
        m_tree->file(QString("a/%1").arg(i), pattern(size));
    m_tree->directory("small");
    m_tree->directory("result");
    // The file system is gone with the child: it copies what is there for the test.
    const QString setUp = QString("mount -t tmpfs -o size=%1k tmpfs '%2'")
                              .arg(isTree ? size * 5 / 2 / 1024 : size / 2 / 1024)
                              .arg(path("small"));
    const QString shell =
        QString("\"$0\" \"$@\"; cp -a '%1/.' '%2'").arg(path("small"), path("result"));
    const QString source = isTree ? path("a") : path("a/0");
    const QString target = isTree ? path("small/b") : path("small/0");
    const auto result = TestSupport::runInPrivateMounts(
        setUp, "/bin/sh",
        {"-c", shell, TestSupport::helperPath("files_child"), command, source, target});
    QVERIFY2(result.endedWith(0), result.report());
    QCOMPARE(result.out, QByteArray("0\n"));
    QVERIFY2(result.err.startsWith("W ") && result.err.contains("failed"), result.report());
    if (!isTree) {
        QCOMPARE(m_tree->names("result"), QStringList());
        return;
    }
    // What was copied stays, whole; nothing half-made is there.
    const QStringList copied = m_tree->names("result/b");
    QVERIFY2(!copied.isEmpty() && copied.size() < 8, result.report());
    for (const QString &name : copied)
        QCOMPARE(m_tree->content("result/b/" + name), pattern(size));
}

void tst_Copies::readOnlyFileSystem()
{
    if (!TestSupport::canMountPrivately())
        QSKIP("this user cannot mount a file system");
    m_tree->file("a/x");
    m_tree->directory("b");
    const QString setUp = QString("mount -t tmpfs -o ro tmpfs '%1'").arg(path("b"));
    const auto result = TestSupport::runInPrivateMounts(
        setUp, TestSupport::helperPath("files_child"), {"copyFiles", path("a"), path("b")});
    QVERIFY2(result.endedWith(0), result.report());
    QCOMPARE(result.out, QByteArray("0\n"));
    QCOMPARE(QString::fromUtf8(result.err).section('\n', 0, 0),
             QString("W [warning][copyDirectoryFile] error:copy[%1] to [%2] failed")
                 .arg(path("a/x"), path("b/x")));
}

/// At no moment a target bears its name before it is complete.
void tst_Copies::killedInTheMiddle()
{
    constexpr int files = 400;
    for (int i = 0; i < files; ++i)
        m_tree->file(QString("a/%1").arg(i), pattern(20000 + i % 2 * 100000));
    bool interrupted = false;
    for (int round = 0; round < 20; ++round) {
        const QString target = QString("b%1").arg(round);
        QProcess child;
        child.start(TestSupport::helperPath("files_child"), {"copyFiles", path("a"), path(target)});
        QVERIFY(child.waitForStarted());
        for (int wait = 0; wait < 1000 && m_tree->names(target).size() < 5; ++wait)
            QTest::qSleep(1);
        QTest::qSleep(1 + int(QRandomGenerator::global()->bounded(10)));
        child.kill();
        QVERIFY(child.waitForFinished());
        const QStringList copied = m_tree->names(target);
        interrupted = interrupted || copied.size() < files;
        for (const QString &name : copied)
            QCOMPARE(m_tree->content(target + '/' + name), m_tree->content("a/" + name));
    }
    QVERIFY(interrupted);
}

void tst_Copies::descriptors()
{
    for (int level = 0; level < 100; ++level)
        m_tree->file("a/" + QString("s/").repeated(level) + "f");
    const auto open = [] { return QDir("/proc/self/fd").count(); };
    const auto before = open();
    const FewDescriptors few;
    QVERIFY(service().copyDirectoryFiles(path("a"), path("b"), {}, true));
    QVERIFY(!service().copyDirectoryFile(path("a"), path("c"), {}, true));
    QVERIFY(!service().copyDirectoryFile(path("a/f"), path("c/d"), {}, true));
    QCOMPARE(open(), before);
    QVERIFY(m_tree->exists("b/" + QString("s/").repeated(99) + "f"));
}

QTEST_GUILESS_MAIN(tst_Copies)
#include "tst_copies.moc"
