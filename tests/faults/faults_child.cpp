// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Drives the public operations through failing system calls. To be started with the
// library faults_preload preloaded.
//   faults_child list                   the names of the operations, one per line
//   faults_child run NAME [FAULT]       one of them through everything that can happen to
//                                       it, or through the faults whose description
//                                       begins so, for example "3rd open"
//   faults_child check                  whether the faults come at all

#include "faults/Operations.h"
#include "faults/Runner.h"
#include "faults/TrialProcess.h"

#include <QtCore/QDateTime>
#include <QtCore/QTextCodec>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using Faults::Operation;
using Faults::Operations;

Operations allOperations()
{
    Operations all;
    for (const auto list :
         {Faults::fileOperations, Faults::retentionOperations, Faults::httpOperations,
          Faults::logOperations, Faults::instanceOperations, Faults::dataFileOperations,
          Faults::systemOperations}) {
        const Operations some = list();
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

int list()
{
    for (const Operation &operation : allOperations())
        std::printf("%s\n", operation.name);
    return 0;
}

/// What the first use of Qt loads is no part of an operation.
void warmUp()
{
    QTextCodec::codecForLocale();
    QDateTime::currentDateTime().toString("yyyy");
}

int run(const char *name, const char *fault)
{
    const Operations operations = allOperations();
    for (const Operation &operation : operations) {
        if (std::strcmp(operation.name, name) != 0)
            continue;
        warmUp();
        Faults::Runner runner(operation);
        const QByteArray complaints = runner.runOnly(fault);
        std::printf("%d runs, %d calls\n%s", runner.runs(), runner.calls(), complaints.constData());
        if (!complaints.isEmpty())
            return 1;
        if (runner.runs() > 1)
            return 0;
        std::printf("no fault %s\n", fault); // or none at all: no call is counted
        return 2;
    }
    std::printf("no operation %s\n", name);
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    if (!Faults::isPreloaded()) {
        std::printf("faults_preload is not preloaded\n");
        return 3;
    }
    ::unsetenv("LD_PRELOAD"); // not for the programs that the operations start
    const char *const command = argc > 1 ? argv[1] : "";
    if (std::strcmp(command, "list") == 0)
        return list();
    if (std::strcmp(command, "check") == 0)
        return Faults::checkFaults() ? 0 : 1;
    if (std::strcmp(command, "run") == 0 && argc > 2)
        return run(argv[2], argc > 3 ? argv[3] : "");
    return 2;
}
