// Reading the tree at the first use, and the predefined keys.
#include <cerrno>
#include <exception>
#include <string>

#include "base/cancellation.h"
#include "base/memory_failure.h"
#include "base/trusted_path.h"
#include "os/registry.h"
#include "os/registry_file.h"
#include "os/registry_state.h"
#include "trace/debug.h"

namespace {

// The file is used all the same: the tree has no other place.
void WarnOfWriters(const char* path) {
    (void)FalseWithoutMemory([&] {
        std::string resolved;
        std::string problem;
        if (ResolveTrustedPath(path, PathKind::kRegularFile, resolved, problem) == EPERM) {
            Debug.Print(1, "CRegistry: WARNING: %s\n", problem.c_str());
        }
        return true;
    });
}

// Reads the tree file or, when that cannot be read, its backup, and after that the defaults.
void ReadFirstTree(CRegistryNode& root) {
    if (CRegistry::ReadTree(CRegistry::MPRegistry, root)) {
        return;
    }
    Debug.Print(1, "CRegistry: WARNING: Could not restore tree from \"%s\", trying backup\n",
                CRegistry::MPRegistry);
    if (CRegistry::ReadTree(CRegistry::MPRegistryOld, root)) {
        return;
    }
    Debug.Print(1, "CRegistry: WARNING: Could not restore tree from \"%s\", trying default\n",
                CRegistry::MPRegistryOld);
    if (CRegistry::ReadTree(CRegistry::MPRegistryDefault, root)) {
        return;
    }
    Debug.Print(1, "CRegistry: ERROR: Could not restore tree from \"%s\", restoring failed\n",
                CRegistry::MPRegistryDefault);
}

}  // namespace

void CRegistry::ClearFields() {
    m_Result = 0;
    m_ValueSize = 0;
    m_ValueType = 0;
    m_ExpandFlag = 1;
    m_KeyPosition = {};
    m_ValuePosition = {};
    m_Handle = {};
    m_ValueBuffer.reset();
    m_Path.clear();
}

void CRegistry::InitClass() {
    Debug.Print(2, "\nCRegistry::InitClass");
    ClearFields();
    SetupTree(false);

    CRegistryState& state = RegistryState;
    const CCriticalSectionGuard classGuard(state.Lock());
    const CCriticalSectionGuard rootGuard(state.Root());
    const auto localMachine = static_cast<std::size_t>(RegistryHive::LocalMachine);
    if (state.Root().FindSubkey(CRegistryState::kHiveNames[localMachine])) {
        return;
    }
    Debug.Print(1, "CRegistry::InitClass() : re-initialize the registry-tree\n");
    try {
        state.RepairHives();
    } catch (const std::exception& failure) {
        Debug.Print(1, "CRegistry: ERROR: Could not make the predefined keys: %s\n",
                    failure.what());
    }
}

void CRegistry::SetupTree(bool forceSetup) {
    CRegistryState& state = RegistryState;
    const CCriticalSectionGuard guard(state.Lock());
    Debug.Print(2, "CRegistry: SetupTree(): ForceSetup=%d, MIsSetup=%d, MIsDirty=%d\n",
                static_cast<int>(forceSetup), static_cast<int>(state.MIsSetup),
                static_cast<int>(state.MIsDirty()));
    if (state.MIsSetup && !forceSetup) {
        return;
    }
    const CCancellationHold hold;  // a tree that was read by half must not be taken for whole
    try {
        // An exception leaves this false: the next handle tries again, and nothing is saved before.
        state.MIsSetup = false;
        ReadFirstTree(state.Root());
        state.FindHives();
        state.MIsSetup = true;
    } catch (const std::exception&) {
        Debug.Print(2, "CRegistry: SetupTree(): ## ERROR during Setup\n");
    }
}

bool CRegistry::ReadTree(const char* path, CRegistryNode& node) {
    if (path == nullptr) {
        Debug.Print(1, "CRegistry: ERROR: Empty file path");
        return false;
    }
    std::string text;
    switch (ReadRegistryFile(path, text)) {
    case RegistryFileState::NotOpened:
        Debug.Print(1, "CRegistry: WARNING: Could not open \"%s\"\n", path);
        return false;
    case RegistryFileState::Empty:
        Debug.Print(1, "CRegistry: WARNING: The length of \"%s\" is not sufficient\n", path);
        return false;
    case RegistryFileState::TooLarge:
        Debug.Print(1, "CRegistry: WARNING: \"%s\" is larger than %zu bytes\n", path,
                    kLargestTreeFile);
        return false;
    case RegistryFileState::NotRead: break;
    case RegistryFileState::Read:
        WarnOfWriters(path);
        if (node.restoreNode(text)) {
            return true;
        }
        break;
    }
    Debug.Print(1,
                "CRegistry: WARNING: Node restoring from \"%s\" failed - check the content of "
                "this file\n",
                path);
    return false;
}

CRegistryNode* CRegistry::Hive(RegistryHive hive) {
    return RegistryState.Hive(hive);
}
