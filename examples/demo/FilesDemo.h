// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef FILESDEMO_H
#define FILESDEMO_H

class Demo;

/// Collects the files of a project, copies it without its logs, prunes these.
void showFiles(Demo &demo);
/// A table of the mounted file systems.
void showStorage(Demo &demo);

#endif // FILESDEMO_H
