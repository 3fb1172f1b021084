// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Cases.h"
#include "Child.h"
#include "Report.h"
#include "Surroundings.h"

#include <QtCore/QCoreApplication>

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

int runRole(const std::vector<std::string> &arguments)
{
    const Bench::Suite suite = makeSuite(false);
    const auto role = suite.roles().find(arguments.at(1));
    if (role == suite.roles().end())
        Bench::fail(QStringLiteral("no such role"));
    return role->second({arguments.begin() + 2, arguments.end()});
}

int runBenchmarks(const Options &options)
{
    const Bench::WorkDirectories directories;
    const Bench::Suite suite = makeSuite(options.quick);
    initializeGoogleBenchmark();
    QJsonArray results;
    bool isComplete = true;
    Bench::printHeader();
    for (const Bench::Case &comparison : suite.cases()) {
        if (!isWanted(comparison, options))
            continue;
        const std::vector<Bench::Measurement> measurements =
            Bench::measure(comparison, options.quick);
        Bench::printCase(comparison, measurements);
        results.append(Bench::caseToJson(comparison, measurements));
        isComplete = isComplete
            && std::all_of(measurements.begin(), measurements.end(),
                           [](const Bench::Measurement &m) { return m.error.empty(); });
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
