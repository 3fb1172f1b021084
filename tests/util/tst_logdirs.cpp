// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/Capture.h"
#include "util/PublicClass.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

using TestSupport::Capture;

using Catalogue = QMap<QString, QVariant>;

class tst_LogDirs : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void parsing_data();
    void parsing();
    void entryHasThreeMembers();
    void existingDirectory();
    void regularFileCountsAsMissing();
    void linkToADirectory();
    void pathWithNul();
    void otherEntriesStay();
    void baseDirItself();

private:
    QSharedPointer<PublicClass> m_service = PublicClass::init();
    Catalogue m_catalogue;
};

void tst_LogDirs::init()
{
    m_catalogue.clear();
}

void tst_LogDirs::parsing_data()
{
    using Names = QMap<QString, QString>; // path to name
    QTest::addColumn<QString>("spec");
    QTest::addColumn<Names>("expected");
    QTest::newRow("one") << "a:/zx" << Names{{"/zx", "a"}};
    QTest::newRow("two") << "a:/zx|b:/zy" << Names{{"/zx", "a"}, {"/zy", "b"}};
    QTest::newRow("trailing separator") << "a:/zx|" << Names{{"/zx", "a"}};
    QTest::newRow("leading separator") << "|a:/zx" << Names{{"/zx", "a"}};
    QTest::newRow("empty parts between") << "a:/zx|| |b:/zy" << Names{{"/zx", "a"}, {"/zy", "b"}};
    QTest::newRow("nothing") << "" << Names{};
    QTest::newRow("only separators") << "||" << Names{};
    QTest::newRow("only white space") << " \t\n" << Names{};
    QTest::newRow("relative") << "c:logs" << Names{{"/zbase/logs", "c"}};
    QTest::newRow("relative, not cleaned")
        << "c:./x//y/../z/" << Names{{"/zbase/./x//y/../z/", "c"}};
    QTest::newRow("absolute, not cleaned") << "c:/zx//./y/" << Names{{"/zx//./y/", "c"}};
    QTest::newRow("blanks around the colon") << "name : /zx" << Names{{"/zbase/ /zx", "name "}};
    QTest::newRow("blank before the colon") << "name :/zx" << Names{{"/zx", "name "}};
    QTest::newRow("blanks around the entry") << "  a:/zx \t| b:/zy\n"
                                             << Names{{"/zx", "a"}, {"/zy", "b"}};
    QTest::newRow("inner white space") << "a \t b:/zx/c  \n d" << Names{{"/zx/c d", "a b"}};
    QTest::newRow("no colon") << "/zx" << Names{};
    QTest::newRow("two colons") << "a:/zx:y" << Names{};
    QTest::newRow("two colons in a row") << "a::/zx" << Names{};
    QTest::newRow("bad ones are skipped")
        << "x|a:/zx|b:c:d|b:/zy" << Names{{"/zx", "a"}, {"/zy", "b"}};
    QTest::newRow("empty name") << ":/zx" << Names{{"/zx", ""}};
    QTest::newRow("empty path") << "a:" << Names{{"/zbase/", "a"}};
    QTest::newRow("only a colon") << ":" << Names{{"/zbase/", ""}};
    QTest::newRow("same path twice") << "a:/zx|b:/zx" << Names{{"/zx", "b"}};
    QTest::newRow("same place, other text") << "a:/zx|b:/zx/" << Names{{"/zx", "a"}, {"/zx/", "b"}};
    QTest::newRow("substitution marks") << "%1:%2" << Names{{"/zbase/%2", "%1"}};
    QTest::newRow("Chinese") << QStringLiteral("日志:/z日志")
                             << Names{{QStringLiteral("/z日志"), QStringLiteral("日志")}};
}

void tst_LogDirs::parsing()
{
    using Names = QMap<QString, QString>;
    QFETCH(QString, spec);
    QFETCH(Names, expected);
    Capture capture;
    m_service->addLogDirList(m_catalogue, QStringLiteral("/zbase"), spec);

    Names names;
    for (auto entry = m_catalogue.cbegin(); entry != m_catalogue.cend(); ++entry) {
        const QVariantMap members = entry.value().toMap();
        QCOMPARE(members.value(QStringLiteral("file_path")), QVariant(entry.key()));
        names.insert(entry.key(), members.value(QStringLiteral("dir_name")).toString());
        const QString line = QStringLiteral("W [warning][addLogDirList] [目录不存在: ")
            + entry.key() + QStringLiteral(" ]");
        QVERIFY2(capture.lines().contains(line), qPrintable(line));
    }
    QCOMPARE(names, expected);
    if (expected.isEmpty())
        QCOMPARE(capture.lines(), QStringList());
}

void tst_LogDirs::entryHasThreeMembers()
{
    Capture capture;
    m_service->addLogDirList(m_catalogue, QString(), QStringLiteral("b:/zy|a:/zx"));
    QCOMPARE(capture.lines(),
             (QStringList{QStringLiteral("W [warning][addLogDirList] [目录不存在: /zy ]"),
                          QStringLiteral("W [warning][addLogDirList] [目录不存在: /zx ]")}));
    QCOMPARE(m_catalogue.keys(), (QStringList{"/zx", "/zy"}));

    const QVariant entry = m_catalogue.value(QStringLiteral("/zx"));
    QCOMPARE(entry.userType(), int(QMetaType::QVariantMap));
    const QVariantMap members = entry.toMap();
    QCOMPARE(members.keys(), (QStringList{"created_date_time", "dir_name", "file_path"}));
    QCOMPARE(members.value(QStringLiteral("file_path")).userType(), int(QMetaType::QString));
    QCOMPARE(members.value(QStringLiteral("dir_name")).userType(), int(QMetaType::QString));
    const QVariant created = members.value(QStringLiteral("created_date_time"));
    QCOMPARE(created.userType(), int(QMetaType::QDateTime));
    QVERIFY(!created.toDateTime().isValid());
}

void tst_LogDirs::existingDirectory()
{
    const QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("logs")));
    Capture capture;
    m_service->addLogDirList(m_catalogue, dir.path(), QStringLiteral("here:logs"));
    const QString path = dir.path() + QStringLiteral("/logs");
    QCOMPARE(capture.lines(),
             QStringList{QStringLiteral("D [debug][addLogDirList] [目录存在: ") + path
                         + QStringLiteral(" ]")});
    QCOMPARE(m_catalogue.keys(), QStringList{path});
    const QDateTime created =
        m_catalogue.value(path).toMap().value(QStringLiteral("created_date_time")).toDateTime();
    QVERIFY(created.isValid());
    QCOMPARE(created.timeSpec(), Qt::LocalTime);
    const QFileInfo info(path);
    QCOMPARE(created, info.birthTime().isValid() ? info.birthTime() : info.metadataChangeTime());
    const qint64 age = created.secsTo(QDateTime::currentDateTime());
    QVERIFY2(age >= -1 && age < 600, qPrintable(created.toString()));
}

void tst_LogDirs::regularFileCountsAsMissing()
{
    const QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QFile file(dir.filePath(QStringLiteral("file")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    Capture capture;
    m_service->addLogDirList(m_catalogue, dir.path(), QStringLiteral("f:file"));
    QCOMPARE(capture.lines(),
             QStringList{QStringLiteral("W [warning][addLogDirList] [目录不存在: ")
                         + file.fileName() + QStringLiteral(" ]")});
    QCOMPARE(m_catalogue.keys(), QStringList{file.fileName()});
}

void tst_LogDirs::linkToADirectory()
{
    const QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QVERIFY(QFile::link(dir.path(), dir.filePath(QStringLiteral("link"))));
    QVERIFY(
        QFile::link(dir.filePath(QStringLiteral("none")), dir.filePath(QStringLiteral("dead"))));
    Capture capture;
    m_service->addLogDirList(m_catalogue, dir.path(), QStringLiteral("a:link|b:dead"));
    QCOMPARE(capture.lines(),
             (QStringList{QStringLiteral("D [debug][addLogDirList] [目录存在: ")
                              + dir.filePath(QStringLiteral("link")) + QStringLiteral(" ]"),
                          QStringLiteral("W [warning][addLogDirList] [目录不存在: ")
                              + dir.filePath(QStringLiteral("dead")) + QStringLiteral(" ]")}));
}

void tst_LogDirs::pathWithNul()
{
    const QString path = QStringLiteral("/etc") + QChar(QChar::Null) + QStringLiteral("x");
    Capture capture;
    m_service->addLogDirList(m_catalogue, QString(), QStringLiteral("a:") + path);
    QCOMPARE(capture.lines(),
             QStringList{QStringLiteral("W [warning][addLogDirList] [目录不存在: ") + path
                         + QStringLiteral(" ]")});
    QCOMPARE(m_catalogue.keys(), QStringList{path});
    const QVariantMap members = m_catalogue.value(path).toMap();
    QCOMPARE(members.value(QStringLiteral("file_path")), QVariant(path));
    // Not the time of the directory at which the path would be cut off.
    QVERIFY(!members.value(QStringLiteral("created_date_time")).toDateTime().isValid());
}

void tst_LogDirs::otherEntriesStay()
{
    const Capture quiet;
    m_catalogue.insert(QStringLiteral("/zz"), 7);
    m_catalogue.insert(QStringLiteral("/zx"), 8);
    m_service->addLogDirList(m_catalogue, QString(), QStringLiteral("a:/zx"));
    QCOMPARE(m_catalogue.keys(), (QStringList{"/zx", "/zz"}));
    QCOMPARE(m_catalogue.value(QStringLiteral("/zz")), QVariant(7));
    QCOMPARE(m_catalogue.value(QStringLiteral("/zx")).userType(), int(QMetaType::QVariantMap));
}

void tst_LogDirs::baseDirItself()
{
    const QTemporaryDir dir;
    QVERIFY(dir.isValid());
    Capture capture;
    m_service->addLogDirList(m_catalogue, dir.path(), QStringLiteral("all:"));
    QCOMPARE(m_catalogue.keys(), QStringList{dir.path() + QLatin1Char('/')});
    QVERIFY(capture.lines().value(0).startsWith(QStringLiteral("D ")));
}

QTEST_GUILESS_MAIN(tst_LogDirs)
#include "tst_logdirs.moc"
