// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "files/FileManagerTest.h"
#include "support/Capture.h"
#include "support/Unprivileged.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTextCodec>
#include <QtCore/QTranslator>
#include <QtCore/QWeakPointer>
#include <QtTest/QTest>

#include <csignal>
#include <memory>
#include <thread>
#include <vector>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using FileManagerTest::errorLine;
using FileManagerTest::service;
using TestSupport::Capture;
using TestSupport::Unprivileged;

namespace {

QString warningLine(const char *operation, const QString &text)
{
    return "W [warning][" + QString::fromLatin1(operation) + "] " + text;
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be opened");
}

void makeFile(const QString &path, const QByteArray &content = "content")
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
}

/// Translates the two texts of the class that can be translated.
class Shouting : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char *context, const char *source, const char * /*disambiguation*/,
                      int /*n*/) const override
    {
        return qstrcmp(context, "ZeFileManager") == 0 ? QString::fromUtf8(source).toUpper()
                                                      : QString();
    }
};

/// A regular file that opens and gives an error as soon as it is read.
const QString unreadable = QStringLiteral("/proc/self/mem");

} // namespace

class tst_ZeFileManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void creationFromManyThreads();
    void metaObjectAddsNothing();
    void weakPointersTrackTheObject();
    void destructorLogs();
    void lastError();
    void lastErrorFromThreads();
    void md5OfText_data();
    void md5OfText();
    void md5OfBytes();
    void md5OfFile_data();
    void md5OfFile();
    void md5OfMissingFile();
    void writeFile_data();
    void writeFile();
    void writeFileFailures_data();
    void writeFileFailures();
    void writeFileOnFullDisk();
    void writeFileKeepsLinkAndMode();
    void jsonToVariant_data();
    void jsonToVariant();
    void jsonFailures_data();
    void jsonFailures();
    void jsonNumbersAreDoubles();
    void jsonNullIsInvalid();
    void jsonOf64MiB();
    void readJsonFile();
    void readJsonFileThatIsNone_data();
    void readJsonFileThatIsNone();
    void readJsonFileThatCannotBeOpened();
    void writeJsonFile_data();
    void writeJsonFile();
    void writeJsonFileOfNothing_data();
    void writeJsonFileOfNothing();
    void writeJsonFileThatCannotBeOpened();
    void writeJsonFileOnFullDisk_data();
    void writeJsonFileOnFullDisk();
    void writeJsonTextsAreTranslatable();
    void removeDirOrFile_data();
    void removeDirOrFile();
    void removeDirOrFileOfShortNames();
    void removeDirOrFileMissing_data();
    void removeDirOrFileMissing();
    void removeDirOrFileDenied();
    void removeDirOrFileLinks_data();
    void removeDirOrFileLinks();
    void hasExecutePermission();
    void truncateFile_data();
    void truncateFile();
    void truncateFileFailures();
    void truncateFileInTheLocalEncoding();
    void truncateFileThatIsLarge();
    void truncateFileOnAFullDisk();
    void successKeepsTheLastError();

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    void closeDirectory() { QVERIFY(::chmod(qPrintable(m_dir->path()), 0555) == 0); }

    std::unique_ptr<QTemporaryDir> m_dir;
    std::unique_ptr<Capture> m_capture;
};

void tst_ZeFileManager::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    QVERIFY(::chmod(qPrintable(m_dir->path()), 0777) == 0);
    m_capture = std::make_unique<Capture>();
}

void tst_ZeFileManager::cleanup()
{
    m_capture.reset();
    ::chmod(qPrintable(m_dir->path()), 0777);
    m_dir.reset();
}

void tst_ZeFileManager::creationFromManyThreads()
{
    QVERIFY(ZeFileManager::instance.isNull());
    std::vector<ZeFileManager *> seen(8, nullptr);
    std::vector<std::thread> threads;
    for (ZeFileManager *&object : seen)
        threads.emplace_back([&object] { object = ZeFileManager::init().data(); });
    for (std::thread &thread : threads)
        thread.join();
    for (const ZeFileManager *object : seen)
        QCOMPARE(object, ZeFileManager::instance.data());
    QCOMPARE(&ZeFileManager::init(), &ZeFileManager::instance);
    QCOMPARE(service().parent(), nullptr);
    QVERIFY(m_capture->lines().isEmpty());
}

void tst_ZeFileManager::metaObjectAddsNothing()
{
    const QMetaObject &meta = ZeFileManager::staticMetaObject;
    QCOMPARE(meta.className(), "ZeFileManager");
    QCOMPARE(meta.methodCount(), QObject::staticMetaObject.methodCount());
    QCOMPARE(meta.propertyCount(), QObject::staticMetaObject.propertyCount());
    QCOMPARE(meta.enumeratorCount(), QObject::staticMetaObject.enumeratorCount());
    static_assert(sizeof(ZeFileManager) == sizeof(QObject), "no fields of its own");
}

void tst_ZeFileManager::weakPointersTrackTheObject()
{
    const QWeakPointer<ZeFileManager> weak = ZeFileManager::init();
    QCOMPARE(weak.toStrongRef().data(), &service());
}

void tst_ZeFileManager::destructorLogs()
{
    QObject parent;
    delete new ZeFileManager(&parent);
    QCOMPARE(m_capture->lines(), QStringList{"D [debug][~ZeFileManager]"});
}

void tst_ZeFileManager::lastError()
{
    for (const QString &text : {QStringLiteral("text"), QStringLiteral("%1\nmore"), QString("")}) {
        ZeFileManager::setLastError(text);
        QCOMPARE(ZeFileManager::getLastError(), text);
        QCOMPARE(ZeFileManager::_lastError, text);
        QCOMPARE(m_capture->take(), QStringList{errorLine(text)});
    }
    ZeFileManager::setLastError("kept");
    ZeFileManager::setLastError(ZeFileManager::_lastError);
    QCOMPARE(ZeFileManager::getLastError(), QStringLiteral("kept"));
}

void tst_ZeFileManager::lastErrorFromThreads()
{
    const QStringList texts{QString(100, 'a'), QString(200, 'b'), QString(300, 'c'),
                            QString(400, 'd')};
    std::vector<std::thread> threads;
    for (const QString &text : texts) {
        threads.emplace_back([&texts, text] {
            for (int i = 0; i < 300; ++i) {
                ZeFileManager::setLastError(text);
                if (!texts.contains(ZeFileManager::getLastError()))
                    qCritical("torn");
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QVERIFY(texts.contains(ZeFileManager::getLastError()));
    QVERIFY(!m_capture->lines().contains("C torn"));
    QCOMPARE(m_capture->lines().size(), 1200);
}

void tst_ZeFileManager::md5OfText_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("digest");
    QTest::newRow("empty") << ""
                           << "d41d8cd98f00b204e9800998ecf8427e";
    QTest::newRow("null") << QString() << "d41d8cd98f00b204e9800998ecf8427e";
    QTest::newRow("abc") << "abc"
                         << "900150983cd24fb0d6963f7d28e17f72";
    QTest::newRow("question mark") << "?"
                                   << "d1457b72c3fb323a2671125aef3eab5d";
    QTest::newRow("beyond Latin-1 is a question mark")
        << QStringLiteral("中") << "d1457b72c3fb323a2671125aef3eab5d";
    // One byte, not the two of UTF-8.
    QTest::newRow("Latin-1")
        << QStringLiteral("é")
        << QString::fromLatin1(QCryptographicHash::hash("\xE9", QCryptographicHash::Md5).toHex());
}

void tst_ZeFileManager::md5OfText()
{
    QFETCH(QString, text);
    QFETCH(QString, digest);
    QCOMPARE(service().Md5Encryption(text), digest);
    QVERIFY(m_capture->lines().isEmpty());
}

void tst_ZeFileManager::md5OfBytes()
{
    QCOMPARE(service().Md5Encryption(QByteArray()),
             QByteArray::fromHex("d41d8cd98f00b204e9800998ecf8427e"));
    QCOMPARE(service().Md5Encryption(QByteArray("abc")),
             QByteArray::fromHex("900150983cd24fb0d6963f7d28e17f72"));
    QVERIFY(service().Md5Encryption(QByteArray("a\0b", 3))
            != service().Md5Encryption(QByteArray("a")));
}

void tst_ZeFileManager::md5OfFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("short") << QByteArray("abc");
    QTest::newRow("NUL and high bytes") << QByteArray("\0\xFF\n", 3);
    QTest::newRow("several blocks and a bit") << QByteArray(3 * 256 * 1024 + 17, 'm');
    QTest::newRow("exactly two blocks") << QByteArray(2 * 256 * 1024, 'm');
}

void tst_ZeFileManager::md5OfFile()
{
    QFETCH(QByteArray, content);
    makeFile(path("file"), content);
    QCOMPARE(service().Md5File(path("file")),
             QCryptographicHash::hash(content, QCryptographicHash::Md5));
}

void tst_ZeFileManager::md5OfMissingFile()
{
    ZeFileManager::setLastError("before");
    m_capture->take();
    QCOMPARE(service().Md5File(path("missing")), QByteArray());
    QCOMPARE(service().Md5File(m_dir->path()), QByteArray());
    QCOMPARE(service().Md5File(QString()), QByteArray());
    QCOMPARE(service().Md5File(unreadable), QByteArray());
    QCOMPARE(ZeFileManager::getLastError(), QStringLiteral("before"));
}

void tst_ZeFileManager::writeFile_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("new") << QByteArray() << QByteArray("data\n");
    QTest::newRow("shorter than before") << QByteArray("long content") << QByteArray("x");
    QTest::newRow("empty") << QByteArray("content") << QByteArray();
    QTest::newRow("binary") << QByteArray() << QByteArray("\0\r\n\xFF", 4);
    QTest::newRow("4 MiB") << QByteArray() << QByteArray(4 * 1024 * 1024, 'w');
}

void tst_ZeFileManager::writeFile()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, data);
    if (!before.isEmpty())
        makeFile(path("file"), before);
    QVERIFY(service().writeFile(path("file"), data));
    QCOMPARE(contentOf(path("file")), data);
    QVERIFY(m_capture->lines().isEmpty());
}

void tst_ZeFileManager::writeFileFailures_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("reason");
    QTest::newRow("directory") << "dir"
                               << "Is a directory";
    QTest::newRow("missing directory") << "no/file"
                                       << "No such file or directory";
    QTest::newRow("read-only file") << "read-only"
                                    << "Permission denied";
    QTest::newRow("name too long") << QString(300, 'n') << "File name too long";
}

void tst_ZeFileManager::writeFileFailures()
{
    QFETCH(QString, name);
    QFETCH(QString, reason);
    QVERIFY(QDir(m_dir->path()).mkdir("dir"));
    makeFile(path("read-only"));
    QVERIFY(::chmod(qPrintable(path("read-only")), 0444) == 0);
    {
        const Unprivileged user;
        QVERIFY(!service().writeFile(path(name), "data"));
    }
    QCOMPARE(ZeFileManager::getLastError(), path(name) + reason); // nothing between
    QCOMPARE(m_capture->lines(), QStringList{errorLine(path(name) + reason)});
    QCOMPARE(contentOf(path("read-only")), QByteArray("content"));
}

void tst_ZeFileManager::writeFileOnFullDisk()
{
    ZeFileManager::setLastError("before");
    m_capture->take();
    QVERIFY(service().writeFile("/dev/full", "data")); // the write is not examined
    QVERIFY(service().writeFile("/dev/full", QByteArray(1024 * 1024, 'x')));
    QCOMPARE(ZeFileManager::getLastError(), QStringLiteral("before"));
}

void tst_ZeFileManager::writeFileKeepsLinkAndMode()
{
    makeFile(path("target"));
    QVERIFY(::chmod(qPrintable(path("target")), 0640) == 0);
    QVERIFY(QFile::link(path("target"), path("link")));
    QVERIFY(service().writeFile(path("link"), "new"));
    QVERIFY(QFileInfo(path("link")).isSymLink());
    QCOMPARE(contentOf(path("target")), QByteArray("new"));
    struct stat status = {};
    QCOMPARE(::stat(qPrintable(path("target")), &status), 0);
    QCOMPARE(status.st_mode & 0777U, 0640U);
}

void tst_ZeFileManager::jsonToVariant_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QVariant>("tree");
    QTest::newRow("number") << QByteArray("{\"a\":1}") << QVariant(QVariantMap{{"a", 1.0}});
    QTest::newRow("list") << QByteArray("[1, \"x\", true, 2.5]")
                          << QVariant(QVariantList{1.0, "x", true, 2.5});
    QTest::newRow("nested")
        << QByteArray("{\"b\":{\"c\":[{\"d\":-7}]},\"a\":[]}")
        << QVariant(QVariantMap{
               {"a", QVariantList{}},
               {"b", QVariantMap{{"c", QVariantList{QVariant(QVariantMap{{"d", -7.0}})}}}}});
    QTest::newRow("Chinese") << QByteArray("{\"型号\":\"控制器\"}")
                             << QVariant(QVariantMap{{"型号", "控制器"}});
    QTest::newRow("escapes") << QByteArray("[\"\\u0000\\n\\\"\"]")
                             << QVariant(QVariantList{QString::fromLatin1("\0\n\"", 3)});
    QTest::newRow("depth 500") << QByteArray(500, '[') + "1" + QByteArray(500, ']') << QVariant();
}

void tst_ZeFileManager::jsonToVariant()
{
    QFETCH(QByteArray, json);
    QFETCH(QVariant, tree);
    if (!tree.isValid()) {
        tree = 1.0;
        for (int i = 0; i < 500; ++i)
            tree = QVariantList{tree};
    }
    const QVariant result = service().jsonToVariant(json);
    QCOMPARE(result, tree);
    QCOMPARE(result.userType(), tree.userType());
    QVERIFY(m_capture->lines().isEmpty());
}

void tst_ZeFileManager::jsonFailures_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("error");
    QTest::addColumn<bool>("isShown");
    const QString empty = QStringLiteral("jsonDocument.isEmpty()");
    QTest::newRow("empty object") << QByteArray("{}") << empty << false;
    QTest::newRow("empty list") << QByteArray("[]") << empty << false;
    QTest::newRow("empty object, blanks") << QByteArray(" { \n } ") << empty << false;
    const auto parserText = [](const QByteArray &json) {
        QJsonParseError error{};
        QJsonDocument::fromJson(json, &error);
        return error.errorString();
    };
    const auto addRow = [&parserText](const char *name, const QByteArray &json, bool isShown) {
        QTest::newRow(name) << json << parserText(json) << isShown;
    };
    addRow("nothing", QByteArray(), true);
    addRow("text", "not json", true);
    addRow("scalar", "5", true);
    addRow("cut off", "{\"a\":", true);
    addRow("rest behind", "{\"a\":1} x", true);
    addRow("substitution marks", "%1 %2", true);
    addRow("NUL inside", QByteArray("{\0}", 3), true);
    addRow("invalid UTF-8", "[\"\xFF\xFE\"]", true);
    addRow("1023 bytes", QByteArray(1023, 'x'), true);
    addRow("1024 bytes", QByteArray(1024, 'x'), false);
    addRow("a million levels", QByteArray(1000000, '['), false);
    addRow("depth 5000", QByteArray(5000, '['), false);
}

void tst_ZeFileManager::jsonFailures()
{
    QFETCH(QByteArray, json);
    QFETCH(QString, error);
    QFETCH(bool, isShown);
    QVERIFY(!service().jsonToVariant(json).isValid());
    QCOMPARE(ZeFileManager::getLastError(), error);
    const QString shown =
        isShown ? " json: " + QString::fromUtf8(json.constData(), json.size()) : QString();
    QCOMPARE(m_capture->lines(),
             (QStringList{warningLine("jsonToVariant", error + shown), errorLine(error)}));
}

void tst_ZeFileManager::jsonNumbersAreDoubles()
{
    const QVariantMap map =
        service()
            .jsonToVariant(
                "{\"i\":1000000,\"big\":9007199254740993,\"n\":-5,\"deep\":[[{\"x\":3}]],"
                "\"huge\":123456789012345678901234567890}")
            .toMap();
    for (const char *key : {"i", "big", "n", "huge"})
        QCOMPARE(QMetaType::Type(map.value(key).userType()), QMetaType::Double);
    QCOMPARE(map.value("i").toString(), QStringLiteral("1e+06"));
    QCOMPARE(map.value("big").toDouble(), 9007199254740992.0);
    const QVariant deep = map.value("deep").toList().first().toList().first().toMap().value("x");
    QCOMPARE(QMetaType::Type(deep.userType()), QMetaType::Double);
}

void tst_ZeFileManager::jsonNullIsInvalid()
{
    const QVariantMap map =
        service().jsonToVariant("{\"a\":null,\"b\":[null,{\"c\":null}]}").toMap();
    QVERIFY(map.contains("a"));
    QVERIFY(!map.value("a").isValid());
    const QVariantList list = map.value("b").toList();
    QVERIFY(!list.at(0).isValid());
    QVERIFY(!list.at(1).toMap().value("c").isValid());
    QVERIFY(list.at(1).toMap().contains("c"));
}

void tst_ZeFileManager::jsonOf64MiB()
{
    const QByteArray item(64 * 1024 - 3, 'j');
    QByteArray json("[0");
    while (json.size() < 64 * 1024 * 1024)
        json += ",\"" + item + '"';
    json += ']';
    const QVariantList list = service().jsonToVariant(json).toList();
    QCOMPARE(list.size(), 1 + (64 * 1024 * 1024 + 64 * 1024 - 1) / (64 * 1024));
    QCOMPARE(list.last().toString().size(), item.size());
}

void tst_ZeFileManager::readJsonFile()
{
    makeFile(path("file"), "{\"a\":[1]}");
    QVERIFY(QFile::link(path("file"), path("link")));
    const QVariant tree = QVariantMap{{"a", QVariantList{1.0}}};
    QCOMPARE(service().readJsonFile(path("file")), tree);
    QCOMPARE(service().readJsonFile(path("link")), tree);
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_dir->path()));
    const QVariant relative = service().readJsonFile("file");
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(relative, tree);
    QVERIFY(m_capture->lines().isEmpty());
}

void tst_ZeFileManager::readJsonFileThatIsNone_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("directory") << "";
    QTest::newRow("missing") << "missing";
    QTest::newRow("FIFO") << "fifo";
    QTest::newRow("dangling link") << "dangling";
}

void tst_ZeFileManager::readJsonFileThatIsNone()
{
    QFETCH(QString, name);
    QCOMPARE(::mkfifo(qPrintable(path("fifo")), 0600), 0);
    QVERIFY(QFile::link(path("nowhere"), path("dangling")));
    const QString file = name.isEmpty() ? m_dir->path() : path(name);
    QVERIFY(!service().readJsonFile(file).isValid());
    QCOMPARE(ZeFileManager::getLastError(), "Not file: " + file);
    QCOMPARE(m_capture->lines(), QStringList{errorLine("Not file: " + file)});
    m_capture->take();
    QVERIFY(!service().readJsonFile(QString()).isValid());
    QCOMPARE(ZeFileManager::getLastError(), QStringLiteral("Not file: "));
}

void tst_ZeFileManager::readJsonFileThatCannotBeOpened()
{
    makeFile(path("empty"), "");
    QVERIFY(!service().readJsonFile(path("empty")).isValid());
    const QString error = ZeFileManager::getLastError();
    QCOMPARE(m_capture->take(),
             (QStringList{warningLine("jsonToVariant", error + " json: "), errorLine(error)}));

    makeFile(path("secret"), "{\"a\":1}");
    QVERIFY(::chmod(qPrintable(path("secret")), 0000) == 0);
    {
        const Unprivileged user;
        QVERIFY(!service().readJsonFile(path("secret")).isValid());
    }
    QCOMPARE(ZeFileManager::getLastError(), error); // as for empty text
}

void tst_ZeFileManager::writeJsonFile_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("indented");
    QTest::addColumn<QByteArray>("compact");
    QTest::newRow("map") << QVariant(QVariantMap{{"b", "x"}, {"a", true}})
                         << QByteArray("{\n    \"a\": true,\n    \"b\": \"x\"\n}\n")
                         << QByteArray("{\"a\":true,\"b\":\"x\"}");
    QTest::newRow("list") << QVariant(QVariantList{1, "x"})
                          << QByteArray("[\n    1,\n    \"x\"\n]\n") << QByteArray("[1,\"x\"]");
    QTest::newRow("string list") << QVariant(QStringList{"a", "b"})
                                 << QByteArray("[\n    \"a\",\n    \"b\"\n]\n")
                                 << QByteArray("[\"a\",\"b\"]");
    QTest::newRow("JSON bytes") << QVariant(QByteArray(" { \"k\" : [ 1 , 2 ] } "))
                                << QByteArray("{\n    \"k\": [\n        1,\n        2\n    ]\n}\n")
                                << QByteArray("{\"k\":[1,2]}");
    QTest::newRow("marks and Chinese")
        << QVariant(QVariantMap{{"%1", "型号"}}) << QByteArray("{\n    \"%1\": \"型号\"\n}\n")
        << QByteArray("{\"%1\":\"型号\"}");
}

void tst_ZeFileManager::writeJsonFile()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, indented);
    QFETCH(QByteArray, compact);
    makeFile(path("file"), QByteArray(5000, 'o'));
    QVERIFY(service().writeJsonFile(path("file"), value, QJsonDocument::Indented));
    QCOMPARE(contentOf(path("file")), indented);
    QVERIFY(service().writeJsonFile(path("file"), value, QJsonDocument::Compact));
    QCOMPARE(contentOf(path("file")), compact);
    QVERIFY(service().writeJsonFile(path("new"), value, QJsonDocument::Compact));
    QCOMPARE(contentOf(path("new")), compact);
    QVERIFY(m_capture->lines().isEmpty());
}

void tst_ZeFileManager::writeJsonFileOfNothing_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("invalid") << QVariant();
    QTest::newRow("integer") << QVariant(5);
    QTest::newRow("text") << QVariant("{\"a\":1}");
    QTest::newRow("empty map") << QVariant(QVariantMap());
    QTest::newRow("empty list") << QVariant(QVariantList());
    QTest::newRow("empty string list") << QVariant(QStringList());
    QTest::newRow("bytes that are not JSON") << QVariant(QByteArray("nonsense"));
    QTest::newRow("empty bytes") << QVariant(QByteArray());
    QTest::newRow("bytes of an empty object") << QVariant(QByteArray("{}"));
}

void tst_ZeFileManager::writeJsonFileOfNothing()
{
    QFETCH(QVariant, value);
    makeFile(path("file"));
    for (const char *name : {"file", "new"}) {
        QVERIFY(!service().writeJsonFile(path(name), value, QJsonDocument::Compact));
        const QString text = "Json format error:" + path(name);
        QCOMPARE(ZeFileManager::getLastError(), text);
        QCOMPARE(m_capture->take(), QStringList{errorLine(text)});
    }
    QCOMPARE(contentOf(path("file")), QByteArray("content"));
    QVERIFY(!QFileInfo::exists(path("new")));
}

void tst_ZeFileManager::writeJsonFileThatCannotBeOpened()
{
    for (const QString &file : {m_dir->path(), path("no/file"), path("%1/x"), QString()}) {
        QVERIFY(!service().writeJsonFile(file, QVariantList{1}, QJsonDocument::Compact));
        const QString text = "Open file failed:" + file;
        QCOMPARE(ZeFileManager::getLastError(), text);
        QCOMPARE(m_capture->take().constLast(), errorLine(text));
    }
}

void tst_ZeFileManager::writeJsonFileOnFullDisk_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("within the buffer") << 10;
    QTest::newRow("beyond the buffer") << 1000000;
}

void tst_ZeFileManager::writeJsonFileOnFullDisk()
{
    QFETCH(int, size);
    const QVariant value = QVariantList{QString(size, 'x')};
    QVERIFY(!service().writeJsonFile("/dev/full", value, QJsonDocument::Compact));
    const QString text = QStringLiteral("/dev/full : No space left on device");
    QCOMPARE(ZeFileManager::getLastError(), text);
    QCOMPARE(
        m_capture->lines(),
        (QStringList{warningLine("writeJsonFile", "flush failed: /dev/full"), errorLine(text)}));
}

void tst_ZeFileManager::writeJsonTextsAreTranslatable()
{
    Shouting translator;
    QCoreApplication::installTranslator(&translator);
    service().writeJsonFile("/no/X%1", QVariantList{1}, QJsonDocument::Compact);
    const QString openText = ZeFileManager::getLastError();
    service().writeJsonFile("/no/x", QVariant(), QJsonDocument::Compact);
    const QString formatText = ZeFileManager::getLastError();
    service().removeDirOrFile("/no/x");
    const QString plainText = ZeFileManager::getLastError();
    QCoreApplication::removeTranslator(&translator);
    QCOMPARE(openText, QStringLiteral("OPEN FILE FAILED:/no/X%1"));
    QCOMPARE(formatText, QStringLiteral("JSON FORMAT ERROR:/no/x"));
    QCOMPARE(plainText, QStringLiteral("Not Found:/no/x"));
}

void tst_ZeFileManager::removeDirOrFile_data()
{
    QTest::addColumn<QString>("kind");
    for (const char *kind : {"file", "empty directory", "tree", "FIFO", "socket"})
        QTest::newRow(kind) << kind;
}

void tst_ZeFileManager::removeDirOrFile()
{
    QFETCH(QString, kind);
    const QString target = path("target");
    int socket = -1;
    if (kind == "file") {
        makeFile(target);
    } else if (kind == "FIFO") {
        QCOMPARE(::mkfifo(qPrintable(target), 0600), 0);
    } else if (kind == "socket") {
        socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, qPrintable(target), sizeof(address.sun_path));
        QCOMPARE(::bind(socket, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
    } else {
        QVERIFY(QDir().mkpath(target));
    }
    if (kind == "tree") {
        QVERIFY(QDir().mkpath(target + "/a/.b/c"));
        makeFile(target + "/a/.b/c/.hidden");
        makeFile(path("outside"));
        QVERIFY(QFile::link(m_dir->path(), target + "/up"));
    }
    QVERIFY(service().removeDirOrFile(target));
    QVERIFY(!QFileInfo::exists(target));
    QVERIFY(m_capture->lines().isEmpty());
    if (kind == "tree")
        QVERIFY(QFileInfo::exists(path("outside")));
    if (socket >= 0)
        ::close(socket);
}

/// Relative ones can be as short as what stands for a directory.
void tst_ZeFileManager::removeDirOrFileOfShortNames()
{
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(m_dir->path()));
    for (const char *name : {"a", "ab", "a/", "ab//", "a/.", "a/./"}) {
        const QString bare = QString(name).remove('/').remove('.');
        QVERIFY(QDir().mkpath(bare + "/below"));
        QVERIFY2(service().removeDirOrFile(name), name);
        QVERIFY2(!QFileInfo::exists(bare), name);
    }
    QVERIFY(QDir::setCurrent(before));
    QVERIFY(m_capture->lines().isEmpty());
}

void tst_ZeFileManager::removeDirOrFileMissing_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing") << "/no/such%1";
    QTest::newRow("empty") << "";
}

void tst_ZeFileManager::removeDirOrFileMissing()
{
    QFETCH(QString, name);
    QVERIFY(!service().removeDirOrFile(name));
    QCOMPARE(ZeFileManager::getLastError(), "Not Found:" + name);
    QCOMPARE(m_capture->lines(), QStringList{errorLine("Not Found:" + name)});
}

void tst_ZeFileManager::removeDirOrFileDenied()
{
    makeFile(path("file"));
    QVERIFY(QDir().mkpath(path("dir/sub")));
    closeDirectory();
    {
        const Unprivileged user;
        QVERIFY(!service().removeDirOrFile(path("file")));
        QCOMPARE(m_capture->take(), QStringList{errorLine("Remove failed: " + path("file"))});
        QVERIFY(!service().removeDirOrFile(path("dir")));
        QCOMPARE(m_capture->take(), QStringList{errorLine("Remove failed:" + path("dir"))});
    }
    QVERIFY(QFileInfo::exists(path("file")));
    QVERIFY(QFileInfo::exists(path("dir")));
}

void tst_ZeFileManager::removeDirOrFileLinks_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<bool>("isFound");
    QTest::newRow("to a file") << "file"
                               << "" << true;
    QTest::newRow("to a directory") << "dir"
                                    << "" << true;
    QTest::newRow("to a directory, slash behind") << "dir"
                                                  << "/" << true;
    QTest::newRow("to a directory, slashes and dot behind") << "dir"
                                                            << "/.//" << true;
    QTest::newRow("dangling") << "nowhere"
                              << "" << false;
}

void tst_ZeFileManager::removeDirOrFileLinks()
{
    QFETCH(QString, target);
    QFETCH(QString, suffix);
    QFETCH(bool, isFound);
    makeFile(path("file"));
    QVERIFY(QDir().mkpath(path("dir")));
    makeFile(path("dir/inside"));
    QVERIFY(QFile::link(path(target), path("link")));
    QCOMPARE(service().removeDirOrFile(path("link") + suffix), isFound);
    QCOMPARE(QFileInfo(path("link")).isSymLink(), !isFound);
    QVERIFY(QFileInfo::exists(path("file")));
    QVERIFY(QFileInfo::exists(path("dir/inside"))); // what it pointed at stays
    if (!isFound)
        QCOMPARE(ZeFileManager::getLastError(), "Not Found:" + path("link"));
}

void tst_ZeFileManager::hasExecutePermission()
{
    makeFile(path("plain"));
    makeFile(path("program"));
    QVERIFY(::chmod(qPrintable(path("program")), 0755) == 0);
    QVERIFY(service().hasExecutePermission(path("program")));
    QVERIFY(!service().hasExecutePermission(path("plain")));
    QVERIFY(m_capture->lines().isEmpty()); // no message for either
    QVERIFY(!service().hasExecutePermission(path("missing")));
    QCOMPARE(m_capture->take(), QStringList{errorLine("File does not exist:" + path("missing"))});
    QVERIFY(!service().hasExecutePermission(QString()));
    QCOMPARE(ZeFileManager::getLastError(), QStringLiteral("File does not exist:"));
}

void tst_ZeFileManager::truncateFile_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<int>("lines");
    QTest::addColumn<QByteArray>("expected");
    const QByteArray five("1\n2\n3\n4\n5\n");
    QTest::newRow("three of five") << five << 3 << QByteArray("3\n4\n5\n");
    QTest::newRow("as many as there are") << five << 5 << five;
    QTest::newRow("more than there are") << QByteArray("a\nb") << 3 << QByteArray("a\nb");
    QTest::newRow("none") << five << 0 << QByteArray();
    QTest::newRow("none of nothing") << QByteArray() << 0 << QByteArray();
    QTest::newRow("no final line feed") << QByteArray("1\n2\n3") << 2 << QByteArray("2\n3\n");
    QTest::newRow("CR LF") << QByteArray("1\r\n2\r\n3\r\n") << 2 << QByteArray("2\n3\n");
    QTest::newRow("CR LF untouched") << QByteArray("1\r\n2\r\n") << 2 << QByteArray("1\r\n2\r\n");
    QTest::newRow("empty lines count") << QByteArray("a\n\n\n") << 2 << QByteArray("\n\n");
    QTest::newRow("UTF-8") << QByteArray("甲\n乙\n丙\n") << 1 << QByteArray("丙\n");
    QTest::newRow("undecodable bytes")
        << QByteArray("1\n\xFF\n") << 1 << QByteArray("\xEF\xBF\xBD\n");
    QTest::newRow("undecodable and untouched")
        << QByteArray("1\n\xFF\n") << 2 << QByteArray("1\n\xFF\n");
    QTest::newRow("grows while it is cut") << QByteArray("x\n\xFF\xFF\xFF\xFF\xFF") << 1
                                           << QByteArray("\xEF\xBF\xBD").repeated(5) + "\n";
    QTest::newRow("largest count") << five << 2147483647 << five;
}

void tst_ZeFileManager::truncateFile()
{
    QFETCH(QByteArray, content);
    QFETCH(int, lines);
    QFETCH(QByteArray, expected);
    makeFile(path("file"), content);
    QVERIFY(service().truncateFile(path("file"), lines));
    QCOMPARE(contentOf(path("file")), expected);
    QVERIFY(m_capture->lines().isEmpty());
}

void tst_ZeFileManager::truncateFileFailures()
{
    makeFile(path("read-only"), "1\n2\n");
    QVERIFY(::chmod(qPrintable(path("read-only")), 0444) == 0);
    QCOMPARE(::mkfifo(qPrintable(path("fifo")), 0666), 0);
    for (const QString &file : {m_dir->path(), path("no/file"), path("read-only"), path("fifo"),
                                QStringLiteral("/dev/full")}) {
        const Unprivileged user;
        QVERIFY(!service().truncateFile(file, 1));
        QCOMPARE(m_capture->take().constLast(), errorLine("Failed to open file:" + file));
    }
    QCOMPARE(contentOf(path("read-only")), QByteArray("1\n2\n"));
    QVERIFY(!service().truncateFile(unreadable, 1));
    QCOMPARE(m_capture->take().constLast(), errorLine("Failed to open file:" + unreadable));

    // A negative count touches nothing: neither the file nor the last error.
    makeFile(path("file"), "1\n2\n");
    for (const QString &file : {path("file"), path("missing")})
        QVERIFY(!service().truncateFile(file, -1));
    QCOMPARE(contentOf(path("file")), QByteArray("1\n2\n"));
    QVERIFY(!QFileInfo::exists(path("missing")));
    QVERIFY(m_capture->lines().isEmpty());

    QVERIFY(service().truncateFile(path("missing"), 3)); // creates it
    QCOMPARE(contentOf(path("missing")), QByteArray());
}

void tst_ZeFileManager::truncateFileInTheLocalEncoding()
{
    QTextCodec *const before = QTextCodec::codecForLocale();
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("GB18030"));
    makeFile(path("file"), "1\n\xBF\xAA\xCA\xBC\n");
    const bool result = service().truncateFile(path("file"), 1);
    QTextCodec::setCodecForLocale(before);
    QVERIFY(result);
    QCOMPARE(contentOf(path("file")), QByteArray("\xBF\xAA\xCA\xBC\n"));
}

void tst_ZeFileManager::truncateFileThatIsLarge()
{
    QByteArray content;
    for (int i = 0; i < 200000; ++i)
        content += "line " + QByteArray::number(i) + '\n';
    makeFile(path("file"), content);
    QVERIFY(service().truncateFile(path("file"), 199999));
    QCOMPARE(contentOf(path("file")), content.mid(content.indexOf('\n') + 1));
}

/// The lines are at the start of the file before anything behind them goes.
void tst_ZeFileManager::truncateFileOnAFullDisk()
{
    const QByteArray content = "first\n" + QByteArray(100, 'x') + "\nlast\n";
    makeFile(path("file"), content);
    rlimit before = {};
    QCOMPARE(::getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 0;
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &none), 0);
    const bool result = service().truncateFile(path("file"), 1);
    QCOMPARE(::setrlimit(RLIMIT_FSIZE, &before), 0);
    std::signal(SIGXFSZ, previous);
    QVERIFY(result); // callers rely on true for a file that opened
    QCOMPARE(contentOf(path("file")), content);
}

void tst_ZeFileManager::successKeepsTheLastError()
{
    ZeFileManager::setLastError("before");
    QVERIFY(service().writeFile(path("file"), "[1]"));
    QVERIFY(service().readJsonFile(path("file")).isValid());
    QVERIFY(service().writeJsonFile(path("file"), QVariantList{1}, QJsonDocument::Compact));
    QVERIFY(service().truncateFile(path("file"), 1));
    QVERIFY(service().removeDirOrFile(path("file")));
    QCOMPARE(ZeFileManager::getLastError(), QStringLiteral("before"));
}

QTEST_GUILESS_MAIN(tst_ZeFileManager)
#include "tst_zefilemanager.moc"
