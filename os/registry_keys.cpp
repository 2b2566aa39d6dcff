// Opening, creating and deleting keys.
#include <cerrno>
#include <cstring>
#include <exception>

#include "os/registry.h"
#include "os/registry_path.h"
#include "os/registry_state.h"
#include "trace/debug.h"

namespace {

constexpr char kProductKey[] =
    "SYSTEM\\CurrentControlSet\\Control\\UUID\\C3681B60-0D26-11D3-8319-00A0C9B61E25";
constexpr int kFailed = -1;
constexpr int kAnyMode = -1;

const char* Shown(const char* text, const char* missing = "(null)") {
    return text != nullptr ? text : missing;
}

char UpperCase(char character) {
    return character >= 'a' && character <= 'z' ? static_cast<char>(character - 'a' + 'A')
                                                : character;
}

}  // namespace

int CRegistry::Open(const char* path, CRegistryNode* hKey, int /*mode*/) {
    return OpenFrom(path, hKey, 0);
}

// `firstLength` as in CRegistryPathWalk.
int CRegistry::OpenFrom(const char* path, CRegistryNode* start, std::size_t firstLength) {
    Debug.Print(2, "\nCRegistry::Open \"%s\", hKey = %d\n", Shown(path),
                static_cast<int>(reinterpret_cast<std::intptr_t>(start)));
    if (path == nullptr) {
        return FailOpen();
    }
    try {
        m_Path.assign(path);
    } catch (const std::exception&) {
        Debug.Print(1, "\nCRegistry::Open ##ERROR while opening !!!\n");
        return FailOpen();
    }
    CRegistryNodeRef node(start != nullptr ? start : &RegistryState.Root());
    {
        CRegistryPathWalk walk(m_Path.data(), m_Path.size(), firstLength);
        const char* component = walk.Next();
        while (component != nullptr && node) {
            node = node->FindSubkey(component);
            component = walk.Next();
        }
    }
    if (!node || node->IsDead()) {
        return FailOpen();
    }
    m_Handle = std::move(node);
    return Finish(0);
}

int CRegistry::FailOpen() {
    m_Handle = {};
    std::string().swap(m_Path);
    return Finish(kFailed);
}

int CRegistry::OpenPointerKey(const char* path, const char* valueName, CRegistryNode* hKey,
                              int mode) {
    Debug.Print(2, "CRegistry::OpenPointer \"%s\"\n", Shown(path));
    if (Open(path, hKey, mode) != 0) {
        return kFailed;
    }
    char* text = GetValue(valueName);
    if (text == nullptr || !IsRegistryText(m_ValueType)) {
        return Finish(kFailed);
    }
    char* separator = std::strchr(text, '\\');
    if (separator == nullptr) {
        separator = std::strchr(text, '/');
    }
    if (separator == nullptr) {
        return Finish(kFailed);
    }
    for (char* character = text; character != separator; ++character) {
        *character = UpperCase(*character);
    }
    *separator = '/';
    // The name of the predefined key ends there, though backslashes may follow.
    return OpenFrom(text, nullptr, static_cast<std::size_t>(separator - text));
}

int CRegistry::OpenUUIDPointer(const char* valueName, CRegistryNode* hKey, int mode,
                               const char* /*unused*/, bool /*unused*/) {
    return OpenPointerKey(kProductKey, valueName, hKey, mode);
}

bool CRegistry::GetProductRegistryRoot(std::string& out, const char* valueName) {
    CRegistry product;
    return product.Open(kProductKey, Hive(RegistryHive::LocalMachine), kAnyMode) == 0 &&
           product.QueryValue(out, valueName) == 0;
}

int CRegistry::CreateKey(CRegistryNode* parent, const char* path, bool /*unused*/, int /*mode*/) {
    Debug.Print(2, "CRegistry::CreateKey \"%s\"\n", Shown(path, "<null>"));
    CRegistryNodeRef node(Target(parent));
    if (!node || path == nullptr || node->IsDead()) {
        return Finish(kFailed);
    }
    try {
        std::string text(path);
        CRegistryPathWalk walk(text.data(), text.size());
        const char* component = walk.Next();
        while (component != nullptr && node) {
            bool isNew = false;
            node = node->FindOrAddSubkey(component, isNew);
            if (isNew) {
                RegistryState.MarkDirty();
            }
            component = walk.Next();
        }
    } catch (const std::exception&) {
        return Finish(kFailed);
    }
    if (!node) {
        return Finish(kFailed);
    }
    m_Handle = std::move(node);
    return Finish(0);
}

int CRegistry::DeleteKey(const char* name) {
    Debug.Print(2, "CRegistry::DeleteKey \"%s\"\n", Shown(name));
    if (name == nullptr || !m_Handle) {
        return Finish(EINVAL);
    }
    CRegistryData data;  // empties and releases the node, after its parent's lock is free
    if (m_Handle->DetachSubkey(name, data) != CRegistryNode::Outcome::Done) {
        return Finish(EINVAL);
    }
    RegistryState.MarkDirty();
    return Finish(0);
}
