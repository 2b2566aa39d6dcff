#include "os/registry_path.h"

#include <algorithm>
#include <cstring>
#include <utility>

CRegistryPathWalk::CRegistryPathWalk(char* path, std::size_t length, std::size_t firstLength)
    : m_Rest(path), m_End(path + length), m_SlashesFrom(path), m_FirstLength(firstLength) {
    if (void* last = memrchr(path, '\\', length)) {
        m_SlashesFrom = static_cast<char*>(last) + 1;
    }
}

const char* CRegistryPathWalk::Next() {
    RestoreSeparator();
    if (m_Rest == m_End) {
        return nullptr;
    }
    char* component = m_Rest;
    char* end = component + std::exchange(m_FirstLength, 0);
    if (end == component) {
        // Deliberate: backslashes come first, also when a slash stands before them.
        end = std::find(component, m_End, component < m_SlashesFrom ? '\\' : '/');
    }
    m_Rest = end;
    if (end != m_End) {
        m_Separator = end;
        *end = '\0';
        ++m_Rest;
    }
    return component;
}
