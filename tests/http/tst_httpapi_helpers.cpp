// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "http/HttpApi.h"
#include "support/Capture.h"
#include "support/Unprivileged.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonParseError>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <limits>

#include <sys/stat.h>

using TestSupport::Capture;
using TestSupport::Unprivileged;

namespace {

QString parserText(const QByteArray &data)
{
    QJsonParseError error{};
    QJsonDocument::fromJson(data, &error);
    return error.errorString();
}

/// What getJsonVariant() logs for one failure.
QStringList jsonLines(const QString &detail, const QString &text)
{
    return {QStringLiteral("W [warning][getJsonVariant] [ %1 ]").arg(detail),
            QStringLiteral("D !!!!Error:  \"%1\"").arg(text)};
}

/// What removeDirWithContent() logs for one failure.
QStringList removalLines(const QString &text)
{
    return {QStringLiteral("D !!!!Error:  \"%1\"").arg(text),
            QStringLiteral("W [warning][removeDirWithContent] [ %1 ]").arg(text)};
}

QStringList removalLines(const QStringList &texts)
{
    QStringList lines;
    for (const QString &text : texts)
        lines += removalLines(text);
    return lines;
}

/// A directory for one test; the current directory is another one meanwhile.
class Scratch
{
public:
    Scratch()
        : m_previous(QDir::currentPath())
        , m_path(QFileInfo(m_dir.path()).canonicalFilePath())
    {
        QDir(m_path).mkdir(QStringLiteral("current"));
        QDir(m_path).mkdir(QStringLiteral("x"));
        QDir::setCurrent(m_path + QLatin1String("/current"));
    }
    ~Scratch() { QDir::setCurrent(m_previous); }
    Q_DISABLE_COPY(Scratch)

    QString path(const QString &name) const { return m_path + QLatin1Char('/') + name; }
    QString current() const { return path(QStringLiteral("current")); }

    /// For tests that give up root's rights.
    void letOthersIn() const { QFile::setPermissions(m_path, QFileDevice::Permissions(0x7755)); }

    void write(const QString &name, const QByteArray &content = QByteArray("x")) const
    {
        QDir().mkpath(QFileInfo(path(name)).path());
        QFile file(path(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
            qFatal("cannot write a test file");
    }

    /// What is left below "x", by name; directories end with a slash.
    QStringList left() const
    {
        QStringList names;
        collect(path(QStringLiteral("x")), QString(), &names);
        names.sort();
        return names;
    }

private:
    static void collect(const QString &directory, const QString &prefix, QStringList *names)
    {
        const QFileInfoList entries = QDir(directory).entryInfoList(
            QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        for (const QFileInfo &entry : entries) {
            const bool isDir = entry.isDir() && !entry.isSymLink();
            names->append(prefix + entry.fileName()
                          + (isDir ? QLatin1String("/") : QLatin1String()));
            if (isDir)
                collect(entry.filePath(), prefix + entry.fileName() + QLatin1Char('/'), names);
        }
    }

    QTemporaryDir m_dir;
    QString m_previous;
    QString m_path;
};

} // namespace

class tst_HttpApiHelpers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void jsonTrees_data();
    void jsonTrees();
    void jsonNumbersAreDoubles();
    void jsonNull();
    void jsonFailures_data();
    void jsonFailures();
    void jsonSuccessKeepsTheLastError();
    void jsonFiles_data();
    void jsonFiles();
    void jsonFileNotReadable();
    void jsonBytes_data();
    void jsonBytes();
    void jsonRoundTrip();
    void fileNames_data();
    void fileNames();
    void removeKeepsWhatIsExcluded();
    void removeExclusions_data();
    void removeExclusions();
    void removeOrderOfMessages();
    void removeRelativePath_data();
    void removeRelativePath();
    void removeStaysWhereItBegan();
    void removeHiddenFiles();
    void removeLinks();
    void removeRegularFile();
    void removeMissing_data();
    void removeMissing();
    void removeGoesOnAfterFailures();
    void removeManyFiles();
    void remake_data();
    void remake();
    void remakeEmptiesAndKeeps();
    void remakeWhereNothingCanBeMade();
};

void tst_HttpApiHelpers::jsonTrees_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QVariant>("tree");
    const auto key = [](const char *name, const QVariant &value) {
        return QVariant(QVariantMap{{QString::fromUtf8(name), value}});
    };
    QTest::newRow("object") << QByteArray("{\"a\": 1}") << key("a", 1.0);
    QTest::newRow("array") << QByteArray("[1, 2]") << QVariant(QVariantList{1.0, 2.0});
    QTest::newRow("true") << QByteArray("{\"a\": true}") << key("a", true);
    QTest::newRow("string") << QByteArray("{\"a\": \"1\"}") << key("a", QStringLiteral("1"));
    QTest::newRow("null") << QByteArray("[null]") << QVariant(QVariantList{QVariant()});
    QTest::newRow("Chinese") << QByteArray("{\"\xe5\x90\x8d\": \"\xe5\x80\xbc\"}")
                             << key("\xe5\x90\x8d", QString::fromUtf8("\xe5\x80\xbc"));
    QTest::newRow("nested") << QByteArray("{\"a\": [{\"b\": [0]}]}")
                            << key("a", QVariantList{key("b", QVariantList{0.0})});
    QTest::newRow("empty within") << QByteArray("[{}, []]")
                                  << QVariant(QVariantList{QVariantMap(), QVariantList()});
    QTest::newRow("blanks around") << QByteArray(" \r\n[1]\n") << QVariant(QVariantList{1.0});
}

void tst_HttpApiHelpers::jsonTrees()
{
    QFETCH(QByteArray, data);
    QFETCH(QVariant, tree);
    Capture capture;
    HttpApi http;
    const QVariant result = http.getJsonVariant(data);
    QCOMPARE(result, tree);
    QCOMPARE(result.userType(), tree.userType());
    QVERIFY(http.lastError().isEmpty());
    QVERIFY(capture.lines().isEmpty());
}

void tst_HttpApiHelpers::jsonNumbersAreDoubles()
{
    HttpApi http;
    const QVariant tree =
        http.getJsonVariant(QByteArray("{\"a\": [1, {\"b\": 9007199254740993}]}"));
    const QVariantList list = tree.toMap().value(QStringLiteral("a")).toList();
    QCOMPARE(list.at(0).userType(), int(QMetaType::Double));
    const QVariant deep = list.at(1).toMap().value(QStringLiteral("b"));
    QCOMPARE(deep.userType(), int(QMetaType::Double));
}

void tst_HttpApiHelpers::jsonNull()
{
    HttpApi http;
    const QVariantMap map = http.getJsonVariant(QByteArray("{\"a\": null}")).toMap();
    QCOMPARE(map.size(), 1);
    QVERIFY(!map.first().isValid());
}

void tst_HttpApiHelpers::jsonFailures_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<bool>("isEmptyDocument");
    QTest::newRow("empty object") << QByteArray("{}") << true;
    QTest::newRow("empty array") << QByteArray("[ ]") << true;
    QTest::newRow("no bytes") << QByteArray() << false;
    QTest::newRow("blanks") << QByteArray("  \n") << false;
    QTest::newRow("number") << QByteArray("5") << false;
    QTest::newRow("string") << QByteArray("\"a\"") << false;
    QTest::newRow("null") << QByteArray("null") << false;
    QTest::newRow("cut") << QByteArray("{\"a\": ") << false;
    QTest::newRow("rubbish behind") << QByteArray("[1] x") << false;
    QTest::newRow("no quotes") << QByteArray("{a: 1}") << false;
    QTest::newRow("substitution marks") << QByteArray("%1 %2") << false;
    QTest::newRow("bad UTF-8") << QByteArray("[\"\xff\xfe\"]") << false;
    QTest::newRow("too deep") << QByteArray(100000, '[') << false;
    QTest::newRow("web page") << QByteArray("<html></html>") << false;
}

void tst_HttpApiHelpers::jsonFailures()
{
    QFETCH(QByteArray, data);
    QFETCH(bool, isEmptyDocument);
    Capture capture;
    HttpApi http;
    QVERIFY(!http.getJsonVariant(data).isValid());
    const QString text =
        isEmptyDocument ? QStringLiteral("jsonDocument.isEmpty()") : parserText(data);
    QVERIFY(!text.isEmpty());
    QCOMPARE(http.lastError(), text);
    QCOMPARE(capture.lines(),
             jsonLines(isEmptyDocument ? QStringLiteral("[jsonDocument.isEmpty()]") : text, text));
}

void tst_HttpApiHelpers::jsonSuccessKeepsTheLastError()
{
    HttpApi http;
    const Capture capture;
    http.setLastError(QStringLiteral("earlier"));
    http.setReq(7);
    http.setIsSuccess(true);
    QVERIFY(http.getJsonVariant(QByteArray("[1]")).isValid());
    QCOMPARE(http.lastError(), QStringLiteral("earlier"));
    QCOMPARE(http.getReq(), QVariant(7));
    QVERIFY(http.getIsSuccess());
}

void tst_HttpApiHelpers::jsonFiles_data()
{
    QTest::addColumn<QString>("path"); // relative to the current directory
    QTest::addColumn<QVariant>("tree");
    QTest::addColumn<bool>("isFile");
    const QVariant one = QVariantList{1.0};
    QTest::newRow("file") << "一 1%.json" << one << true;
    QTest::newRow("link to a file") << "link" << one << true;
    QTest::newRow("empty file") << "empty" << QVariant() << true;
    QTest::newRow("bad file") << "bad" << QVariant() << true;
    QTest::newRow("missing") << "missing%1" << QVariant() << false;
    QTest::newRow("directory") << "." << QVariant() << false;
    QTest::newRow("FIFO") << "fifo" << QVariant() << false;
    QTest::newRow("dangling link") << "dangling" << QVariant() << false;
    QTest::newRow("no path") << "" << QVariant() << false;
}

void tst_HttpApiHelpers::jsonFiles()
{
    QFETCH(QString, path);
    QFETCH(QVariant, tree);
    QFETCH(bool, isFile);
    const Scratch scratch;
    scratch.write(QStringLiteral("current/一 1%.json"), "[1]");
    scratch.write(QStringLiteral("current/empty"), QByteArray());
    scratch.write(QStringLiteral("current/bad"), "{");
    QFile::link(QStringLiteral("一 1%.json"), scratch.path(QStringLiteral("current/link")));
    QFile::link(QStringLiteral("nothing"), scratch.path(QStringLiteral("current/dangling")));
    QCOMPARE(
        ::mkfifo(QFile::encodeName(scratch.path(QStringLiteral("current/fifo"))).constData(), 0600),
        0);

    Capture capture;
    HttpApi http;
    QCOMPARE(http.getJsonVariant(path), tree);
    QStringList lines;
    if (!isFile)
        lines.append(QStringLiteral("D !!!!Error:  \"Not file: ") + path + QLatin1Char('"'));
    if (!tree.isValid()) {
        const QString text = parserText(path == QLatin1String("bad") ? "{" : "");
        QCOMPARE(http.lastError(), text);
        lines += jsonLines(text, text);
    }
    QCOMPARE(capture.lines(), lines);
    QCOMPARE(QDir::currentPath(), scratch.current());
}

void tst_HttpApiHelpers::jsonFileNotReadable()
{
    const Scratch scratch;
    scratch.letOthersIn();
    const QString path = scratch.path(QStringLiteral("x/secret.json"));
    scratch.write(QStringLiteral("x/secret.json"), "[1]");
    QVERIFY(QFile::setPermissions(path, QFileDevice::WriteOwner));
    Capture capture;
    HttpApi http;
    const Unprivileged user;
    QVERIFY(!http.getJsonVariant(path).isValid());
    const QString text = parserText(QByteArray());
    QCOMPARE(http.lastError(), text);
    QCOMPARE(capture.lines(), jsonLines(text, text)); // no word about the file
}

void tst_HttpApiHelpers::jsonBytes_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("map") << QVariant(
        QVariantMap{{QStringLiteral("b"), 1}, {QStringLiteral("a"), QStringLiteral("值")}})
                         << QByteArray("{\n    \"a\": \"\xe5\x80\xbc\",\n    \"b\": 1\n}\n");
    QTest::newRow("hash") << QVariant(QVariantHash{{QStringLiteral("a"), true}})
                          << QByteArray("{\n    \"a\": true\n}\n");
    QTest::newRow("list") << QVariant(QVariantList{1, 2.5, QVariant()})
                          << QByteArray("[\n    1,\n    2.5,\n    null\n]\n");
    QTest::newRow("string list") << QVariant(QStringList{QStringLiteral("x")})
                                 << QByteArray("[\n    \"x\"\n]\n");
    QTest::newRow("empty map") << QVariant(QVariantMap()) << QByteArray("{\n}\n");
    QTest::newRow("empty list") << QVariant(QVariantList()) << QByteArray("[\n]\n");
    QTest::newRow("invalid") << QVariant() << QByteArray();
    QTest::newRow("number") << QVariant(5) << QByteArray();
    QTest::newRow("text") << QVariant(QStringLiteral("[1]")) << QByteArray();
    QTest::newRow("bytes of a document are no tree") << QVariant(QByteArray("[1]")) << QByteArray();
}

void tst_HttpApiHelpers::jsonBytes()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, bytes);
    Capture capture;
    HttpApi http;
    QCOMPARE(http.getJsonBytes(value), bytes);
    QVERIFY(http.lastError().isEmpty());
    QVERIFY(capture.lines().isEmpty());
}

void tst_HttpApiHelpers::jsonRoundTrip()
{
    HttpApi http;
    const QVariant tree(QVariantMap{
        {QStringLiteral("list"), QVariantList{1.0, QStringLiteral("二"), false, QVariant()}},
        {QStringLiteral("map"), QVariantMap{{QStringLiteral("x"), -2.5}}}});
    QCOMPARE(http.getJsonVariant(http.getJsonBytes(tree)), tree);
}

void tst_HttpApiHelpers::fileNames_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("name");
    QTest::newRow("path") << "srv/d/file.bin"
                          << "file.bin";
    QTest::newRow("address") << "http://srv/d/file.bin"
                             << "file.bin";
    QTest::newRow("bare name") << "file.bin"
                               << "";
    QTest::newRow("empty") << ""
                           << "";
    QTest::newRow("backslashes") << "d\\f.txt"
                                 << "f.txt";
    QTest::newRow("mixed") << "a/b\\c.txt"
                           << "c.txt";
    QTest::newRow("slash at the end") << "srv/d/"
                                      << "";
    QTest::newRow("backslash at the end") << "srv/d\\"
                                          << "";
    QTest::newRow("host only") << "http://srv"
                               << "srv";
    QTest::newRow("query stays") << "d/b.zip?x=1"
                                 << "b.zip?x=1";
    QTest::newRow("slash in the query") << "d/b.zip?x=1/2"
                                        << "2";
    QTest::newRow("fragment stays") << "d/b.zip#part"
                                    << "b.zip#part";
    QTest::newRow("leading slash") << "/x"
                                   << "x";
    QTest::newRow("encoded") << "d/a%20b%2Fc"
                             << "a%20b%2Fc";
    QTest::newRow("Chinese") << QStringLiteral("d/固件 1.bin") << QStringLiteral("固件 1.bin");
    QTest::newRow("slash only") << "/"
                                << "";
}

void tst_HttpApiHelpers::fileNames()
{
    QFETCH(QString, url);
    QFETCH(QString, name);
    Capture capture;
    HttpApi http;
    QCOMPARE(http.getFileNameByUrl(url), name);
    QVERIFY(http.lastError().isEmpty());
    QVERIFY(capture.lines().isEmpty());
}

void tst_HttpApiHelpers::removeKeepsWhatIsExcluded()
{
    const Scratch scratch;
    scratch.write(QStringLiteral("x/keep.txt"));
    scratch.write(QStringLiteral("x/sub/a.txt"));
    const QString x = scratch.path(QStringLiteral("x"));
    Capture capture;
    HttpApi http;
    QVERIFY(http.removeDirWithContent(x, {QStringLiteral("keep.txt")}));
    QCOMPARE(scratch.left(), (QStringList{QStringLiteral("keep.txt"), QStringLiteral("sub/")}));
    const QStringList texts{QStringLiteral("remove %1/sub dir failed").arg(x),
                            QStringLiteral("remove %1 dir failed").arg(x)};
    QCOMPARE(capture.lines(), removalLines(texts));
    QCOMPARE(http.lastError(), texts.last());
    QCOMPARE(QDir::currentPath(), QCoreApplication::applicationDirPath());
}

void tst_HttpApiHelpers::removeExclusions_data()
{
    QTest::addColumn<QStringList>("excluded");
    QTest::addColumn<QStringList>("left");
    const auto list = [](std::initializer_list<const char *> names) {
        QStringList result;
        for (const char *name : names)
            result.append(QString::fromLatin1(name));
        return result;
    };
    QTest::newRow("nothing") << list({}) << list({"a/", "a/b/", "a/b/a/"});
    QTest::newRow("a file at every depth")
        << list({"f"}) << list({"a/", "a/b/", "a/b/a/", "a/b/f", "a/f", "f"});
    QTest::newRow("a directory with all that is in it")
        << list({"b"}) << list({"a/", "a/b/", "a/b/a/", "a/b/a/g", "a/b/f", "a/b/g"});
    QTest::newRow("a directory at the top")
        << list({"a"}) << list({"a/", "a/b/", "a/b/a/", "a/b/a/g", "a/b/f", "a/b/g", "a/f", "a/g"});
    QTest::newRow("case matters") << list({"F", "G"}) << list({"a/", "a/b/", "a/b/a/"});
    QTest::newRow("whole names only")
        << list({"a/f", "*", "", "x"}) << list({"a/", "a/b/", "a/b/a/"});
}

void tst_HttpApiHelpers::removeExclusions()
{
    QFETCH(QStringList, excluded);
    QFETCH(QStringList, left);
    const Scratch scratch;
    for (const char *name : {"f", "g", "a/f", "a/g", "a/b/f", "a/b/g", "a/b/a/g"})
        scratch.write(QLatin1String("x/") + QString::fromLatin1(name));
    const Capture capture;
    HttpApi http;
    QVERIFY(http.removeDirWithContent(scratch.path(QStringLiteral("x")), excluded));
    QCOMPARE(scratch.left(), left);
}

void tst_HttpApiHelpers::removeOrderOfMessages()
{
    const Scratch scratch;
    for (const char *name : {"b/1/f", "a/2/f", "a/1/f", "B/f"})
        scratch.write(QLatin1String("x/") + QString::fromLatin1(name));
    const QString x = scratch.path(QStringLiteral("x"));
    Capture capture;
    HttpApi http;
    QVERIFY(http.removeDirWithContent(x, {}));
    // Listed level by level in order of name, asked for in reverse.
    QStringList texts;
    for (const char *name : {"/b/1", "/a/2", "/a/1", "/b", "/a", "/B", ""})
        texts.append(QStringLiteral("remove %1%2 dir failed").arg(x, QString::fromLatin1(name)));
    QCOMPARE(capture.lines(), removalLines(texts));
}

void tst_HttpApiHelpers::removeRelativePath_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("relative") << "../x";
    QTest::newRow("slash at the end") << "../x/";
    QTest::newRow("detour") << "./../current/../x";
}

void tst_HttpApiHelpers::removeRelativePath()
{
    QFETCH(QString, path);
    const Scratch scratch;
    scratch.write(QStringLiteral("x/f"));
    scratch.write(QStringLiteral("current/stays"));
    Capture capture;
    HttpApi http;
    QVERIFY(http.removeDirWithContent(path, {}));
    QCOMPARE(scratch.left(), QStringList());
    QVERIFY(QFile::exists(scratch.path(QStringLiteral("current/stays"))));
    QVERIFY(QFileInfo(scratch.path(QStringLiteral("x"))).isDir());
    QCOMPARE(capture.lines().size(), 2);
    QCOMPARE(QDir::currentPath(), QCoreApplication::applicationDirPath());
}

/// The log's writer changes the current directory whenever it prunes.
void tst_HttpApiHelpers::removeStaysWhereItBegan()
{
    const Scratch scratch;
    scratch.letOthersIn();
    for (const char *name :
         {"current/x/a/f", "current/x/b/f", "elsewhere/x/a/f", "elsewhere/x/b/f"})
        scratch.write(QString::fromLatin1(name));
    const QString locked = scratch.path(QStringLiteral("current/x/a"));
    QFile::setPermissions(locked, QFileDevice::Permissions(0x5555));
    for (const char *name : {"current/x/b", "elsewhere/x/a", "elsewhere/x/b"})
        QFile::setPermissions(scratch.path(QString::fromLatin1(name)),
                              QFileDevice::Permissions(0x7777));
    static QString elsewhere;
    static QStringList texts;
    elsewhere = scratch.path(QStringLiteral("elsewhere"));
    texts.clear();
    // The first message comes while the tree is walked.
    const QtMessageHandler previous =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &text) {
            texts.append(text);
            QDir::setCurrent(elsewhere);
        });
    HttpApi http;
    {
        const Unprivileged user;
        http.removeDirWithContent(QStringLiteral("x"), {});
    }
    qInstallMessageHandler(previous);
    QFile::setPermissions(locked, QFileDevice::Permissions(0x7777));
    QVERIFY(!texts.isEmpty());
    QVERIFY2(texts.first().contains(QLatin1String("remove x/a/f file failed")),
             qPrintable(texts.first()));
    QVERIFY(QFile::exists(scratch.path(QStringLiteral("current/x/a/f"))));
    QVERIFY(!QFile::exists(scratch.path(QStringLiteral("current/x/b/f"))));
    QVERIFY(QFile::exists(scratch.path(QStringLiteral("elsewhere/x/a/f"))));
    QVERIFY(QFile::exists(scratch.path(QStringLiteral("elsewhere/x/b/f"))));
}

void tst_HttpApiHelpers::removeHiddenFiles()
{
    const Scratch scratch;
    for (const char *name : {".f", ".d/.f", "名 1%.txt", "%1"})
        scratch.write(QLatin1String("x/") + QString::fromUtf8(name));
    const Capture capture;
    HttpApi http;
    QVERIFY(http.removeDirWithContent(scratch.path(QStringLiteral("x")), {}));
    QCOMPARE(scratch.left(), QStringList{QStringLiteral(".d/")});
}

// A link to a directory is asked for like one, but what it points at stays.
void tst_HttpApiHelpers::removeLinks()
{
    const Scratch scratch;
    scratch.write(QStringLiteral("current/target/f"));
    scratch.write(QStringLiteral("current/file"));
    const QString x = scratch.path(QStringLiteral("x"));
    QFile::link(scratch.path(QStringLiteral("current/target")), x + QLatin1String("/dir-link"));
    QFile::link(scratch.path(QStringLiteral("current/file")), x + QLatin1String("/file-link"));
    QFile::link(x, x + QLatin1String("/loop"));
    Capture capture;
    HttpApi http;
    QVERIFY(http.removeDirWithContent(x, {}));
    QCOMPARE(scratch.left(), (QStringList{QStringLiteral("dir-link"), QStringLiteral("loop")}));
    QVERIFY(QFile::exists(scratch.path(QStringLiteral("current/target/f"))));
    QVERIFY(QFile::exists(scratch.path(QStringLiteral("current/file"))));
    QCOMPARE(capture.lines(),
             removalLines(QStringList{QStringLiteral("remove %1/loop dir failed").arg(x),
                                      QStringLiteral("remove %1/dir-link dir failed").arg(x),
                                      QStringLiteral("remove %1 dir failed").arg(x)}));
}

void tst_HttpApiHelpers::removeRegularFile()
{
    const Scratch scratch;
    scratch.write(QStringLiteral("x/f"));
    const QString path = scratch.path(QStringLiteral("x/f"));
    Capture capture;
    HttpApi http;
    QVERIFY(http.removeDirWithContent(path, {})); // it exists
    QVERIFY(QFile::exists(path));
    QCOMPARE(capture.lines(), removalLines(QStringLiteral("remove %1 dir failed").arg(path)));
}

void tst_HttpApiHelpers::removeMissing_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("absolute") << "/no/such/directory";
    QTest::newRow("relative") << "missing";
    QTest::newRow("substitution mark") << "%1";
    QTest::newRow("empty") << "";
    QTest::newRow("null") << QString();
}

void tst_HttpApiHelpers::removeMissing()
{
    QFETCH(QString, path);
    const Scratch scratch;
    scratch.write(QStringLiteral("current/stays"));
    Capture capture;
    HttpApi http;
    QVERIFY(!http.removeDirWithContent(path, {}));
    // The message names the current directory, not the path.
    const QString text = QStringLiteral("%1 dir is not exists").arg(scratch.current());
    QCOMPARE(http.lastError(), text);
    QCOMPARE(capture.lines(), removalLines(text));
    QVERIFY(QFile::exists(scratch.path(QStringLiteral("current/stays"))));
    QCOMPARE(QDir::currentPath(), QCoreApplication::applicationDirPath());
}

void tst_HttpApiHelpers::removeGoesOnAfterFailures()
{
    const Scratch scratch;
    scratch.write(QStringLiteral("x/locked/f"));
    scratch.write(QStringLiteral("x/open/f"));
    const QString x = scratch.path(QStringLiteral("x"));
    const QString locked = x + QLatin1String("/locked");
    QFile::setPermissions(x + QLatin1String("/open"), QFileDevice::Permissions(0x7777));
    scratch.letOthersIn();
    QVERIFY(QFile::setPermissions(locked, QFileDevice::Permissions(0x5555)));
    Capture capture;
    HttpApi http;
    bool ok = false;
    {
        const Unprivileged user;
        ok = http.removeDirWithContent(x, {});
    }
    QFile::setPermissions(locked, QFileDevice::Permissions(0x7777));
    QVERIFY(ok);
    QCOMPARE(scratch.left(),
             (QStringList{QStringLiteral("locked/"), QStringLiteral("locked/f"),
                          QStringLiteral("open/")}));
    QCOMPARE(capture.lines(),
             removalLines(QStringList{QStringLiteral("remove %1/f file failed").arg(locked),
                                      QStringLiteral("remove %1/open dir failed").arg(x),
                                      QStringLiteral("remove %1 dir failed").arg(locked),
                                      QStringLiteral("remove %1 dir failed").arg(x)}));
    QCOMPARE(http.lastError(), QStringLiteral("remove %1 dir failed").arg(x));
}

void tst_HttpApiHelpers::removeManyFiles()
{
    const Scratch scratch;
    for (int i = 0; i < 2000; ++i)
        scratch.write(QStringLiteral("x/%1/%2").arg(i % 20).arg(i));
    const Capture capture;
    HttpApi http;
    QVERIFY(http.removeDirWithContent(scratch.path(QStringLiteral("x")), {}));
    QCOMPARE(scratch.left().size(), 20);
}

void tst_HttpApiHelpers::remake_data()
{
    QTest::addColumn<QString>("path"); // below the temporary directory
    QTest::addColumn<bool>("relative");
    QTest::newRow("existing") << "x" << false;
    QTest::newRow("missing") << "new" << false;
    QTest::newRow("missing parents") << "new/一/two" << false;
    QTest::newRow("existing, relative to the application") << "x" << true;
    QTest::newRow("missing, relative to the application") << "new/a" << true;
}

void tst_HttpApiHelpers::remake()
{
    QFETCH(QString, path);
    QFETCH(bool, relative);
    const Scratch scratch;
    scratch.write(QStringLiteral("x/f"));
    scratch.write(QStringLiteral("x/d/f"));
    const QString absolute = scratch.path(path);
    const bool existed = QFileInfo::exists(absolute);
    const QString applicationDir = QCoreApplication::applicationDirPath();
    Capture capture;
    HttpApi http;
    http.remakePath(relative ? QDir(applicationDir).relativeFilePath(absolute) : absolute);
    QVERIFY(QFileInfo(absolute).isDir());
    QCOMPARE(QDir::currentPath(), applicationDir);
    if (existed) {
        QCOMPARE(scratch.left(), QStringList{QStringLiteral("d/")});
        QCOMPARE(capture.lines().size(), 4);
        QVERIFY(http.lastError().endsWith(QLatin1String(" dir failed")));
    } else {
        QVERIFY(QDir(absolute).isEmpty());
        QCOMPARE(capture.lines(),
                 removalLines(QStringLiteral("%1 dir is not exists").arg(applicationDir)));
    }
}

void tst_HttpApiHelpers::remakeEmptiesAndKeeps()
{
    const Scratch scratch;
    const QString x = scratch.path(QStringLiteral("x"));
    const Capture capture;
    HttpApi http;
    http.remakePath(x);
    http.remakePath(x);
    QVERIFY(QFileInfo(x).isDir());
    QVERIFY(QFileInfo::exists(scratch.current()));
}

void tst_HttpApiHelpers::remakeWhereNothingCanBeMade()
{
    const Scratch scratch;
    scratch.write(QStringLiteral("x/f"));
    Capture capture;
    HttpApi http;
    http.remakePath(scratch.path(QStringLiteral("x/f/below a file")));
    QVERIFY(QFile::exists(scratch.path(QStringLiteral("x/f"))));
    // Only that it did not exist before is reported.
    QCOMPARE(
        capture.lines(),
        removalLines(
            QStringLiteral("%1 dir is not exists").arg(QCoreApplication::applicationDirPath())));
    QCOMPARE(QDir::currentPath(), QCoreApplication::applicationDirPath());
}

QTEST_GUILESS_MAIN(tst_HttpApiHelpers)
#include "tst_httpapi_helpers.moc"
