// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef HARNESS_H
#define HARNESS_H

#include "Stopwatch.h"

#include <benchmark/benchmark.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

/// Comparisons as data: what is measured stands in the sources of the services,
/// how it is measured and shown is the same for all.
namespace Bench {

/// One run of a contestant: prepares, iterates over the state, checks, tidies up.
using Body = std::function<void(benchmark::State &)>;

struct Contestant
{
    std::string name;
    Body body;
};

/// The library's median divided by that of another contestant should not exceed this.
struct Goal
{
    std::string against;
    double ratio;
};

enum class Unit {
    Nanoseconds, ///< time of one operation
    Throughput,  ///< shown as MiB/s; ratios are those of the times all the same
    Mebibytes    ///< memory, as setMemory() reports it
};

/// A point of a curve: which plot it belongs to, and where it stands on its x axis.
struct Point
{
    std::string plot;
    double x = 0;
};

/// Contestants that do the same work. The first one is the library.
struct Case
{
    std::string name;
    std::string title;
    std::vector<Contestant> contestants;
    std::vector<Goal> goals;
    Unit unit = Unit::Nanoseconds;
    double operations = 1; ///< operations in one iteration
    double bytes = 0;      ///< bytes that one iteration handles, for Unit::Throughput
    int repetitions = 9;   ///< of each contestant, shuffled with those of the others
    long iterations = 0;   ///< in a repetition; 0: as many as fill a short time
    bool ownClock = false; ///< bodies report their time by State::SetIterationTime()
    Point point;           ///< set for cases that exist for a plot only
};

/// What a child process of a benchmark does; the result is its exit status.
using Role = std::function<int(const std::vector<std::string> &arguments)>;

class Suite
{
public:
    explicit Suite(bool quick)
        : m_quick(quick)
    {
    }

    /// True for the smoke test, in which sizes do not matter.
    bool isQuick() const { return m_quick; }
    /// @p full, or @p small in the smoke test.
    template <typename Number>
    Number scaled(Number full, Number small) const
    {
        return m_quick ? small : full;
    }

    void add(Case comparison)
    {
        if (m_quick)
            comparison.goals.clear(); // small sizes say nothing about them
        m_cases.push_back(std::move(comparison));
    }
    void addRole(const std::string &name, Role role) { m_roles[name] = std::move(role); }

    const std::vector<Case> &cases() const { return m_cases; }
    const std::map<std::string, Role> &roles() const { return m_roles; }

private:
    bool m_quick;
    std::vector<Case> m_cases;
    std::map<std::string, Role> m_roles;
};

struct Measurement
{
    std::string contestant;
    std::vector<double> values; ///< ns for one operation, or MiB
    std::string error;          ///< why there are none
};

/// The contestants of @p comparison, timed in shuffled order.
std::vector<Measurement> measure(const Case &comparison, bool quick);

double median(std::vector<double> values);

/// A body that does @p operation again and again.
template <typename Operation>
Body repeated(Operation operation)
{
    return [operation](benchmark::State &state) {
        for ([[maybe_unused]] auto iteration : state)
            operation();
    };
}

/// The same for an operation that returns how many seconds counted; Case::ownClock.
template <typename Operation>
Body timed(Operation operation)
{
    return [operation](benchmark::State &state) {
        for ([[maybe_unused]] auto iteration : state)
            state.SetIterationTime(operation());
    };
}

/// Reports the result of a Unit::Mebibytes body.
void setMemory(benchmark::State &state, double mebibytes);

} // namespace Bench

#endif // HARNESS_H
