// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#ifndef FAULTPLAN_H
#define FAULTPLAN_H

#include <atomic>

/// What the preloaded library and the program under test share: which call is to
/// fail, and what has been called.
namespace Faults {

/// Calls that fail alike. What can become of each is in Injection.cpp.
enum Family {
    Open,
    Close,
    Read,
    Write,
    Seek,
    Rename,
    Remove,
    MakeDirectory,
    Control,
    FileLock,
    Truncate,
    Sync,
    Status,
    Access,
    Listing,
    Entry,
    Link,
    KernelCopy,
    DeviceControl,
    Attributes,
    CurrentDirectory,
    Resolve,
    Mounts,
    SharedMemory,
    Semaphore,
    SemaphoreStep,
    Socket,
    Bind,
    Listen,
    Connect,
    Accept,
    SocketOption,
    Fork,
    Execute,
    Pipe,
    Duplicate,
    Event,
    Poll,
    Wait,
    Thread,
    FamilyCount
};

enum class Kind {
    None,    ///< nothing fails; the calls are only counted
    Error,   ///< the call does nothing and fails
    Lasting, ///< so do all later ones of the family
    Short,   ///< it reads or writes half of what it could
    FullDisk ///< it writes half, and from then on there is no space left
};

struct Plan
{
    Kind kind = Kind::None;
    Family family = Open;
    int nth = 0; ///< from 1
    int error = 0;
    bool allThreads = false; ///< not only the thread that has called zecoreFaultsStart()
};

/// System V objects that were created, to see whether they stay.
struct Created
{
    static constexpr int room = 16;
    std::atomic<int> count{0};
    int ids[room] = {};
};

/// Lies in memory that the processes of one trial share: the calls of a child between
/// fork() and exec count as well.
struct State
{
    static constexpr int callSize = 300;
    Plan plan;
    std::atomic<int> counts[FamilyCount] = {};
    std::atomic<bool> hit{false}; ///< the call to fail has come
    char call[callSize] = {};     ///< which one it was
    char program[callSize] = {};  ///< where the program seems to be, if not empty
    std::atomic<int> killed{0};   ///< signals to everyone that were held back
    Created segments;
    Created semaphores;
};

} // namespace Faults

extern "C" {
/// Everything from here on goes by @p state; nothing fails or counts yet.
using FaultsAttach = void(Faults::State *state);
/// From now on calls count, and the planned one fails.
using FaultsStart = void();
/// The end of that, for this process.
using FaultsStop = void();
}

#endif // FAULTPLAN_H
