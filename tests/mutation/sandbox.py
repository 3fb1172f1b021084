#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
"""Runs a program where a library gone wrong can do no harm.

A change may take away what keeps the library from killing every process or from
emptying every directory. So the program sees its own processes, shared memory and
network only, and all files but those below the directories given are read-only, the
kernel's settings among them. With the program goes whatever it has left: processes,
shared memory, sockets.

Usage: unshare --mount --pid --ipc --net --fork --kill-child --mount-proc
           sandbox.py [SOURCE:TARGET]... -- PROGRAM [ARGUMENT...]
SOURCE is writable, and seen as TARGET, which is made if it is below /run.
"""

import ctypes
import fcntl
import os
import re
import resource
import socket
import struct
import sys

MS_RDONLY, MS_NOSUID, MS_NODEV, MS_NOEXEC, MS_REMOUNT, MS_BIND = 1, 2, 4, 8, 32, 4096
FLAGS = {"nosuid": MS_NOSUID, "nodev": MS_NODEV, "noexec": MS_NOEXEC}
TEMPORARY = ("/dev/shm", "/run", "/tmp")
# Where /proc changes more than processes.
KERNEL = ("/proc/bus", "/proc/fs", "/proc/irq", "/proc/sys", "/proc/sysrq-trigger")
MEMORY = 8 << 30
FILE_SIZE = 8 << 30

libc = ctypes.CDLL(None, use_errno=True)


def mount(source, target, kind, flags, data=None):
    """True if it was done."""
    return libc.mount(os.fsencode(source), os.fsencode(target), kind.encode() if kind else None,
                      flags, os.fsencode(data) if data else None) == 0


def mount_temporary(target, places):
    """An empty directory, or one that shows the old contents if one of the places is there."""
    if not any(place.startswith(target + "/") for place in places):
        return mount("none", target, "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777")
    for name, mode in (("upper", 0o1777), ("work", 0o755)):
        os.mkdir(f"/run/{name}")
        os.chmod(f"/run/{name}", mode)
    return mount("none", target, "overlay", MS_NOSUID | MS_NODEV,
                 f"lowerdir={target},upperdir=/run/upper,workdir=/run/work")


def mount_points():
    """Pairs of a path and its options."""
    with open("/proc/self/mountinfo", "rb") as mounts:
        fields = [line.split(b" ") for line in mounts]
    for entry in fields:
        path = re.sub(rb"\\([0-7]{3})", lambda match: bytes([int(match[1], 8)]), entry[4])
        yield os.fsdecode(path), entry[5].decode().split(",")


def is_writable(path):
    try:
        return not os.statvfs(path).f_flag & os.ST_RDONLY
    except OSError:
        return False  # hidden by another one, or not for us


def make_all_read_only(writable):
    for path in filter(os.path.exists, KERNEL):
        if not mount(path, path, None, MS_BIND):
            sys.exit(f"sandbox: cannot guard {path}")
    # What is mounted below the temporary directories is hidden by them.
    hidden = tuple(f"{directory}/" for directory in TEMPORARY)
    others = [(path, options) for path, options in mount_points()
              if path not in {"/proc", *TEMPORARY, *writable} and not path.startswith(hidden)]
    for path, options in others:
        flags = sum(FLAGS.get(option, 0) for option in options)
        mount("none", path, None, MS_REMOUNT | MS_BIND | MS_RDONLY | flags)
    for path, _ in others:
        if is_writable(path):
            sys.exit(f"sandbox: {path} can be changed")


def start_loopback():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        request = struct.pack("16sh14x", b"lo", 1)  # IFF_UP
        fcntl.ioctl(any_socket, 0x8914, request)  # SIOCSIFFLAGS


def limit_resources():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_SIZE, FILE_SIZE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run(command):
    """Runs it as the first process's child; gives its status, as a shell does."""
    child = os.fork()
    if child == 0:
        limit_resources()
        os.execvp(command[0], command)
    while True:
        # Orphans come here as well and are not to stay as zombies.
        pid, status = os.wait()
        if pid == child:
            code = os.waitstatus_to_exitcode(status)
            return code if code >= 0 else 128 - code


def main():
    separator = sys.argv.index("--")
    binds = [argument.split(":") for argument in sys.argv[1:separator]]
    if os.getpid() != 1:
        sys.exit(__doc__)
    directory = os.getcwd()
    # Opened first: another /tmp may hide them.
    sources = [f"/proc/self/fd/{os.open(source, os.O_PATH)}" for source, _ in binds]
    for target, mode in (("/dev/shm", "mode=1777"), ("/run", "mode=755")):
        if not mount("none", target, "tmpfs", MS_NOSUID | MS_NODEV, mode):
            sys.exit(f"sandbox: no {target}")
    if not mount_temporary("/tmp", [__file__, directory, *sum(binds, [])]):
        sys.exit("sandbox: no /tmp")
    for source, (name, target) in zip(sources, binds):
        if target.startswith("/run/"):
            os.mkdir(target)
        if not mount(source, target, None, MS_BIND):
            sys.exit(f"sandbox: cannot show {name} as {target}")
    make_all_read_only({target for _, target in binds})
    start_loopback()
    os.chdir(directory)
    sys.exit(run(sys.argv[separator + 1:]))


if __name__ == "__main__":
    main()
