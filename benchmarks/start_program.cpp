// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <cstdio>

/// The least program with an application object. With an argument it tells what it
/// has resident.
int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc == 1)
        return 0;
    std::FILE *const status = std::fopen("/proc/self/status", "re");
    char line[256];
    long kibibytes = 0;
    while (status && std::fgets(line, sizeof(line), status)) {
        if (std::sscanf(line, "VmRSS: %ld", &kibibytes) == 1) // NOLINT(cert-err34-c)
            std::printf("%ld\n", kibibytes);
    }
    if (status)
        std::fclose(status);
    return kibibytes > 0 ? 0 : 1;
}
