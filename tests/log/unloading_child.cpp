// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

// A program that is not linked with the library, loads a plugin that is, and unloads
// it again:
//   unloading_child PLUGIN LIBRARY-NAME running|stopped DIR

#include <QtCore/QCoreApplication>

#include <cstdio>

#include <dlfcn.h>
#include <unistd.h>

namespace {

const char *whether(const char *name)
{
    return ::dlopen(name, RTLD_LAZY | RTLD_NOLOAD) ? "loaded" : "gone";
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 5)
        return 64;
    const QCoreApplication app(argc, argv);
    void *const plugin = ::dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!plugin) {
        std::fprintf(stderr, "%s\n", ::dlerror());
        return 65;
    }
    using Use = void (*)(const char *logging, const char *directory);
    const auto useLibrary = reinterpret_cast<Use>(::dlsym(plugin, "useLibrary"));
    if (!useLibrary)
        return 66;
    useLibrary(argv[3], argv[4]);
    ::dlclose(plugin);
    std::printf("plugin %s, library %s\n", whether(argv[1]), whether(argv[2]));
    std::fflush(stdout);
    ::usleep(100000);                       // for a writer that still runs
    qWarning("a line after the unloading"); // through the handler of the library
    return 3;
}
