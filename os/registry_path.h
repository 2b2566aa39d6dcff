// Walks the components of a registry key's path.
#pragma once

#include <cstddef>

// A component ends at the first backslash of the remaining text, or, only if that holds none, at
// its first slash. So a mixed path splits at its backslashes first: A\B/C is A, B, C, but A/B\C is
// A/B and C. A separator at the end of the path ends the walk.
//
// Works in the caller's text: the separator behind the current component is a terminator until the
// next step (or the end of this object), which leaves a slash there.
class CRegistryPathWalk {
public:
    // Walks a zero-terminated text of `length` characters. `firstLength` not 0: the first component
    // has that length, whatever it holds; a separator stands behind it.
    CRegistryPathWalk(char* path, std::size_t length, std::size_t firstLength = 0);
    ~CRegistryPathWalk() { RestoreSeparator(); }
    CRegistryPathWalk(const CRegistryPathWalk&) = delete;
    CRegistryPathWalk& operator=(const CRegistryPathWalk&) = delete;

    // The next component, or null when there is none left.
    const char* Next();

private:
    void RestoreSeparator() {
        if (m_Separator != nullptr) {
            *m_Separator = '/';
            m_Separator = nullptr;
        }
    }

    char* m_Rest;
    char* m_End;
    char* m_Separator = nullptr;  // behind the current component
    char* m_SlashesFrom;          // behind the last backslash of the path: slashes separate there
    std::size_t m_FirstLength;
};
