// Making, copying and closing registry handles.
#include <exception>

#include "os/registry.h"
#include "os/registry_state.h"
#include "trace/debug.h"

CRegistry::CRegistry() {
    InitClass();
}

CRegistry::CRegistry(CRegistryNode*& node) {
    InitClass();
    m_Handle = CRegistryNodeRef(node);
}

CRegistry::CRegistry(const char* path, CRegistryNode*& parent, int mode) {
    InitClass();
    (void)Open(path, parent, mode);  // leaves its result in m_Result
}

CRegistry::CRegistry(CRegistry& other) {
    *this = other;
}

// NOLINTNEXTLINE(misc-unconventional-assign-operator): the argument's type is given
CRegistry& CRegistry::operator=(CRegistry& other) {
    if (this == &other) {
        return *this;
    }
    InitClass();
    m_Handle = other.m_Handle;
    try {
        m_Path = other.m_Path;
    } catch (const std::exception&) {
        m_Path.clear();  // no operation reads it
    }
    return *this;
}

CRegistry::~CRegistry() {
    FreeClass();
}

void CRegistry::FreeClass() {
    m_ValueBuffer.reset();
    std::string().swap(m_Path);
    SaveTree();
}

bool CRegistry::Close() {
    const bool wasOpen = static_cast<bool>(m_Handle);
    m_Handle = {};
    return wasOpen;
}

CRegistryNode* CRegistry::KeepKeyHandle() {
    CRegistryNode* node = m_Handle.Get();
    if (node != nullptr) {
        RegistryState.Keep(*node);
        m_Handle = {};
    }
    return node;
}
