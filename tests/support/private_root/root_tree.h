// The file tree of a private root.
#pragma once

#include <string>
#include <utility>
#include <vector>

struct TreeOptions {
    std::vector<std::string> Programs;  // absolute paths, beside the usual programs
    // Small file systems: path, and size as mount takes it ("64k", "1m").
    std::vector<std::pair<std::string, std::string>> Mounts;
};

// Builds the tree on a tmpfs of this mount namespace, makes it the root of the process and lets
// the machine's own root go. To be called in the first process of the PID namespace, since /proc
// shows the namespace of the process that mounts it. Ends the process on a failure.
//
//     /etc /var /run /tmp /sys    empty, on one tmpfs; /var/run -> /run, /var/lock -> /run/lock
//     /dev                        null, zero, full, random, urandom, tty of the machine; shm
//     /proc                       of the PID namespace; a tmpfs over /proc/bus
//     /usr                        the machine's, read-only
//     /usr/bin /usr/sbin          on a tmpfs: links to the usual and the wanted programs
//     source and build tree       the machine's, at their own paths, the source read-only
void EnterRootTree(const TreeOptions& options);
