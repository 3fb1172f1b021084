// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Sandbox.h"
#include "support/Child.h"

#include <QtCore/QDateTime>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>
#include <QtTest/QTest>

using TestSupport::Sandbox;

/// The road of one event through the whole library, from a save that fails to the
/// console, the log file, the last error and the result.
class tst_EventRoad : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void failedSave_data();
    void failedSave();

private:
    Sandbox m_sandbox;
};

void tst_EventRoad::initTestCase()
{
    QVERIFY(m_sandbox.isValid());
}

void tst_EventRoad::failedSave_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("lastError");
    QTest::addColumn<QStringList>("messages");

    const QString missing = m_sandbox.path() + QStringLiteral("/缺/%1/settings.json");
    const QString openFailed = QStringLiteral("Open file failed:") + missing;
    QTest::newRow("cannot be opened") << missing << openFailed
                                      << QStringList{QStringLiteral("[warning][setLastError] [ ")
                                                     + openFailed + QStringLiteral(" ]")};

    const QString full = QStringLiteral("/dev/full");
    const QString noSpace = full + QStringLiteral(" : No space left on device");
    QTest::newRow("disk full")
        << full << noSpace
        << QStringList{QStringLiteral("[warning][writeJsonFile] flush failed: /dev/full"),
                       QStringLiteral("[warning][setLastError] [ ") + noSpace
                           + QStringLiteral(" ]")};
}

void tst_EventRoad::failedSave()
{
    QFETCH(QString, target);
    QFETCH(QString, lastError);
    QFETCH(QStringList, messages);
    if (target == QLatin1String("/dev/full") && !QFileInfo::exists(target))
        QSKIP("no /dev/full here");
    QTemporaryDir base;
    QVERIFY(base.isValid());
    const QString id = QStringLiteral("tst_eventroad.%1").arg(QCoreApplication::applicationPid());

    const QDateTime before = QDateTime::currentDateTime();
    const TestSupport::ChildResult child = TestSupport::runChild(
        TestSupport::helperPath(QStringLiteral("eventroad_child")), {id, base.path(), target});
    const QDateTime after = QDateTime::currentDateTime();
    QVERIFY2(child.endedWith(0), child.report().constData());

    // The caller: result and last error.
    QCOMPARE(child.out, "result false\nlastError " + lastError.toUtf8() + "\n");

    // The console: warnings in their colour, then the debug line that stops the log.
    QByteArray console;
    for (const QString &message : qAsConst(messages))
        console += "\x1b[33m" + message.toUtf8() + "\x1b[0m\n";
    console += "\x1b[0mend of log\x1b[0m\n";
    QCOMPARE(child.err, console);

    // The one log file: the same messages behind stamp and tag.
    const QDir logs(base.filePath(QStringLiteral("appInfo/log")));
    const QStringList names = logs.entryList(QDir::Files);
    QCOMPARE(names.size(), 1);
    QVERIFY2(
        QRegularExpression(QStringLiteral("^ZemixPro_\\d{4}(-\\d\\d){2}_\\d\\d(-\\d\\d){2}\\.log$"))
            .match(names.constFirst())
            .hasMatch(),
        qPrintable(names.constFirst()));
    QFile file(logs.filePath(names.constFirst()));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QList<QByteArray> lines = file.readAll().split('\n');
    QCOMPARE(lines.takeLast(), QByteArray()); // each line is ended
    QStringList logged;
    for (const QByteArray &line : qAsConst(lines)) {
        constexpr int stampSize = sizeof("[yyMMdd hhmmss.zzz]") - 1;
        const QDateTime time = QDateTime::fromString(
            QStringLiteral("20") + QString::fromLatin1(line.mid(1, stampSize - 2)),
            QStringLiteral("yyyyMMdd hhmmss.zzz"));
        QVERIFY2(time >= before && time <= after, line.constData());
        QCOMPARE(line.left(1) + line.mid(stampSize - 1, 1), QByteArray("[]"));
        QCOMPARE(line.mid(stampSize, 7), QByteArray("[Zemix]"));
        logged.append(QString::fromUtf8(line.mid(stampSize + 7)));
    }
    // The line that wakes the writer for its end is in the file or not, as it happens.
    if (logged.constLast() == QLatin1String("end of log"))
        logged.removeLast();
    QCOMPARE(logged, messages);

    QVERIFY(base.remove()); // it lay in the sandbox, where nothing else may be left
    QCOMPARE(m_sandbox.entries(), QStringList());
}

QTEST_GUILESS_MAIN(tst_EventRoad)
#include "tst_eventroad.moc"
