#include "os/registry_state.h"

// After the trace object (101) and the daemon's exit event (102).
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): one tree for the process
__attribute__((init_priority(103))) CRegistryState RegistryState;

CRegistryState::~CRegistryState() {
    m_Root.deleteNode();
    CRegistryNode* kept = m_Kept.exchange(nullptr);
    while (kept != nullptr) {
        std::exchange(kept, kept->m_NextKept)->ReleaseReference();
    }
}

CRegistryNode* CRegistryState::Hive(RegistryHive hive) const {
    CRegistryNode* node = m_Hives[static_cast<std::size_t>(hive)].load();
    return node != nullptr && !node->IsDead() ? node : nullptr;
}

void CRegistryState::FindHives() {
    for (std::size_t i = 0; i < kHiveNames.size(); ++i) {
        SetHive(i, m_Root.FindSubkey(kHiveNames[i]));
    }
}

void CRegistryState::RepairHives() {
    for (std::size_t i = 0; i < kHiveNames.size(); ++i) {
        bool isNew = false;
        CRegistryNodeRef node = m_Root.FindOrAddSubkey(kHiveNames[i], isNew);
        if (!node) {  // a value has the name
            CRegistryData value;
            (void)m_Root.Remove(kHiveNames[i], value);
            node = m_Root.FindOrAddSubkey(kHiveNames[i], isNew);
        }
        SetHive(i, node);
    }
}

void CRegistryState::SetHive(std::size_t index, const CRegistryNodeRef& node) {
    if (node) {
        Keep(*node);
    }
    m_Hives[index].store(node.Get());
}

void CRegistryState::Keep(CRegistryNode& node) {
    if (&node == &m_Root || node.m_IsKept.exchange(true)) {
        return;
    }
    node.AddReference();
    node.m_NextKept = m_Kept.load();
    while (!m_Kept.compare_exchange_weak(node.m_NextKept, &node)) {
    }
}
