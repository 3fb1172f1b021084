// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "Harness.h"

#include <QtCore/qglobal.h>

#include <algorithm>
#include <cstdlib>

namespace Bench {

namespace {

const char memoryCounter[] = "MiB";

/// Keeps the single runs; the library's own averages over repetitions are not used.
class Collector : public benchmark::BenchmarkReporter
{
public:
    explicit Collector(const Case &comparison)
        : m_case(comparison)
    {
        for (const Contestant &contestant : comparison.contestants)
            m_measurements.push_back({contestant.name, {}, {}});
    }
    Q_DISABLE_COPY(Collector)

    bool ReportContext(const Context & /*context*/) override { return true; }

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration)
                continue;
            Measurement &measurement = m_measurements.at(indexOf(run));
            if (run.error_occurred)
                measurement.error = run.error_message;
            else
                measurement.values.push_back(valueOf(run));
        }
    }

    const std::vector<Measurement> &measurements() const { return m_measurements; }

private:
    static std::size_t indexOf(const Run &run)
    {
        return std::strtoul(run.run_name.function_name.c_str(), nullptr, 10);
    }

    double valueOf(const Run &run) const
    {
        if (m_case.unit == Unit::Mebibytes)
            return run.counters.at(memoryCounter).value;
        return run.GetAdjustedRealTime() / m_case.operations;
    }

    const Case &m_case;
    std::vector<Measurement> m_measurements;
};

void configure(benchmark::internal::Benchmark *entry, const Case &comparison, bool quick)
{
    const int repetitions = quick ? 1 : comparison.repetitions;
    entry->Unit(benchmark::kNanosecond)->Repetitions(repetitions);
    if (quick)
        entry->Iterations(1);
    else if (comparison.iterations > 0)
        entry->Iterations(comparison.iterations);
    else
        entry->MinTime(0.05);
    if (comparison.ownClock)
        entry->UseManualTime();
    else
        entry->UseRealTime();
}

} // namespace

std::vector<Measurement> measure(const Case &comparison, bool quick)
{
    for (std::size_t i = 0; i < comparison.contestants.size(); ++i) {
        const Body &body = comparison.contestants.at(i).body;
        configure(benchmark::RegisterBenchmark(std::to_string(i).c_str(),
                                               [body](benchmark::State &state) { body(state); }),
                  comparison, quick);
    }
    Collector collector(comparison);
    benchmark::RunSpecifiedBenchmarks(&collector, nullptr, "all");
    benchmark::ClearRegisteredBenchmarks(); // bodies hold servers, which end before all else
    return collector.measurements();
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values.at(middle)
                                  : (values.at(middle - 1) + values.at(middle)) / 2;
}

void setMemory(benchmark::State &state, double mebibytes)
{
    state.counters[memoryCounter] = mebibytes;
}

} // namespace Bench
