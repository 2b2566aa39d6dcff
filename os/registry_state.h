// What all registry handles of the process share: the tree and whether it is set up and saved.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "base/critical_section.h"
#include "os/registry.h"
#include "os/registry_node.h"

// One object per process, made before every object without a priority of its own, so that their
// constructors may use the registry. Its destruction releases the tree without saving it.
class CRegistryState {
public:
    // In the order of RegistryHive.
    static constexpr std::array<const char*, 5> kHiveNames = {
        "HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER", "HKEY_USERS", "HKEY_CLASSES_ROOT",
        "HKEY_CURRENT_CONFIG"};

    CRegistryState() = default;
    ~CRegistryState();
    CRegistryState(const CRegistryState&) = delete;
    CRegistryState& operator=(const CRegistryState&) = delete;

    [[nodiscard]] CRegistryNode& Root() { return m_Root; }
    // Serialises set-up, the repair of the predefined keys and saving. Taken before a node's lock,
    // never while one is held.
    [[nodiscard]] CCriticalSection& Lock() { return m_Lock; }

    // The node of a predefined key, or null when the tree has none. Never released memory.
    [[nodiscard]] CRegistryNode* Hive(RegistryHive hive) const;
    // Under the lock: points the predefined keys to what the root holds, or to null.
    void FindHives();
    // Under the lock: makes every predefined key that the root lacks. Throws std::bad_alloc.
    void RepairHives();

    // Holds a reference to the node until the process ends, because its bare pointer goes to a
    // caller. Needs no memory.
    void Keep(CRegistryNode& node);

    // True once the tree was read; written under the lock.
    std::atomic<bool> MIsSetup{false};

    // True when the tree changed since it was last saved. Changes are counted, so that one made
    // during a save is not taken for saved. Whoever changes a node marks it afterwards.
    [[nodiscard]] bool MIsDirty() const { return m_Changes.load() != m_SavedChanges.load(); }
    void MarkDirty() { m_Changes.fetch_add(1); }
    [[nodiscard]] std::uint64_t Changes() const { return m_Changes.load(); }
    // Clears MIsDirty, unless there were changes after `changes` was read.
    void MarkSaved(std::uint64_t changes) { m_SavedChanges.store(changes); }

private:
    void SetHive(std::size_t index, const CRegistryNodeRef& node);

    CRegistryNode m_Root;
    std::array<std::atomic<CRegistryNode*>, kHiveNames.size()> m_Hives{};
    CCriticalSection m_Lock;
    std::atomic<std::uint64_t> m_Changes{0};
    std::atomic<std::uint64_t> m_SavedChanges{0};
    std::atomic<CRegistryNode*> m_Kept{nullptr};  // linked through CRegistryNode::m_NextKept
};

// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): one tree for the process
extern CRegistryState RegistryState;
