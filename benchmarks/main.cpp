// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"
#include "Report.h"
#include "Surroundings.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>

namespace {

const char usage[] = R"(Usage: zecore_bench [--quick] [--curves] [--list] [--json FILE] [CASE...]

  --quick      small sizes and one repetition each: shows that everything runs
  --curves     also the cases that exist for the plots
  --list       the names of the cases
  --json FILE  the figures for other programs
  CASE         a case, or the start of the names of several
)";

struct Options
{
    bool quick = false;
    bool curves = false;
    bool list = false;
    QString jsonPath;
    std::vector<std::string> cases;
};

std::optional<Options> parse(const std::vector<std::string> &arguments)
{
    Options options;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        if (*argument == "--quick")
            options.quick = true;
        else if (*argument == "--curves")
            options.curves = true;
        else if (*argument == "--list")
            options.list = true;
        else if (*argument == "--json" && std::next(argument) != arguments.end())
            options.jsonPath = QString::fromLocal8Bit((++argument)->c_str());
        else if (argument->rfind("--", 0) == 0)
            return std::nullopt;
        else
            options.cases.push_back(*argument);
    }
    return options;
}

bool isWanted(const Bench::Case &comparison, const Options &options)
{
    if (options.cases.empty())
        return options.curves || comparison.point.plot.empty();
    return std::any_of(
        options.cases.begin(), options.cases.end(),
        [&comparison](const std::string &start) { return comparison.name.rfind(start, 0) == 0; });
}

Bench::Suite makeSuite(bool quick)
{
    Bench::Suite suite(quick);
    for (const auto add : {Bench::addLogCases, Bench::addLogThreadCases, Bench::addProcessCases,
                           Bench::addHttpCases, Bench::addMessageCases, Bench::addInstanceCases,
                           Bench::addRetentionCases, Bench::addTimeOrderCases, Bench::addTreeCases,
                           Bench::addMd5Cases, Bench::addJsonCases, Bench::addStartCases})
        add(suite);
    return suite;
}

/// Google Benchmark takes its settings as a command line only.
void initializeGoogleBenchmark()
{
    char program[] = "zecore_bench";
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    char *arguments[] = {program, interleaving, nullptr};
    int count = 2;
    benchmark::Initialize(&count, arguments);
}

/// The services tell when they come and go.
void dropDebugLines(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text)
{
    if (type != QtDebugMsg)
        std::fprintf(stderr, "%s\n", qUtf8Printable(text));
}

const char caseRole[] = "case";

/// Measures one case. Each has a process of its own, so that the memory that one
/// leaves behind does not slow down the forks and allocations of the next.
int runCase(const std::vector<std::string> &arguments)
{
    int argc = 0;
    const QCoreApplication application(argc, nullptr);
    const bool isQuick = arguments.at(2) == "quick";
    const Bench::Suite suite = makeSuite(isQuick);
    initializeGoogleBenchmark();
    const auto comparison =
        std::find_if(suite.cases().begin(), suite.cases().end(),
                     [&arguments](const Bench::Case &c) { return c.name == arguments.at(0); });
    if (comparison == suite.cases().end())
        Bench::fail(QStringLiteral("no such case"));

    const std::vector<Bench::Measurement> measurements = Bench::measure(*comparison, isQuick);
    Bench::printCase(*comparison, measurements);
    const QJsonDocument result(Bench::caseToJson(*comparison, measurements));
    Bench::writeFile(QFile::decodeName(arguments.at(1).c_str()), result.toJson());
    const bool isComplete =
        std::all_of(measurements.begin(), measurements.end(),
                    [](const Bench::Measurement &m) { return m.error.empty(); });
    return isComplete ? 0 : 1;
}

int runRole(const std::vector<std::string> &arguments)
{
    const std::vector<std::string> rest(arguments.begin() + 2, arguments.end());
    if (arguments.at(1) == caseRole)
        return runCase(rest);
    const Bench::Suite suite = makeSuite(false);
    const auto role = suite.roles().find(arguments.at(1));
    if (role == suite.roles().end())
        Bench::fail(QStringLiteral("no such role"));
    return role->second(rest);
}

QJsonObject readObject(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        Bench::fail(QStringLiteral("no figures"));
    return QJsonDocument::fromJson(file.readAll()).object();
}

int runBenchmarks(const Options &options)
{
    const Bench::WorkDirectories directories;
    const QString figures = Bench::workDirectory() + QStringLiteral("/figures.json");
    const Bench::Suite suite = makeSuite(options.quick);
    QJsonArray results;
    bool isComplete = true;
    Bench::printHeader();
    for (const Bench::Case &comparison : suite.cases()) {
        if (!isWanted(comparison, options))
            continue;
        const int status =
            QProcess::execute(QCoreApplication::applicationFilePath(),
                              {QStringLiteral("--role"), QString::fromLatin1(caseRole),
                               QString::fromStdString(comparison.name), figures,
                               options.quick ? QStringLiteral("quick") : QStringLiteral("full")});
        isComplete = isComplete && status == 0;
        if (QFile::exists(figures))
            results.append(readObject(figures));
        QFile::remove(figures);
    }
    if (results.isEmpty())
        Bench::fail(QStringLiteral("no such case"));
    if (!options.jsonPath.isEmpty() && !Bench::writeJson(options.jsonPath, results))
        Bench::fail(QStringLiteral("cannot write %1").arg(options.jsonPath));
    return isComplete ? 0 : 1;
}

int listCases()
{
    const Bench::Suite suite = makeSuite(false);
    for (const Bench::Case &comparison : suite.cases())
        std::printf("%-28s %s\n", comparison.name.c_str(), comparison.title.c_str());
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    qInstallMessageHandler(&dropDebugLines);
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    // A role is a program of its own, which makes the application object it needs.
    if (arguments.size() > 1 && arguments.front() == "--role")
        return runRole(arguments);

    const std::optional<Options> options = parse(arguments);
    if (!options) {
        std::fputs(usage, stderr);
        return 2;
    }
    if (options->list)
        return listCases();
    const QCoreApplication application(argc, argv);
    return runBenchmarks(*options);
}
