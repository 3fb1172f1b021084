// SPDX-FileCopyrightText: 2026 The libZeCore authors
// SPDX-License-Identifier: LGPL-3.0-or-later

#include "faults/Injection.h"

#include <algorithm>
#include <cerrno>

namespace Faults {

namespace {

/// What can become of one call of a family. A real system gives these; the others
/// of the same kind are handled alike.
struct Fate
{
    Family family;
    const char *name;
    QVector<int> errors;
    bool isTransfer;
    int lastingError = 0; ///< of a condition that stays, if there is such
};

const QVector<Fate> &fates()
{
    static const QVector<Fate> all{
        {Open, "open", {EACCES, EINTR, EIO, EMFILE, ENOSPC}, false, EMFILE},
        {Close, "close", {EINTR, EIO}, false},
        {Read, "read", {EINTR, EIO}, true, EIO},
        {Write, "write", {EINTR, EIO, ENOSPC}, true},
        {Seek, "lseek", {EIO}, false},
        {Rename, "rename", {EACCES, EIO, ENOSPC}, false},
        {Remove, "unlink or rmdir", {EACCES, EIO}, false, EACCES},
        {MakeDirectory, "mkdir", {EACCES, ENOSPC}, false, ENOSPC},
        {Control, "fcntl", {EACCES, EINTR, ENOMEM}, false},
        {FileLock, "flock", {EINTR, EIO}, false},
        {Truncate, "ftruncate", {EINTR, EIO, ENOSPC}, false},
        {Sync, "sync", {EINTR, EIO, ENOSPC}, false},
        {Status, "stat", {EACCES, EIO, ENOMEM}, false, EIO},
        {Access, "access", {EACCES, EIO}, false},
        {Listing, "opendir", {EACCES, EMFILE, ENOMEM}, false, EMFILE},
        {Entry, "readdir", {EIO}, false},
        {Link, "link", {EACCES, EIO, ENOSPC}, false},
        {KernelCopy, "copy_file_range", {EINTR, EIO, ENOSPC}, true},
        {DeviceControl, "ioctl", {EIO}, false},
        {Attributes, "chmod", {EACCES, EIO}, false},
        {CurrentDirectory, "chdir or getcwd", {EACCES, EIO}, false},
        {Resolve, "realpath or readlink", {EACCES, EIO}, false},
        {Mounts, "statvfs or setmntent", {EACCES, EIO}, false},
        {SharedMemory, "shm", {EACCES, ENOMEM, ENOSPC}, false},
        {Semaphore, "sem", {EACCES, ENOSPC}, false},
        {SemaphoreStep, "semop", {EINTR}, false},
        {Socket, "socket", {EACCES, EMFILE, ENOMEM}, false},
        {Bind, "bind", {EACCES, ENOMEM}, false},
        {Listen, "listen", {EACCES, ENOMEM}, false},
        {Connect, "connect", {EACCES, EINTR, ENOMEM}, false},
        {Accept, "accept", {EINTR, EMFILE, ENOMEM}, false},
        {SocketOption, "sockopt or sockname", {ENOMEM}, false},
        {Fork, "fork", {EAGAIN, ENOMEM}, false},
        {Execute, "exec", {EACCES, EIO, ENOMEM}, false},
        {Pipe, "pipe", {EMFILE, ENOMEM}, false},
        {Duplicate, "dup", {EINTR, EMFILE}, false},
        {Event, "eventfd", {EMFILE, ENOMEM}, false},
        {Poll, "poll", {EINTR, ENOMEM}, false},
        {Wait, "wait", {EINTR}, false},
        {Thread, "pthread_create", {EAGAIN}, false},
    };
    return all;
}

QByteArray nameOfError(int error)
{
    switch (error) {
    case EACCES:
        return "EACCES";
    case EAGAIN:
        return "EAGAIN";
    case EINTR:
        return "EINTR";
    case EIO:
        return "EIO";
    case EMFILE:
        return "EMFILE";
    case ENOMEM:
        return "ENOMEM";
    case ENOSPC:
        return "ENOSPC";
    default:
        return QByteArray::number(error);
    }
}

QByteArray ordinal(int number)
{
    const int tens = number % 100;
    const int ones = tens > 10 && tens < 20 ? 0 : number % 10;
    const char *const ending = ones == 1 ? "st" : ones == 2 ? "nd" : ones == 3 ? "rd" : "th";
    return QByteArray::number(number) + ending;
}

/// The places that have their turn among @p count calls.
QVector<int> placesAmong(int count)
{
    constexpr int most = 40;
    QVector<int> places;
    const int turns = std::min(count, most);
    for (int i = 0; i < turns; ++i)
        places.append(turns < 2 ? 1 : 1 + i * (count - 1) / (turns - 1));
    return places;
}

} // namespace

QByteArray nameOf(Family family)
{
    for (const Fate &fate : fates()) {
        if (fate.family == family)
            return fate.name;
    }
    return "?";
}

QByteArray describe(const Plan &plan)
{
    const QByteArray call = ordinal(plan.nth) + ' ' + nameOf(plan.family);
    switch (plan.kind) {
    case Kind::None:
        return "without a fault";
    case Kind::Error:
        return call + " fails with " + nameOfError(plan.error);
    case Kind::Lasting:
        return call + " and all later ones fail with " + nameOfError(plan.error);
    case Kind::Short:
        return call + " is short";
    case Kind::FullDisk:
        return call + " fills the disk";
    }
    return {};
}

std::vector<Plan> plansFor(const QVector<int> &counts, bool allThreads)
{
    std::vector<Plan> plans;
    for (const Fate &fate : fates()) {
        const QVector<int> places = placesAmong(counts.at(fate.family));
        for (const int place : places) {
            Plan plan{Kind::Error, fate.family, place, 0, allThreads};
            for (const int error : fate.errors) {
                plan.error = error;
                plans.push_back(plan);
            }
            plan.kind = Kind::Lasting;
            plan.error = fate.lastingError;
            if (plan.error != 0)
                plans.push_back(plan);
            plan.error = 0;
            plan.kind = Kind::Short;
            if (fate.isTransfer)
                plans.push_back(plan);
            plan.kind = Kind::FullDisk;
            if (fate.family == Write || fate.family == KernelCopy)
                plans.push_back(plan);
        }
    }
    return plans;
}

} // namespace Faults
