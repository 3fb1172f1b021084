// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// Says that it runs, then waits for the end of its input: it never outlives the
// test that holds the other end.

#include <cstdio>

int main()
{
    std::puts("ready");
    std::fflush(stdout);
    while (std::getchar() != EOF) { }
    return 0;
}
