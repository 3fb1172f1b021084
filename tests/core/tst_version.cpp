// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "core/ZeCoreGlobal.h"

#include <QtTest>

// The preprocessor must be able to compare them.
#if ZECORE_VERSION < QT_VERSION_CHECK(1, 0, 0) || ZECORE_VERSION >= QT_VERSION_CHECK(2, 0, 0)
#error "ZECORE_VERSION is not that of a library with SOVERSION 1"
#endif

/// The version macros against the version of the project that is being built.
class tst_Version : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void textIsTheProjects();
    void partsMakeTheText();
    void numberIsMadeOfTheParts();
};

void tst_Version::textIsTheProjects()
{
    QCOMPARE(ZECORE_VERSION_STR, PROJECT_VERSION);
}

void tst_Version::partsMakeTheText()
{
    const QString text = QStringLiteral("%1.%2.%3")
                             .arg(ZECORE_VERSION_MAJOR)
                             .arg(ZECORE_VERSION_MINOR)
                             .arg(ZECORE_VERSION_PATCH);
    QCOMPARE(text, QStringLiteral(ZECORE_VERSION_STR));
}

void tst_Version::numberIsMadeOfTheParts()
{
    QCOMPARE(ZECORE_VERSION,
             QT_VERSION_CHECK(ZECORE_VERSION_MAJOR, ZECORE_VERSION_MINOR, ZECORE_VERSION_PATCH));
    QCOMPARE(ZECORE_VERSION >> 16, ZECORE_VERSION_MAJOR);
    QCOMPARE((ZECORE_VERSION >> 8) & 0xff, ZECORE_VERSION_MINOR);
    QCOMPARE(ZECORE_VERSION & 0xff, ZECORE_VERSION_PATCH);
}

QTEST_APPLESS_MAIN(tst_Version)
#include "tst_version.moc"
