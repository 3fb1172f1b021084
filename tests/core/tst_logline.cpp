// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/LogTag_p.h"
#include "support/Capture.h"

#include <QtCore/QDateTime>
#include <QtTest/QTest>

using TestSupport::Capture;

namespace {

/// Counts how often it is written.
struct Item
{
    int &written;
};

QDebug operator<<(QDebug stream, const Item &item)
{
    ++item.written;
    return stream << QStringLiteral("item %1").arg(item.written);
}

} // namespace

/// The lines of the library's own services.
class tst_LogLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QLoggingCategory::setFilterRules(QString()); }

    void readsLikeQtsOwn()
    {
        const QDateTime time = QDateTime::fromMSecsSinceEpoch(1700000000123);
        const QString text = QStringLiteral("two words \"quoted\" 中文");
        Capture lines;
        ZeCore::logDebug("operation") << "[" << text << 42 << 0.5 << true << time << "]";
        qDebug().noquote() << "[debug][operation]"
                           << "[" << text << 42 << 0.5 << true << time << "]";
        QCOMPARE(lines.lines().size(), 2);
        QCOMPARE(lines.lines().at(0), lines.lines().at(1));
    }

    void rulesDropLinesUncomposed_data()
    {
        QTest::addColumn<QString>("rules");
        QTest::addColumn<QStringList>("expected");
        const QString debug = QStringLiteral("D [debug][f] item 1");
        const QString warning = QStringLiteral("W [warning][f] item 2");
        const QString error = QStringLiteral("C [error][f] item 3");
        QTest::newRow("none") << "" << QStringList{debug, warning, error};
        QTest::newRow("no debug lines")
            << "default.debug=false" << QStringList{"W [warning][f] item 1", "C [error][f] item 2"};
        QTest::newRow("errors only")
            << "default.debug=false\ndefault.warning=false" << QStringList{"C [error][f] item 1"};
        QTest::newRow("nothing") << "*=false" << QStringList();
        QTest::newRow("another category")
            << "other.debug=false" << QStringList{debug, warning, error};
    }

    void rulesDropLinesUncomposed()
    {
        QFETCH(QString, rules);
        QFETCH(QStringList, expected);
        QLoggingCategory::setFilterRules(rules);
        int written = 0;
        const Item item{written};
        Capture lines;
        ZeCore::logDebug("f") << item;
        ZeCore::logWarning("f") << item;
        ZeCore::logError("f") << item;
        QCOMPARE(lines.lines(), expected);
        QCOMPARE(written, expected.size());
    }
};

QTEST_GUILESS_MAIN(tst_LogLine)
#include "tst_logline.moc"
