// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/Capture.h"
#include "support/Unprivileged.h"
#include "util/OwnDirectory.h"
#include "util/PublicClass.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <memory>
#include <vector>

using TestSupport::Capture;
using TestSupport::Unprivileged;

namespace {

constexpr int limitMs = 60000;
constexpr int recordsPerWriter = 100;
constexpr int recordSize = 100 * 1024;

bool write(const QString &path, const QByteArray &contents)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
}

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be opened");
}

QString parseError(const QByteArray &data)
{
    QJsonParseError error{};
    QJsonDocument::fromJson(data, &error);
    return error.errorString();
}

QString lastErrorFor(const QString &text)
{
    return QStringLiteral("Error:PublicClass::") + text;
}

QString home(const QString &name = QString())
{
    return QCoreApplication::applicationDirPath() + QLatin1Char('/') + name;
}

/// What a second process does: appends long records to the history.
int appendRecords(QChar letter)
{
    PublicClass &service = *PublicClass::init();
    const QString text(recordSize, letter);
    for (int i = 0; i < recordsPerWriter; ++i) {
        if (!service.writeActionHistory(text))
            return 1;
    }
    return 0;
}

/// A line of the 100 MiB file.
int lineSize(int line)
{
    return int(line * 7919LL % 200001);
}

} // namespace

class tst_DataFiles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void isJson_data();
    void isJson();
    void isJsonOfBytesWithoutNul();
    void getJsonVariant_data();
    void getJsonVariant();
    void getJsonVariantEmpty_data();
    void getJsonVariantEmpty();
    void getJsonVariantOfFile();
    void getJsonVariantOfNoFile_data();
    void getJsonVariantOfNoFile();
    void getJsonVariantUnreadable();
    void getValueFromJson_data();
    void getValueFromJson();
    void qVariantToByteArray_data();
    void qVariantToByteArray();
    void writeJsonFile_data();
    void writeJsonFile();
    void writeJsonFileRefused_data();
    void writeJsonFileRefused();
    void writeJsonFileCannotOpen();
    void writeJsonFileInPlace();
    void writeJsonFileOnFullDisk();
    void iniRoundTrip_data();
    void iniRoundTrip();
    void iniReadsWhatOthersWrote();
    void iniPaths();
    void iniLinkStays();
    void readTxt_data();
    void readTxt();
    void readTxtOfNoFile();
    void readTxtHuge();
    void readKeyComparison_data();
    void readKeyComparison();
    void readKeyComparisonOfNoFile();
    void historyRecords_data();
    void historyRecords();
    void historyAppends();
    void historyWithoutDirectory();
    void historyUnwritable();
    void historyLinkStays();
    void historyOnFullDisk();
    void historyOfTwoProcesses();

private:
    QString path(const QString &name = QStringLiteral("file")) const
    {
        return m_dir->filePath(name);
    }

    QSharedPointer<PublicClass> m_service = PublicClass::init();
    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_history = home(QStringLiteral("appInfo/backupFile/ActionHistory.txt"));
};

void tst_DataFiles::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    QFile::setPermissions(m_dir->path(), QFile::Permissions(0x7755));
    QDir::setCurrent(home());
    QDir(home(QStringLiteral("appInfo"))).removeRecursively();
    QVERIFY(QDir().mkpath(home(QStringLiteral("appInfo/backupFile"))));
    m_service->setLastError(QStringLiteral("before"));
}

void tst_DataFiles::isJson_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("error"); // "parse": the parser's
    QTest::newRow("object") << QByteArray(R"({"a":1})") << "";
    QTest::newRow("array") << QByteArray("[1]") << "";
    QTest::newRow("array with nothing in it but null") << QByteArray("[null]") << "";
    QTest::newRow("object in array") << QByteArray("[{}]") << "";
    QTest::newRow("white space") << QByteArray(" \n[ 0 ]\t") << "";
    QTest::newRow("empty object") << QByteArray("{}") << "json:{} is empty";
    QTest::newRow("empty array") << QByteArray(" [ ]\n") << "json: [ ]\n is empty";
    QTest::newRow("no bytes") << QByteArray() << "parse";
    QTest::newRow("scalar") << QByteArray("5") << "parse";
    QTest::newRow("no JSON") << QByteArray("{a:1}") << "parse";
    QTest::newRow("garbage after it") << QByteArray("{} x") << "parse";
    QTest::newRow("cut off") << QByteArray("[1,") << "parse";
    QTest::newRow("NUL after it") << QByteArray("{}\0", 3) << "parse";
}

void tst_DataFiles::isJson()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, error);
    if (error == QLatin1String("parse"))
        error = QStringLiteral("isJson:") + parseError(data);
    Capture capture;
    QCOMPARE(m_service->isJson(data), error.isEmpty());
    QCOMPARE(m_service->getLastError(),
             lastErrorFor(error.isEmpty() ? QStringLiteral("before") : error));
    QCOMPARE(capture.lines(), QStringList());
}

void tst_DataFiles::isJsonOfBytesWithoutNul()
{
    const std::vector<char> bytes{'[', ']'};
    QVERIFY(!m_service->isJson(QByteArray::fromRawData(bytes.data(), int(bytes.size()))));
    QCOMPARE(m_service->getLastError(), lastErrorFor(QStringLiteral("json:[] is empty")));
}

void tst_DataFiles::getJsonVariant_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QVariant>("expected");
    QTest::newRow("object") << QByteArray(R"({"a":1,"b":"x"})")
                            << QVariant(QVariantMap{{"a", 1.0}, {"b", "x"}});
    QTest::newRow("array") << QByteArray(R"([1,true,"中"])")
                           << QVariant(QVariantList{1.0, true, QStringLiteral("中")});
    QTest::newRow("nested numbers")
        << QByteArray(R"({"a":[{"b":7}]})")
        << QVariant(QVariantMap{{"a", QVariantList{QVariantMap{{"b", 7.0}}}}});
    QTest::newRow("great number") << QByteArray("[9007199254740993]")
                                  << QVariant(QVariantList{9007199254740992.0});
    QTest::newRow("null") << QByteArray(R"({"a":null})")
                          << QVariant(QVariantMap{{"a", QVariant()}});
    QTest::newRow("empty ones within")
        << QByteArray(R"([{},[]])") << QVariant(QVariantList{QVariantMap(), QVariantList()});
}

void tst_DataFiles::getJsonVariant()
{
    QFETCH(QByteArray, data);
    QFETCH(QVariant, expected);
    Capture capture;
    const QVariant result = m_service->getJsonVariant(data);
    QCOMPARE(result.userType(), expected.userType());
    QCOMPARE(result, expected);
    // QVariant compares numbers of different types as equal; text tells them apart.
    QString shown;
    QDebug(&shown) << result;
    QVERIFY2(!shown.contains(QLatin1String("QVariant(qlonglong")), qPrintable(shown));
    QVERIFY2(!shown.contains(QLatin1String("nullptr")), qPrintable(shown));
    QCOMPARE(capture.lines(), QStringList());
}

void tst_DataFiles::getJsonVariantEmpty_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("no bytes") << QByteArray();
    QTest::newRow("no JSON") << QByteArray("x");
    QTest::newRow("scalar") << QByteArray("1");
    QTest::newRow("empty object") << QByteArray("{}");
    QTest::newRow("empty array") << QByteArray("[]");
}

void tst_DataFiles::getJsonVariantEmpty()
{
    QFETCH(QByteArray, data);
    const bool isDocument = !QJsonDocument::fromJson(data).isNull();
    const QString reason = isDocument
        ? QStringLiteral("[jsonDocument.isEmpty()]")
        : QStringLiteral("[ ") + parseError(data) + QStringLiteral(" ]");
    Capture capture;
    QVERIFY(!m_service->getJsonVariant(data).isValid());
    QCOMPARE(capture.take(), QStringList{QStringLiteral("W [warning][getJsonVariant] ") + reason});
    QCOMPARE(m_service->getValueFromJson(data), QString());
    QCOMPARE(capture.take(),
             QStringList{QStringLiteral("W [warning][getValueFromJson] ") + reason});
    QCOMPARE(m_service->getLastError(), lastErrorFor(QStringLiteral("before")));
}

void tst_DataFiles::getJsonVariantOfFile()
{
    const QVariant expected(QVariantMap{{"a", 1.0}});
    QVERIFY(write(path(), R"({"a":1})"));
    QVERIFY(QFile::link(path(), path(QStringLiteral("link"))));
    Capture capture;
    QCOMPARE(m_service->getJsonVariant(path()), expected);
    QCOMPARE(m_service->getJsonVariant(path(QStringLiteral("link"))), expected);
    QDir::setCurrent(m_dir->path());
    QCOMPARE(m_service->getJsonVariant(QStringLiteral("file")), expected);
    QCOMPARE(capture.lines(), QStringList());
}

void tst_DataFiles::getJsonVariantOfNoFile_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("missing") << "none";
    QTest::newRow("directory") << ".";
    QTest::newRow("dead link") << "dead";
    QTest::newRow("empty") << "";
}

void tst_DataFiles::getJsonVariantOfNoFile()
{
    QFETCH(QString, name);
    QVERIFY(QFile::link(path(QStringLiteral("none")), path(QStringLiteral("dead"))));
    QDir::setCurrent(m_dir->path());
    Capture capture;
    QVERIFY(!m_service->getJsonVariant(name).isValid());
    QCOMPARE(capture.lines(),
             (QStringList{QStringLiteral("W [warning][getJsonVariant] [ ") + name
                              + QStringLiteral(" is not a file]"),
                          QStringLiteral("W [warning][getJsonVariant] [ ") + parseError({})
                              + QStringLiteral(" ]")}));
}

void tst_DataFiles::getJsonVariantUnreadable()
{
    QVERIFY(write(path(), "[1]"));
    QVERIFY(QFile::setPermissions(path(), QFile::Permissions()));
    const Unprivileged unprivileged;
    Capture capture;
    QVERIFY(!m_service->getJsonVariant(path()).isValid());
    QCOMPARE(capture.lines(),
             QStringList{QStringLiteral("W [warning][getJsonVariant] [ ") + parseError({})
                         + QStringLiteral(" ]")});
    QCOMPARE(m_service->readTxt(path()), QStringList());
    QVERIFY(m_service->readKeyComparison(path()).isEmpty());
}

void tst_DataFiles::getValueFromJson_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("expected");
    QTest::newRow("one") << QByteArray(R"({"a":"1"})") << "1";
    QTest::newRow("last key wins") << QByteArray(R"({"a":"1","b":"2"})") << "2";
    QTest::newRow("greatest key, not last place") << QByteArray(R"({"b":"2","a":"1"})") << "2";
    QTest::newRow("lower case is greater") << QByteArray(R"({"a":"1","B":"2"})") << "1";
    QTest::newRow("longer key") << QByteArray(R"({"a":"1","aa":"2"})") << "2";
    QTest::newRow("text, not number order") << QByteArray(R"({"9":"1","10":"2"})") << "1";
    QTest::newRow("number") << QByteArray(R"({"a":3})") << "3";
    QTest::newRow("fraction") << QByteArray(R"({"a":0.5})") << "0.5";
    QTest::newRow("great number is a double") << QByteArray(R"({"a":1000000000000000})") << "1e+15";
    QTest::newRow("true") << QByteArray(R"({"a":true})") << "true";
    QTest::newRow("null") << QByteArray(R"({"a":"1","b":null})") << "";
    QTest::newRow("object") << QByteArray(R"({"a":"1","b":{"c":"2"}})") << "";
    QTest::newRow("array") << QByteArray(R"({"a":"1","b":["2"]})") << "";
    QTest::newRow("Chinese") << QByteArray(R"({"a":"1","键":"值"})") << QStringLiteral("值");
}

void tst_DataFiles::getValueFromJson()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, expected);
    Capture capture;
    QCOMPARE(m_service->getValueFromJson(data), expected);
    QCOMPARE(capture.take(), QStringList());
    QCOMPARE(m_service->getValueFromJson('[' + data + ']'), QString());
    QCOMPARE(capture.take(),
             QStringList{QStringLiteral("D [debug][getValueFromJson] [jsonDocument.isArray]")});
}

void tst_DataFiles::qVariantToByteArray_data()
{
    const QVariantMap map{{"a", 1}, {"b", QVariantList{true, QVariant()}}};
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("compact");
    QTest::addColumn<QByteArray>("indented");
    const auto same = [](const char *name, const QVariant &value, const QByteArray &bytes) {
        QTest::newRow(name) << value << bytes << bytes;
    };
    same("invalid", QVariant(), QByteArray());
    same("text", QStringLiteral("中"), QStringLiteral("中").toLocal8Bit());
    same("empty text", QLatin1String(""), QByteArray());
    same("null text", QString(), QByteArray());
    same("JSON text", QStringLiteral("{ }"), QByteArray("{ }"));
    same("bytes", QByteArray("\0\xff", 2), QByteArray("\0\xff", 2));
    same("null bytes", QByteArray(), QByteArray());
    same("integer", 5, QByteArray());
    same("double", 0.5, QByteArray());
    same("flag", true, QByteArray());
    same("text list", QStringList{"a"}, QByteArray());
    same("hash", QVariantHash{{"a", 1}}, QByteArray());
    same("date", QDate(2026, 1, 1), QByteArray());
    QTest::newRow("map") << QVariant(map) << QByteArray(R"({"a":1,"b":[true,null]})")
                         << QByteArray("{\n    \"a\": 1,\n    \"b\": [\n        true,\n        "
                                       "null\n    ]\n}\n");
    QTest::newRow("list") << QVariant(QVariantList{1, "x"}) << QByteArray(R"([1,"x"])")
                          << QByteArray("[\n    1,\n    \"x\"\n]\n");
    QTest::newRow("empty map") << QVariant(QVariantMap()) << QByteArray("{}")
                               << QByteArray("{\n}\n");
}

void tst_DataFiles::qVariantToByteArray()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, compact);
    QFETCH(QByteArray, indented);
    QCOMPARE(m_service->qVariantToByteArray(value, QJsonDocument::Compact), compact);
    QCOMPARE(m_service->qVariantToByteArray(value, QJsonDocument::Indented), indented);
}

void tst_DataFiles::writeJsonFile_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("compact");
    QTest::newRow("map") << QVariant(QVariantMap{{"b", 1}, {"a", QStringLiteral("中")}})
                         << QByteArray(R"({"a":"中","b":1})");
    QTest::newRow("list") << QVariant(QVariantList{1, 2.5}) << QByteArray("[1,2.5]");
    QTest::newRow("text list") << QVariant(QStringList{"x"}) << QByteArray(R"(["x"])");
    QTest::newRow("bytes of JSON")
        << QVariant(QByteArray(" { \"a\" : 1 } ")) << QByteArray(R"({"a":1})");
}

void tst_DataFiles::writeJsonFile()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, compact);
    QVERIFY(write(path(), QByteArray(1000, 'x'))); // longer than what follows
    Capture capture;
    QVERIFY(m_service->writeJsonFile(path(), value, QJsonDocument::Compact));
    QCOMPARE(read(path()), compact);
    QVERIFY(m_service->writeJsonFile(path(), value, QJsonDocument::Indented));
    QCOMPARE(read(path()), QJsonDocument::fromJson(compact).toJson());
    QCOMPARE(capture.lines(), QStringList());
    QCOMPARE(m_service->getLastError(), lastErrorFor(QStringLiteral("before")));
}

void tst_DataFiles::writeJsonFileRefused_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("invalid JSON") << QVariant(QByteArray("{a"));
    QTest::newRow("no bytes") << QVariant(QByteArray());
    QTest::newRow("empty object in bytes") << QVariant(QByteArray("{}"));
    QTest::newRow("empty array in bytes") << QVariant(QByteArray("[]"));
    QTest::newRow("empty map") << QVariant(QVariantMap());
    QTest::newRow("empty list") << QVariant(QVariantList());
    QTest::newRow("text of JSON") << QVariant(QStringLiteral("{\"a\":1}"));
    QTest::newRow("number") << QVariant(1);
    QTest::newRow("invalid") << QVariant();
}

void tst_DataFiles::writeJsonFileRefused()
{
    QFETCH(QVariant, value);
    QVERIFY(write(path(), "kept"));
    QVERIFY(!m_service->writeJsonFile(path(), value, QJsonDocument::Compact));
    QCOMPARE(m_service->getLastError(), lastErrorFor(QStringLiteral("json format is incorrect")));
    QCOMPARE(read(path()), QByteArray("kept"));
    QVERIFY(!m_service->writeJsonFile(path(QStringLiteral("new")), value, QJsonDocument::Compact));
    QVERIFY(!QFile::exists(path(QStringLiteral("new"))));
}

void tst_DataFiles::writeJsonFileCannotOpen()
{
    Capture capture;
    const QVariant value(QVariantList{1});
    const QStringList paths{path(QStringLiteral("none/file")), m_dir->path(), QString(),
                            path(QStringLiteral("none/%1"))};
    for (const QString &target : paths) {
        QVERIFY(!m_service->writeJsonFile(target, value, QJsonDocument::Compact));
        QCOMPARE(m_service->getLastError(),
                 lastErrorFor(QStringLiteral("Fail to open file:") + target));
    }
    QVERIFY(!QFile::exists(path(QStringLiteral("none"))));
    const QStringList lines = capture.lines();
    for (const QString &line : lines) // Qt's own, for the empty path
        QVERIFY2(!line.contains(QLatin1String("[warning]")), qPrintable(line));
}

void tst_DataFiles::writeJsonFileInPlace()
{
    const QString link = path(QStringLiteral("link"));
    const QString hardLink = path(QStringLiteral("hard"));
    QVERIFY(write(path(), "old"));
    const auto mode = QFile::Permissions(0x6604);
    QVERIFY(QFile::setPermissions(path(), mode));
    QVERIFY(QFile::link(path(), link));
    QCOMPARE(QProcess::execute(QStringLiteral("ln"), {path(), hardLink}), 0);
    QVERIFY(m_service->writeJsonFile(link, QVariantList{1}, QJsonDocument::Compact));
    QVERIFY(QFileInfo(link).isSymLink());
    QCOMPARE(read(path()), QByteArray("[1]"));
    QCOMPARE(read(hardLink), QByteArray("[1]"));
    QCOMPARE(QFile::permissions(path()), mode);
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files).size(), 3);
}

void tst_DataFiles::writeJsonFileOnFullDisk()
{
    QVERIFY(m_service->writeJsonFile(QStringLiteral("/dev/full"), QVariantList{1},
                                     QJsonDocument::Compact));
    QCOMPARE(m_service->getLastError(), lastErrorFor(QStringLiteral("before")));
}

void tst_DataFiles::iniRoundTrip_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("contents");
    QTest::newRow("text") << "key" << QVariant("x y") << QByteArray("[General]\nkey=x y\n");
    QTest::newRow("group") << "group/key" << QVariant("x") << QByteArray("[group]\nkey=x\n");
    QTest::newRow("Unicode") << "key" << QVariant(QStringLiteral("中文é"))
                             << QByteArray("[General]\nkey=\\x4e2d\\x6587\\xe9\n");
    QTest::newRow("Unicode key") << QStringLiteral("键") << QVariant("x")
                                 << QByteArray("[General]\n%U952E=x\n");
    QTest::newRow("text list") << "key" << QVariant(QStringList{"a", "b,c", ""})
                               << QByteArray("[General]\nkey=a, \"b,c\", \n");
    QTest::newRow("special characters")
        << "key" << QVariant("a;b=\"c\"\\n%1\n")
        << QByteArray("[General]\nkey=\"a;b=\\\"c\\\"\\\\n%1\\n\"\n");
    QTest::newRow("empty text") << "key" << QVariant("") << QByteArray("[General]\nkey=\n");
    QTest::newRow("bytes") << "key" << QVariant(QByteArray("\0\x01", 2))
                           << QByteArray("[General]\nkey=@ByteArray(\\0\\x1)\n");
}

void tst_DataFiles::iniRoundTrip()
{
    QFETCH(QString, key);
    QFETCH(QVariant, value);
    QFETCH(QByteArray, contents);
    const QString name = QStringLiteral("appInfo/round.ini");
    m_service->writeIni(name, key, value);
    QCOMPARE(read(home(name)), contents);
    QCOMPARE(m_service->readIni(name, key), value);
    QVERIFY(!m_service->readIni(name, QStringLiteral("other")).isValid());
    QCOMPARE(read(home(name)), contents);
}

void tst_DataFiles::iniReadsWhatOthersWrote()
{
    QVERIFY(write(path(), "; comment\r\nplain=1\r\n[net]\r\nhosts=a, b\r\nname=\"\\x4e2d\"\r\n"));
    QCOMPARE(m_service->readIni(path(), QStringLiteral("plain")), QVariant("1"));
    QCOMPARE(m_service->readIni(path(), QStringLiteral("net/hosts")),
             QVariant(QStringList{"a", "b"}));
    QCOMPARE(m_service->readIni(path(), QStringLiteral("net/name")),
             QVariant(QStringLiteral("中")));
    // Missing files are not made.
    QVERIFY(!m_service->readIni(path(QStringLiteral("none")), QStringLiteral("a")).isValid());
    QVERIFY(!QFile::exists(path(QStringLiteral("none"))));
}

void tst_DataFiles::iniPaths()
{
    const QString name = QStringLiteral("appInfo/paths.ini");
    const QString key = QStringLiteral("key");
    QDir::setCurrent(m_dir->path());
    m_service->writeIni(name, key, QStringLiteral("x"));
    QVERIFY(QFile::exists(home(name)));
    QVERIFY(!m_service->readIni(name, key).isValid());
    QDir::setCurrent(home());
    QCOMPARE(m_service->readIni(name, key), QVariant("x"));

    // Under the application directory in any case, and made with its directories.
    m_service->writeIni(QStringLiteral("/appInfo/new/root.ini"), key, QStringLiteral("y"));
    QCOMPARE(m_service->readIni(home(QStringLiteral("appInfo/new/root.ini")), key), QVariant("y"));
    m_service->writeIni(QStringLiteral("appInfo/%1.ini"), key, QStringLiteral("z"));
    QCOMPARE(m_service->readIni(QStringLiteral("appInfo/%1.ini"), key), QVariant("z"));
    QVERIFY(QDir(m_dir->path()).isEmpty());
}

void tst_DataFiles::iniLinkStays()
{
    const QString link = home(QStringLiteral("appInfo/link.ini"));
    QVERIFY(write(path(), "[General]\nold=1\n"));
    const auto mode = QFile::Permissions(0x6604);
    QVERIFY(QFile::setPermissions(path(), mode));
    QVERIFY(QFile::link(path(), link));
    m_service->writeIni(QStringLiteral("appInfo/link.ini"), QStringLiteral("new"), 2);
    QVERIFY(QFileInfo(link).isSymLink());
    QCOMPARE(read(path()), QByteArray("[General]\nnew=2\nold=1\n"));
    QCOMPARE(QFile::permissions(path()), mode);
}

void tst_DataFiles::readTxt_data()
{
    const QByteArray block(1024 * 1024, 'b'); // the file is read in pieces of this size
    const QString blockText = QString::fromLatin1(block);
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("empty") << QByteArray() << QStringList{};
    QTest::newRow("one line") << QByteArray("a\n") << QStringList{"a"};
    QTest::newRow("no final line feed") << QByteArray("a\nb") << QStringList{"a", "b"};
    QTest::newRow("CR LF") << QByteArray("a\r\nb\r\n") << QStringList{"a", "b"};
    QTest::newRow("mixed ends") << QByteArray("a\r\nb\nc\r\n") << QStringList{"a", "b", "c"};
    QTest::newRow("empty lines") << QByteArray("\n\r\n\na\n\n") << QStringList{"", "", "", "a", ""};
    QTest::newRow("lone CR stays") << QByteArray("a\rb\n\rc\n") << QStringList{"a\rb", "\rc"};
    QTest::newRow("CR CR LF") << QByteArray("a\r\r\n") << QStringList{"a\r"};
    QTest::newRow("final CR stays") << QByteArray("a\nb\r") << QStringList{"a", "b\r"};
    QTest::newRow("only CR") << QByteArray("\r") << QStringList{"\r"};
    QTest::newRow("up to NUL") << QByteArray("a\0b\nc\n", 6) << QStringList{"a", "c"};
    QTest::newRow("NUL first") << QByteArray("\0b\r\n", 4) << QStringList{""};
    QTest::newRow("NUL before CR LF") << QByteArray("a\0\r\nb", 5) << QStringList{"a", "b"};
    QTest::newRow("NUL in the last line") << QByteArray("a\nb\0c", 5) << QStringList{"a", "b"};
    QTest::newRow("CR before NUL") << QByteArray("a\r\0\n", 4) << QStringList{"a\r"};
    QTest::newRow("UTF-8") << QByteArray("中\né\r\n")
                           << QStringList{QStringLiteral("中"), QStringLiteral("é")};
    QTest::newRow("no UTF-8") << QByteArray("a\xff\n") << QStringList{QStringLiteral("a\uFFFD")};
    QTest::newRow("blanks stay") << QByteArray(" a\t\n") << QStringList{" a\t"};
    QTest::newRow("line of one piece") << block + "\nc" << QStringList{blockText, "c"};
    QTest::newRow("line feed ends a piece") << block.left(block.size() - 1) + "\nc"
                                            << QStringList{blockText.left(block.size() - 1), "c"};
    QTest::newRow("CR ends a piece") << block.left(block.size() - 1) + "\r\nc"
                                     << QStringList{blockText.left(block.size() - 1), "c"};
    QTest::newRow("character across pieces") << block.left(block.size() - 1)
            + "中\n" << QStringList{blockText.left(block.size() - 1) + QStringLiteral("中")};
    QTest::newRow("line of several pieces")
        << block + block + block + "\r\nc" << QStringList{blockText + blockText + blockText, "c"};
}

void tst_DataFiles::readTxt()
{
    QFETCH(QByteArray, contents);
    QFETCH(QStringList, lines);
    QVERIFY(write(path(), contents));
    QVERIFY(m_service->readTxt(path()) == lines); // QCOMPARE would show the megabytes
    QDir::setCurrent(m_dir->path());
    QVERIFY(m_service->readTxt(QStringLiteral("file")) == lines);
}

void tst_DataFiles::readTxtOfNoFile()
{
    Capture capture;
    QCOMPARE(m_service->readTxt(QString()), QStringList());
    QCOMPARE(m_service->readTxt(path(QStringLiteral("none"))), QStringList());
    QCOMPARE(m_service->readTxt(m_dir->path()), QStringList());
    QCOMPARE(capture.lines(), QStringList());
    QCOMPARE(m_service->getLastError(), lastErrorFor(QStringLiteral("before")));
}

void tst_DataFiles::readTxtHuge()
{
    constexpr qint64 size = 100 << 20;
    int count = 0;
    {
        QFile file(path());
        QVERIFY(file.open(QIODevice::WriteOnly));
        for (; file.pos() < size; ++count)
            file.write(QByteArray(lineSize(count), char('a' + count % 26))
                       + (count % 2 ? "\r\n" : "\n"));
    }
    const QStringList lines = m_service->readTxt(path());
    QCOMPARE(lines.size(), count);
    for (int i = 0; i < count; ++i) {
        const QString &line = lines.at(i);
        const QChar letter('a' + i % 26);
        QCOMPARE(line.size(), lineSize(i));
        QVERIFY(line.isEmpty() || (line.front() == letter && line.back() == letter));
    }
}

void tst_DataFiles::readKeyComparison_data()
{
    using Table = QMap<QString, QString>;
    QTest::addColumn<QByteArray>("contents");
    QTest::addColumn<Table>("expected");
    QTest::newRow("usual") << QByteArray(R"({"ShiftForge":{"x":"1","y":"2"},"x":"A","z":"C"})")
                           << Table{{"x", "A"}, {"y", ""}};
    QTest::newRow("values within do not count")
        << QByteArray(R"({"ShiftForge":{"x":{"x":[]}},"x":"A"})") << Table{{"x", "A"}};
    QTest::newRow("no text at the root") << QByteArray(
        R"({"ShiftForge":{"a":1,"b":1,"c":1,"d":1,"e":1},"a":1,"b":true,"c":null,"d":{},"e":["x"]})")
                                         << Table{{"a", ""},
                                                  {"b", ""},
                                                  {"c", ""},
                                                  {"d", ""},
                                                  {"e", ""}};
    QTest::newRow("itself") << QByteArray(R"({"ShiftForge":{"ShiftForge":"x"}})")
                            << Table{{"ShiftForge", ""}};
    QTest::newRow("empty key") << QByteArray(R"({"ShiftForge":{"":1},"":"A"})") << Table{{"", "A"}};
    QTest::newRow("Chinese") << QByteArray(R"({"ShiftForge":{"键":1},"键":"值"})")
                             << Table{{QStringLiteral("键"), QStringLiteral("值")}};
    QTest::newRow("no keys") << QByteArray(R"({"ShiftForge":{},"x":"A"})") << Table{};
    QTest::newRow("no table") << QByteArray(R"({"x":"A"})") << Table{};
    QTest::newRow("table in another case")
        << QByteArray(R"({"shiftforge":{"x":1},"x":"A"})") << Table{};
    QTest::newRow("table is text") << QByteArray(R"({"ShiftForge":"x","x":"A"})") << Table{};
    QTest::newRow("table is an array") << QByteArray(R"({"ShiftForge":["x"],"x":"A"})") << Table{};
    QTest::newRow("root is an array")
        << QByteArray(R"([{"ShiftForge":{"x":1},"x":"A"}])") << Table{};
    QTest::newRow("no JSON") << QByteArray("ShiftForge") << Table{};
    QTest::newRow("empty") << QByteArray() << Table{};
}

void tst_DataFiles::readKeyComparison()
{
    using Table = QMap<QString, QString>;
    QFETCH(QByteArray, contents);
    QFETCH(Table, expected);
    QVERIFY(write(path(), contents));
    Capture capture;
    QCOMPARE(m_service->readKeyComparison(path()), expected);
    QCOMPARE(capture.lines(), QStringList());
    QCOMPARE(m_service->getLastError(), lastErrorFor(QStringLiteral("before")));
}

void tst_DataFiles::readKeyComparisonOfNoFile()
{
    Capture capture;
    QVERIFY(m_service->readKeyComparison(path(QStringLiteral("none"))).isEmpty());
    QVERIFY(m_service->readKeyComparison(m_dir->path()).isEmpty());
    QCOMPARE(capture.lines(), QStringList());
}

void tst_DataFiles::historyRecords_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("text") << "saved the map";
    QTest::newRow("Chinese") << QStringLiteral("保存地图");
    QTest::newRow("surrogates") << QStringLiteral("\U0001F600");
    QTest::newRow("line ends and tabs") << "a\r\nb\n\tc";
    QTest::newRow("substitution marks") << "%1 %2 %L1";
    QTest::newRow("empty") << "";
    QTest::newRow("null") << QString();
    QTest::newRow("long") << QString(1000000, QLatin1Char('x'));
}

void tst_DataFiles::historyRecords()
{
    QFETCH(QString, text);
    const QString format = QStringLiteral("yyyy-MM-dd hh:mm:ss");
    Capture capture;
    const QString before = QDateTime::currentDateTime().toString(format);
    QVERIFY(m_service->writeActionHistory(text));
    const QString after = QDateTime::currentDateTime().toString(format);

    const QByteArray history = m_service->readAllActionHistory();
    QCOMPARE(history, read(m_history));
    const QString time = QString::fromLatin1(history.left(19));
    QVERIFY2(before <= time && time <= after, qPrintable(time));
    QVERIFY(history.mid(19) == '\t' + text.toUtf8() + "\r\n");
    QCOMPARE(capture.lines(), QStringList());
    QCOMPARE(m_service->getLastError(), lastErrorFor(QStringLiteral("before")));
}

void tst_DataFiles::historyAppends()
{
    QVERIFY(write(m_history, "earlier\r\n"));
    QDir::setCurrent(m_dir->path());
    QVERIFY(m_service->writeActionHistory(QStringLiteral("one")));
    QVERIFY(m_service->writeActionHistory(QStringLiteral("two")));
    const QString history = QString::fromUtf8(m_service->readAllActionHistory());
    static const QRegularExpression records(QStringLiteral(
        "\\Aearlier\r\n[-0-9]{10} [:0-9]{8}\tone\r\n[-0-9]{10} [:0-9]{8}\ttwo\r\n\\z"));
    QVERIFY2(records.match(history).hasMatch(), qPrintable(history));
    QCOMPARE(QDir::currentPath(), QDir(m_dir->path()).canonicalPath());
}

void tst_DataFiles::historyWithoutDirectory()
{
    QVERIFY(QDir(home(QStringLiteral("appInfo"))).removeRecursively());
    Capture capture;
    QVERIFY(!m_service->writeActionHistory(QStringLiteral("x")));
    QCOMPARE(m_service->getLastError(), lastErrorFor(QStringLiteral("No such file or directory")));
    QVERIFY(!QFile::exists(home(QStringLiteral("appInfo"))));
    QVERIFY(m_service->readAllActionHistory().isEmpty());
    QCOMPARE(capture.lines(), QStringList());
}

void tst_DataFiles::historyUnwritable()
{
    QVERIFY(write(m_history, "kept"));
    QVERIFY(QFile::setPermissions(m_history, QFile::Permissions()));
    {
        const Unprivileged unprivileged;
        QVERIFY(!m_service->writeActionHistory(QStringLiteral("x")));
        QVERIFY(m_service->readAllActionHistory().isEmpty());
    }
    QCOMPARE(m_service->getLastError(), lastErrorFor(QStringLiteral("Permission denied")));
    QVERIFY(QFile::setPermissions(m_history, QFile::Permissions(0x6600)));
    QCOMPARE(read(m_history), QByteArray("kept"));
}

void tst_DataFiles::historyLinkStays()
{
    QVERIFY(write(path(), ""));
    const auto mode = QFile::Permissions(0x6604);
    QVERIFY(QFile::setPermissions(path(), mode));
    QVERIFY(QFile::link(path(), m_history));
    QVERIFY(m_service->writeActionHistory(QStringLiteral("x")));
    QVERIFY(QFileInfo(m_history).isSymLink());
    QVERIFY(read(path()).endsWith("\tx\r\n"));
    QCOMPARE(QFile::permissions(path()), mode);
}

void tst_DataFiles::historyOnFullDisk()
{
    const Capture quiet; // Qt complains that it cannot seek in the device
    QVERIFY(QFile::link(QStringLiteral("/dev/full"), m_history));
    QVERIFY(m_service->writeActionHistory(QStringLiteral("x")));
    QCOMPARE(m_service->getLastError(), lastErrorFor(QStringLiteral("before")));
}

void tst_DataFiles::historyOfTwoProcesses()
{
    QProcess writers[2];
    const QStringList letters{"a", "b"};
    for (int i = 0; i < 2; ++i) {
        writers[i].setProcessChannelMode(QProcess::ForwardedChannels);
        writers[i].start(QCoreApplication::applicationFilePath(),
                         {QStringLiteral("--append-records"), letters.at(i)});
    }
    for (QProcess &writer : writers) {
        QVERIFY(writer.waitForFinished(limitMs));
        QCOMPARE(writer.exitStatus(), QProcess::NormalExit);
        QCOMPARE(writer.exitCode(), 0);
    }

    QByteArray history = m_service->readAllActionHistory();
    constexpr int whole = 19 + 1 + recordSize + 2;
    QCOMPARE(history.size(), 2 * recordsPerWriter * whole);
    int counts[2] = {0, 0};
    for (int start = 0; start < history.size(); start += whole) {
        const QByteArray record = history.mid(start, whole);
        const char letter = record.at(20);
        QVERIFY(letter == 'a' || letter == 'b');
        QVERIFY(record.mid(19) == '\t' + QByteArray(recordSize, letter) + "\r\n");
        ++counts[letter - 'a'];
    }
    QCOMPARE(counts[0], recordsPerWriter);
    QCOMPARE(counts[1], recordsPerWriter);
}

int main(int argc, char *argv[])
{
    if (!TestSupport::isInOwnDirectory())
        return TestSupport::runInOwnDirectory(argc, argv);
    QCoreApplication app(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], "--append-records") == 0)
        return appendRecords(QLatin1Char(argv[2][0]));
    tst_DataFiles test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_datafiles.moc"
