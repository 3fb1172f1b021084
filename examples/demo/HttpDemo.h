// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef HTTPDEMO_H
#define HTTPDEMO_H

class Demo;

/// A GET from a server in this process, whose reply becomes a tree and a file.
void showHttp(Demo &demo);

#endif // HTTPDEMO_H
