// Finds out whether only root can have changed a file, by whichever way it is reached.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class PathKind : std::uint8_t { kRegularFile, kDirectory };

// Resolves the links in `path` and looks at the result and at every directory above it: all must
// belong to root and be writable by their owner only, and the last must be of the given kind. A
// directory on the way that others can write is in order when it is sticky, as /tmp is.
// Returns 0 with the path free of links in `resolved`; or an errno number (of the call that failed,
// EPERM for owner or mode, EINVAL for the kind) with the place at fault and why in `problem`.
//
// What was found stays true as long as root does not change it: nobody else can replace any part of
// the resolved path. Opening it by name afterwards therefore leaves no gap to others.
[[nodiscard]] int ResolveTrustedPath(const std::string& path, PathKind kind, std::string& resolved,
                                     std::string& problem);

// The same look, but every place at fault, from the root directory on, in words. Returns 0 when it
// could look everywhere, however many it found.
struct PathProblems {
    std::vector<std::string> OtherOwner;        // belong to somebody else than root
    std::vector<std::string> WritableByOthers;  // by group or others
};
[[nodiscard]] int FindPathProblems(const std::string& path, PathProblems& problems);
