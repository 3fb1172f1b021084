// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/Child.h"

#include <QtCore/QDebug>
#include <QtTest/QTest>

using TestSupport::ChildOptions;
using TestSupport::ChildResult;
using TestSupport::helperPath;

namespace {

ChildResult runHelper(const QStringList &arguments)
{
    ChildOptions options;
    options.environment = QStringList{QStringLiteral("LD_PRELOAD=")
                                      + helperPath(QStringLiteral("faults_preload.so"))};
    options.limitMs = 100000;
    return TestSupport::runChild(helperPath(QStringLiteral("faults_child")), arguments, options);
}

} // namespace

/// Every public operation with every system call failing that it makes: it succeeds
/// with all its effects or fails as documented, and harms nothing.
class tst_Faults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void faultsCome();
    void operation_data();
    void operation();
    void cleanupTestCase();

private:
    int m_runs = 0;
};

/// Without this the others would prove nothing.
void tst_Faults::faultsCome()
{
    const ChildResult child = runHelper({QStringLiteral("check")});
    QVERIFY2(child.endedWith(0), child.report().constData());
    // One that never comes is a mistake, not a success.
    const ChildResult mistyped = runHelper(
        {QStringLiteral("run"), QStringLiteral("waitMSTime"), QStringLiteral("1st pol ")});
    QVERIFY2(mistyped.endedWith(2), mistyped.report().constData());
}

void tst_Faults::operation_data()
{
    QTest::addColumn<QString>("name");
    const ChildResult child = runHelper({QStringLiteral("list")});
    QVERIFY2(child.endedWith(0), child.report().constData());
    const QStringList names = QString::fromUtf8(child.out).split('\n');
    for (const QString &name : names) {
        if (!name.isEmpty())
            QTest::newRow(qPrintable(name)) << name;
    }
}

void tst_Faults::operation()
{
    QFETCH(QString, name);
    const ChildResult child = runHelper({QStringLiteral("run"), name});
    QVERIFY2(child.endedWith(0), child.report().constData());
    m_runs += child.out.split(' ').constFirst().toInt();
}

void tst_Faults::cleanupTestCase()
{
    qInfo() << m_runs << "runs";
}

QTEST_GUILESS_MAIN(tst_Faults)
#include "tst_faults.moc"
