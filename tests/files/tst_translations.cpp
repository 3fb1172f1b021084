// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "FileManagerTest.h"
#include "support/Capture.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QLocale>
#include <QtCore/QTranslator>
#include <QtTest/QtTest>

#include <memory>

using FileManagerTest::errorLine;
using FileManagerTest::service;
using TestSupport::Capture;

namespace {

/// One translation of the library in use, as a program loads it.
class InstalledTranslation
{
public:
    explicit InstalledTranslation(const QString &localeName)
        : m_isLoaded(m_translator.load(QLocale(localeName), "zecore", "_", ZECORE_TRANSLATIONS))
    {
        if (m_isLoaded)
            QCoreApplication::installTranslator(&m_translator);
    }
    ~InstalledTranslation() { QCoreApplication::removeTranslator(&m_translator); }
    Q_DISABLE_COPY(InstalledTranslation)

    bool isLoaded() const { return m_isLoaded; }

private:
    QTranslator m_translator;
    bool m_isLoaded;
};

QString openFailure(const QString &path)
{
    service().writeJsonFile(path, QVariantList{1}, QJsonDocument::Compact);
    return ZeFileManager::getLastError();
}

QString formatFailure(const QString &path)
{
    service().writeJsonFile(path, QVariant(), QJsonDocument::Compact);
    return ZeFileManager::getLastError();
}

} // namespace

class tst_Translations : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_capture = std::make_unique<Capture>(); }
    void cleanup() { m_capture.reset(); }
    void texts_data();
    void texts();
    void unknownLanguage();
    void logLinesFollow();
    void otherTextsStay();
    void withoutTranslator();

private:
    std::unique_ptr<Capture> m_capture;
};

void tst_Translations::texts_data()
{
    QTest::addColumn<QString>("locale");
    QTest::addColumn<QString>("openText");
    QTest::addColumn<QString>("formatText");
    QTest::newRow("Chinese") << "zh_CN" << QStringLiteral("打开文件失败：/no/%1/布局")
                             << QStringLiteral("JSON 格式错误：/no/%1/布局");
    QTest::newRow("English") << "en_GB" << QStringLiteral("Open file failed:/no/%1/布局")
                             << QStringLiteral("Json format error:/no/%1/布局");
}

void tst_Translations::texts()
{
    QFETCH(QString, locale);
    const InstalledTranslation translation(locale);
    QVERIFY(translation.isLoaded());
    const QString path = QStringLiteral("/no/%1/布局");
    QTEST(openFailure(path), "openText");
    QTEST(formatFailure(path), "formatText");
}

void tst_Translations::unknownLanguage()
{
    QVERIFY(!InstalledTranslation("fr_FR").isLoaded());
}

void tst_Translations::logLinesFollow()
{
    const InstalledTranslation translation("zh_CN");
    m_capture->take();
    openFailure("/no/x");
    QCOMPARE(m_capture->lines(), QStringList(errorLine(QStringLiteral("打开文件失败：/no/x"))));
}

void tst_Translations::otherTextsStay()
{
    const InstalledTranslation translation("zh_CN");
    service().removeDirOrFile("/no/x");
    QCOMPARE(ZeFileManager::getLastError(), QStringLiteral("Not Found:/no/x"));
    service().readJsonFile("/no/x");
    QCOMPARE(ZeFileManager::getLastError(), QStringLiteral("Not file: /no/x"));
    service().truncateFile("/no/x", 1);
    QCOMPARE(ZeFileManager::getLastError(), QStringLiteral("Failed to open file:/no/x"));
}

void tst_Translations::withoutTranslator()
{
    const QByteArray before = openFailure("/no/x").toUtf8();
    {
        const InstalledTranslation translation("zh_CN");
        QVERIFY(openFailure("/no/x").toUtf8() != before);
    }
    QCOMPARE(before, QByteArray("Open file failed:/no/x"));
    QCOMPARE(openFailure("/no/x").toUtf8(), before);
    QCOMPARE(formatFailure("/no/x").toUtf8(), QByteArray("Json format error:/no/x"));
}

QTEST_GUILESS_MAIN(tst_Translations)
#include "tst_translations.moc"
