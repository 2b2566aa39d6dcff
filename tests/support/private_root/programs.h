// The programs that a private root holds.
#pragma once

#include <string>
#include <vector>

// Where the machine's own program folders hide inside the private root, read-only. The links in
// /usr/bin point there.
inline constexpr char kHiddenPrograms[] = "/.programs";

struct ProgramLink {
    std::string Path;    // where the program is found inside
    std::string Target;  // what the link says
};

// The usual programs, as far as the machine has them, and `wanted`, which it must have. To be
// called while the machine's own root is still "/".
std::vector<ProgramLink> ResolvePrograms(const std::vector<std::string>& wanted);

// Makes the links, once the private root is "/".
void LinkPrograms(const std::vector<ProgramLink>& links);
