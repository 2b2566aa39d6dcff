// What the command line of private_root asks for.
#pragma once

#include <string>
#include <vector>

// A small file system of its own at a path of the private root.
struct TmpfsMount {
    std::string Path;
    std::string Size;  // as mount takes it: "64k", "1m"
};

struct Options {
    std::vector<std::string> Programs;  // absolute paths, beside the usual programs
    std::vector<TmpfsMount> Mounts;
    char** Command = nullptr;  // the program to run and its arguments, ended by a null
};

// Reads "[--program=PATH]... [--tmpfs=PATH:SIZE]... -- COMMAND [ARGUMENTS]" into `options`.
// Returns false when the line is not of that form.
[[nodiscard]] bool ParseOptions(char** arguments, Options& options);
