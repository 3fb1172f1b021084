// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "support/Capture.h"
#include "util/PublicClass.h"

#include <QtTest/QTest>

using TestSupport::Capture;

class tst_Versions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void isLowVersion_data();
    void isLowVersion();
    void isSameGyroVersion_data();
    void isSameGyroVersion();
    void isLowGyroVersion_data();
    void isLowGyroVersion();
    void splitFileSubfix_data();
    void splitFileSubfix();
    void nothingIsLoggedOrRecorded();
};

void tst_Versions::isLowVersion_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<bool>("low");
    QTest::newRow("lower in the last field") << "v1.2.3"
                                             << "1.2.4" << true;
    QTest::newRow("higher in the last field") << "1.2.4"
                                              << "1.2.3" << false;
    QTest::newRow("equal") << "1.2.3"
                           << "1.2.3" << false;
    QTest::newRow("equal but for v") << "v1.2.3"
                                     << "1.2.v3" << false;
    QTest::newRow("every v goes") << "vv1v.v2v"
                                  << "1.2" << false;
    QTest::newRow("capital V makes 0, lower") << "V1.2"
                                              << "1.2" << true;
    QTest::newRow("capital V makes 0, higher") << "1.2"
                                               << "V1.2" << false;
    QTest::newRow("numeric, not text") << "1.10"
                                       << "1.9" << false;
    QTest::newRow("numeric, the other way") << "1.9"
                                            << "1.10" << true;
    QTest::newRow("first field decides, low") << "1.9.9"
                                              << "2.0.0" << true;
    QTest::newRow("first field decides, high") << "2.0.0"
                                               << "1.9.9" << false;
    QTest::newRow("middle field decides") << "1.3.0"
                                          << "1.2.9" << false;
    QTest::newRow("no dot at all") << "5"
                                   << "5" << true;
    QTest::newRow("no dot in the first") << "2"
                                         << "1.0" << true;
    QTest::newRow("no dot in the second") << "1.0"
                                          << "2" << true;
    QTest::newRow("no dot in the second, higher") << "9.0"
                                                  << "2" << true;
    QTest::newRow("empty") << ""
                           << "" << true;
    QTest::newRow("second empty") << "1.0"
                                  << "" << true;
    QTest::newRow("shorter") << "1.2"
                             << "1.2.0" << true;
    QTest::newRow("longer") << "1.2.0"
                            << "1.2" << true;
    QTest::newRow("longer by more than 0") << "1.2.7"
                                           << "1.2" << true;
    QTest::newRow("leading zero") << "1.02"
                                  << "1.2" << true;
    QTest::newRow("leading zero, the other way") << "1.2"
                                                 << "1.02" << true;
    QTest::newRow("longer by text") << "1.2"
                                    << "1.2.x" << true;
    QTest::newRow("letter reads as 0") << "1.a"
                                       << "1.0" << true;
    QTest::newRow("letter reads as 0, the other way") << "1.0"
                                                      << "1.a" << true;
    QTest::newRow("letter below 1") << "1.a"
                                    << "1.1" << true;
    QTest::newRow("1 above letter") << "1.1"
                                    << "1.a" << false;
    QTest::newRow("partly a number reads as 0") << "1.5a"
                                                << "1.1" << true;
    QTest::newRow("hexadecimal reads as 0") << "1.0x9"
                                            << "1.1" << true;
    QTest::newRow("empty fields read as 0") << "1..5"
                                            << "1.0.4" << false;
    QTest::newRow("only dots") << "."
                               << ".." << true;
    QTest::newRow("trailing dot") << "1.2."
                                  << "1.2.1" << true;
    QTest::newRow("leading dot") << ".1"
                                 << "0.2" << true;
    QTest::newRow("negative fields") << "1.-2"
                                     << "1.-1" << true;
    QTest::newRow("negative fields, the other way") << "1.-1"
                                                    << "1.-2" << false;
    QTest::newRow("plus sign and blanks") << "1. +3 "
                                          << "1.2" << false;
    QTest::newRow("int maximum") << "1.2147483647"
                                 << "1.2147483646" << false;
    QTest::newRow("int minimum") << "1.-2147483648"
                                 << "1.-2147483647" << true;
    QTest::newRow("beyond int reads as 0") << "1.2147483648"
                                           << "1.1" << true;
    QTest::newRow("below int reads as 0") << "1.-2147483649"
                                          << "1.-1" << false;
    QTest::newRow("case of text does not matter to 0") << "1.A"
                                                       << "1.b" << true;
}

void tst_Versions::isLowVersion()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(bool, low);
    QCOMPARE(PublicClass::isLowVersion(a, b), low);
}

void tst_Versions::isSameGyroVersion_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<bool>("same");
    QTest::newRow("same") << "G-1.2"
                          << "G-1.2" << true;
    QTest::newRow("v and underscore") << "G-v1_2"
                                      << "G-1.2" << true;
    QTest::newRow("v in the second") << "G-1.2"
                                     << "G-v1.2v" << true;
    QTest::newRow("underscore in the first") << "X-1_2"
                                             << "X-1.2" << true;
    QTest::newRow("underscores in the first") << "X-1_2_3"
                                              << "X-1.2.3" << true;
    QTest::newRow("underscore in the second") << "X-1.2"
                                              << "X-1_2" << false;
    QTest::newRow("underscore in both") << "X-1_2"
                                        << "X-1_2" << false;
    QTest::newRow("underscore and dot in the second") << "X-1_2.3"
                                                      << "X-1_2.3" << false;
    QTest::newRow("blanks in the prefix") << " G -1.2"
                                          << "G-1.2" << true;
    QTest::newRow("inner blanks in the prefix") << "G  Y-1.2"
                                                << "G\tY-1.2" << true;
    QTest::newRow("blanks in the version") << "G- 1.2 "
                                           << "G-1.2" << true;
    QTest::newRow("blank left behind by v") << "G-v 1.2"
                                            << "G-1.2" << false;
    QTest::newRow("no dot") << "G-12"
                            << "G-12" << false;
    QTest::newRow("no dot in the first") << "G-12"
                                         << "G-1.2" << false;
    QTest::newRow("no dot in the second") << "G-1.2"
                                          << "G-12" << false;
    QTest::newRow("text, not numbers") << "G-1.2"
                                       << "G-1.2.0" << false;
    QTest::newRow("leading zero") << "G-1.02"
                                  << "G-1.2" << false;
    QTest::newRow("other version") << "G-1.2"
                                   << "G-1.3" << false;
    QTest::newRow("other prefix") << "G-1.2"
                                  << "H-1.2" << false;
    QTest::newRow("prefix keeps its v") << "vG-1.2"
                                        << "G-1.2" << false;
    QTest::newRow("prefix keeps its underscore") << "G_1-1.2"
                                                 << "G.1-1.2" << false;
    QTest::newRow("case of the prefix") << "g-1.2"
                                        << "G-1.2" << false;
    QTest::newRow("no minus in the first") << "G1.2"
                                           << "G-1.2" << false;
    QTest::newRow("no minus in the second") << "G-1.2"
                                            << "G1.2" << false;
    QTest::newRow("no minus at all") << "1.2"
                                     << "1.2" << false;
    QTest::newRow("more fields do not count") << "G-1.2-beta"
                                              << "G-1.2-4" << true;
    QTest::newRow("empty prefixes") << "-1.2"
                                    << " -1.2" << true;
    QTest::newRow("empty versions") << "G-"
                                    << "G-" << false;
    QTest::newRow("empty version before the second minus") << "G--1.2"
                                                           << "G--1.2" << false;
    QTest::newRow("a dot alone") << "G-_"
                                 << "G-." << true;
    QTest::newRow("empty") << ""
                           << "" << false;
}

void tst_Versions::isSameGyroVersion()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(bool, same);
    QCOMPARE(PublicClass::isSameGyroVersion(a, b), same);
}

void tst_Versions::isLowGyroVersion_data()
{
    QTest::addColumn<QString>("a");
    QTest::addColumn<QString>("b");
    QTest::addColumn<bool>("low");
    QTest::newRow("higher") << "G-1.3"
                            << "G-1.2" << true;
    QTest::newRow("lower") << "G-1.2"
                           << "G-1.3" << false;
    QTest::newRow("equal") << "G-1.2"
                           << "G-1.2" << false;
    QTest::newRow("underscore in the first") << "G-1_3"
                                             << "G-1.2" << true;
    QTest::newRow("underscore in the first, lower") << "G-1_2"
                                                    << "G-1.3" << false;
    QTest::newRow("underscore in the first, equal") << "G-1_2"
                                                    << "G-1.2" << false;
    QTest::newRow("underscore in the second") << "G-1.2"
                                              << "G-1_3" << true; // has no dot
    QTest::newRow("v in both") << "G-v1.2"
                               << "G-v1.3" << false;
    QTest::newRow("v in one, equal") << "G-v1.2"
                                     << "G-1.2" << false;
    QTest::newRow("equal over the common fields") << "G-1.2"
                                                  << "G-1.2.0" << true;
    QTest::newRow("no dot") << "G-1"
                            << "G-2" << true;
    QTest::newRow("other prefix") << "G-1.2"
                                  << "H-1.3" << true;
    QTest::newRow("prefixes are not simplified") << " G-1.2"
                                                 << "G-1.3" << true;
    QTest::newRow("same blanks in the prefixes") << " G-1.2"
                                                 << " G-1.3" << false;
    QTest::newRow("versions are not simplified, equal") << "G-1.2 "
                                                        << "G-1.2" << true;
    QTest::newRow("no minus in the first") << "G1.2"
                                           << "G-1.3" << true;
    QTest::newRow("no minus in the second") << "G-1.2"
                                            << "G1.3" << true;
    QTest::newRow("more fields do not count") << "G-1.2-9"
                                              << "G-1.3-1" << false;
    QTest::newRow("empty") << ""
                           << "" << true;
}

void tst_Versions::isLowGyroVersion()
{
    QFETCH(QString, a);
    QFETCH(QString, b);
    QFETCH(bool, low);
    QCOMPARE(PublicClass::isLowGyroVersion(a, b), low);
}

void tst_Versions::splitFileSubfix_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("expected");
    QTest::newRow("two extensions") << "a.tar.gz"
                                    << "a.tar";
    QTest::newRow("the same twice") << "x.gz.gz"
                                    << "x";
    QTest::newRow("none") << "noext"
                          << "noext";
    QTest::newRow("trailing dot") << "a.b."
                                  << "ab";
    QTest::newRow("one") << "map.json"
                         << "map";
    QTest::newRow("inside another extension") << "a.gzip.gz"
                                              << "aip";
    QTest::newRow("inside a directory name") << "/x.gz/y.gz"
                                             << "/x/y";
    QTest::newRow("case matters") << "x.GZ.gz"
                                  << "x.GZ";
    QTest::newRow("hidden file") << ".bashrc"
                                 << "";
    QTest::newRow("only a dot") << "."
                                << "";
    QTest::newRow("extension of a directory") << "a.d/file"
                                              << "a";
    QTest::newRow("Chinese") << QStringLiteral("地图.图") << QStringLiteral("地图");
    QTest::newRow("no pattern") << "abc.[a-c]"
                                << "abc";
    QTest::newRow("empty") << ""
                           << "";
}

void tst_Versions::splitFileSubfix()
{
    QFETCH(QString, name);
    QFETCH(QString, expected);
    const QSharedPointer<PublicClass> service = PublicClass::init();
    QCOMPARE(service->getSplitFileSubfix(name), expected);
}

void tst_Versions::nothingIsLoggedOrRecorded()
{
    const QSharedPointer<PublicClass> service = PublicClass::init();
    service->setLastError(QStringLiteral("before"));
    Capture capture;
    PublicClass::isLowVersion(QString(), QString());
    PublicClass::isSameGyroVersion(QString(), QString());
    PublicClass::isLowGyroVersion(QString(), QString());
    service->getSplitFileSubfix(QString());
    QCOMPARE(capture.lines(), QStringList());
    QCOMPARE(service->getLastError(), QStringLiteral("Error:PublicClass::before"));
}

QTEST_GUILESS_MAIN(tst_Versions)
#include "tst_versions.moc"
