// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/Child.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

#include <vector>

/// A program that is killed while it logs leaves whole lines behind.
class tst_LogCrash : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void killedInAFlood_data();
    void killedInAFlood();
};

void tst_LogCrash::killedInAFlood_data()
{
    QTest::addColumn<int>("afterMs");
    for (const int afterMs : {0, 1, 3, 10, 31, 57, 104, 163})
        QTest::addRow("after %d ms", afterMs) << afterMs;
}

void tst_LogCrash::killedInAFlood()
{
    QFETCH(int, afterMs);
    const QTemporaryDir dir;
    QProcess child;
    child.setStandardErrorFile(QProcess::nullDevice());
    child.start(TestSupport::helperPath("flood_child"), {dir.path()});
    QVERIFY(child.waitForReadyRead(30000));
    QTest::qSleep(afterMs + 1);
    child.kill();
    QVERIFY(child.waitForFinished(30000));

    const QStringList names = QDir(dir.path()).entryList(QDir::Files);
    QCOMPARE(names.size(), 1);
    QFile file(dir.filePath(names.first()));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QList<QByteArray> lines = file.readAll().split('\n');
    lines.removeLast(); // empty, or a line that the kernel had not taken whole
    QVERIFY(!lines.isEmpty());

    // Every line is whole, once and in the order of its thread.
    static const QRegularExpression form(
        "^\\[\\d{6} \\d{6}\\.\\d{3}\\]\\[Zemix\\]([0-3]) (\\d+) text of some length$");
    std::vector<int> next(4, 0);
    for (const QByteArray &line : lines) {
        const QRegularExpressionMatch match = form.match(QString::fromUtf8(line));
        QVERIFY2(match.hasMatch(), line);
        QCOMPARE(match.captured(2).toInt(), next[match.captured(1).toUInt()]++);
    }
}

QTEST_GUILESS_MAIN(tst_LogCrash)
#include "tst_logcrash.moc"
