// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"

#include "files/ZeFileManager.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QVariant>

namespace Bench {

namespace {

/// An array of small records, like a program's tables: texts, whole and broken numbers.
QByteArray jsonText(int size)
{
    QByteArray text = "[";
    for (int i = 0; text.size() < size; ++i) {
        if (i > 0)
            text += ',';
        const QByteArray number = QByteArray::number(i);
        text += R"({"id":)" + number + R"(,"name":"point )" + number + R"(","x":)" + number
            + R"(.25,"y":-)" + number + R"(.5,"used":true,"note":null,"axes":[1,2,3,4,5,6]})";
    }
    return text + ']';
}

QVariant byLibrary(const QByteArray &text)
{
    return ZeFileManager::init()->jsonToVariant(text);
}

QVariant byQt(const QByteArray &text)
{
    return QJsonDocument::fromJson(text).toVariant();
}

/// The same tree, made the way it comes to mind: a second tree.
QVariant withDoubles(const QVariant &node)
{
    switch (node.userType()) {
    case QMetaType::QVariantMap: {
        QVariantMap map;
        const QVariantMap from = node.toMap();
        for (auto entry = from.begin(); entry != from.end(); ++entry)
            map.insert(entry.key(), withDoubles(entry.value()));
        return map;
    }
    case QMetaType::QVariantList: {
        QVariantList list;
        const QVariantList from = node.toList();
        for (const QVariant &entry : from)
            list.append(withDoubles(entry));
        return list;
    }
    case QMetaType::LongLong:
        return node.toDouble();
    case QMetaType::Nullptr:
        return {};
    default:
        return node;
    }
}

QVariant byNaiveQt(const QByteArray &text)
{
    return withDoubles(byQt(text));
}

using Parse = QVariant (*)(const QByteArray &);

Body parsing(Parse parse, int size)
{
    return [=](benchmark::State &state) {
        const QByteArray text = jsonText(size);
        for ([[maybe_unused]] auto iteration : state) {
            const Stopwatch watch;
            const QVariant tree = parse(text);
            state.SetIterationTime(watch.seconds()); // the end of the tree is the caller's
            if (tree.toList().isEmpty())
                state.SkipWithError("no tree");
        }
    };
}

Role peakOf(Parse parse)
{
    return [parse](const std::vector<std::string> &arguments) {
        const QByteArray text = jsonText(std::stoi(arguments.at(0)));
        const QVariant tree = parse(text);
        return tree.isNull() ? 1 : printResult(peakMebibytes());
    };
}

Body peakOfRole(const QString &role, int size)
{
    return [=](benchmark::State &state) {
        for ([[maybe_unused]] auto iteration : state)
            setMemory(state, resultOfRole(role, {QString::number(size)}));
    };
}

} // namespace

void addJsonCases(Suite &suite)
{
    const int size = suite.scaled(64 << 20, 64 << 10);
    suite.addRole("json-library", peakOf(&byLibrary));
    suite.addRole("json-naive", peakOf(&byNaiveQt));
    suite.addRole("json-qt", peakOf(&byQt));

    Case time;
    time.name = "json";
    time.title = "JSON of 64 MiB to a variant tree with doubles";
    time.contestants = {{"library", parsing(&byLibrary, size)},
                        {"naive Qt", parsing(&byNaiveQt, size)},
                        {"fromJson().toVariant() alone", parsing(&byQt, size)}};
    time.goals = {{"fromJson().toVariant() alone", 1.05}};
    time.unit = Unit::Throughput;
    time.bytes = size;
    time.iterations = 1;
    time.repetitions = 7;
    time.ownClock = true;
    suite.add(std::move(time));

    Case memory;
    memory.name = "json-memory";
    memory.title = "the same, peak memory";
    memory.contestants = {
        {"library", peakOfRole(QStringLiteral("json-library"), size)},
        {"naive Qt", peakOfRole(QStringLiteral("json-naive"), size)},
        {"fromJson().toVariant() alone", peakOfRole(QStringLiteral("json-qt"), size)}};
    memory.goals = {{"fromJson().toVariant() alone", 1.0}};
    memory.unit = Unit::Mebibytes;
    memory.iterations = 1;
    memory.repetitions = 3;
    suite.add(std::move(memory));
}

} // namespace Bench
