// A second, plain walk over an SMBIOS table, to compare with: byte by byte, with no views.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace fuzz {

struct PlainStructure {
    std::size_t Offset;
    std::vector<std::string_view> Strings;
};
struct PlainWalk {
    std::vector<PlainStructure> Structures;  // those that are complete
    bool IsComplete = false;                 // the table did not break off
    std::size_t Count = 0;                   // as the structure count is told, when it is complete
};

inline PlainWalk WalkPlainly(std::string_view table) {
    PlainWalk walk;
    std::size_t p = 0;
    while (p + 2 <= table.size()) {
        std::size_t s = p + static_cast<unsigned char>(table[p + 1]);
        PlainStructure structure{p, {}};
        const bool hasNoStrings = s + 1 < table.size() && table[s] == 0 && table[s + 1] == 0;
        std::size_t begin = s;
        for (; s + 1 < table.size() && (table[s] != 0 || table[s + 1] != 0); ++s) {
            if (table[s] == 0) {
                structure.Strings.push_back(table.substr(begin, s - begin));
                begin = s + 1;
            }
        }
        if (s + 1 >= table.size()) {
            return walk;
        }
        if (!hasNoStrings) {
            structure.Strings.push_back(table.substr(begin, s - begin));
        }
        walk.Structures.push_back(structure);
        const bool isLast = table[p] == 127;
        p = s + 2;
        if (p == table.size() || isLast) {
            walk.IsComplete = true;
            walk.Count = walk.Structures.size() + (p == table.size() ? 0 : 1);
            return walk;
        }
    }
    return walk;
}

}  // namespace fuzz
