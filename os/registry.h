// Handles to the keys of the process's registry: open, create, read, write, enumerate, delete.
//
// All handles work on one tree, which is read from its file at the first use and written back when
// a handle goes after a change. docs/services.md describes the file, its safety and the handles.
//
// Files of the class: registry_setup (reading the tree, predefined keys), registry_save,
// registry_handle (making, copying and closing handles), registry_keys, registry_values,
// registry_enum.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "base/export.h"
#include "base/paths.h"
#include "os/registry_node.h"

// The predefined keys.
enum class RegistryHive { LocalMachine, CurrentUser, Users, ClassesRoot, CurrentConfig };

// Any thread may use handles; one handle belongs to one thread at a time. Nothing is thrown.
//
// Results: 0 success; -1 Open, OpenPointerKey or CreateKey failed; 22 (EINVAL) no key is open or an
// argument is bad; 34 (ERANGE) the buffer is too small or no count was given; 61 (ENODATA) the
// value is missing or of the wrong type, or the enumeration is past its end.
//
// Where an operation takes a node, null means the key that is open. A handle, or a node that was
// handed out, whose key was deleted stays safe to use: it counts as no open key.
class MORLA_API CRegistry {
public:
    // NOLINTBEGIN(readability-identifier-naming): given names
    static constexpr const char* MPRegistry = paths::kRegistry;
    static constexpr const char* MPRegistryOld = paths::kRegistryOld;
    static constexpr const char* MPRegistryTemp = paths::kRegistryTemp;
    static constexpr const char* MPRegistryDefault = paths::kRegistryDefault;
    // NOLINTEND(readability-identifier-naming)

    CRegistry();
    explicit CRegistry(CRegistryNode*& node);                       // open on `node`
    CRegistry(const char* path, CRegistryNode*& parent, int mode);  // Result() is that of Open
    // A copy has the other's key and path, and nothing else of it.
    CRegistry(CRegistry& other);
    // NOLINTNEXTLINE(misc-unconventional-assign-operator): the argument's type is given
    CRegistry& operator=(CRegistry& other);
    ~CRegistry();

    // --- The tree ---

    // Reads the tree, once in the process unless forced: from the file, its backup or the shipped
    // defaults, whichever can be read first. A forced set-up replaces the keys that the file
    // holds; handles to keys below them lose their keys.
    static void SetupTree(bool forceSetup);
    // Reads one tree file into a node. Returns whether it could be read and held any entry.
    static bool ReadTree(const char* path, CRegistryNode& node);
    // Writes the tree to its file if it changed.
    static void SaveTree();
    // Releases the value buffer and the path, and saves the tree.
    void FreeClass();
    // Reads a text value of the suite's product key.
    static bool GetProductRegistryRoot(std::string& out, const char* valueName);
    // The node of a predefined key, to start from; null when the tree has none. Set after the
    // first handle was made.
    static CRegistryNode* Hive(RegistryHive hive);

    // --- Keys ---

    // Opens the key at `path` below `hKey`, null for the root. `mode` is not used (callers pass
    // -1). A failure leaves no key open.
    int Open(const char* path, CRegistryNode* hKey, int mode);
    // Opens the key whose path, from a predefined key on, a text value of the key `path` holds.
    int OpenPointerKey(const char* path, const char* valueName, CRegistryNode* hKey, int mode);
    int OpenUUIDPointer(const char* valueName, CRegistryNode* hKey, int mode, const char*, bool);
    // Opens the key at `path` below `parent`, or below the open key, and makes what is missing.
    // A failure leaves the open key open, and the keys that were made before it in the tree.
    int CreateKey(CRegistryNode* parent, const char* path, bool, int mode);
    // Deletes a subkey of the open key with everything below it. Its name stays in the tree, but
    // not in the file, and refers to no key until CreateKey fills it again.
    int DeleteKey(const char* name);
    // Returns whether a key was open.
    bool Close();
    // Gives the open key's node to the caller, for another handle; this one has no key then.
    CRegistryNode* KeepKeyHandle();

    // --- Values ---

    // Bytes that GetValue needs: a text with its terminator, a number 4; 0 when there is none.
    int GetValueSize(const char* name, CRegistryNode* node = nullptr);
    // A copy of the value, valid until the next GetValue on this handle; null when it is missing
    // or empty. ValueType() and ValueSize() describe it.
    char* GetValue(const char* name, CRegistryNode* node = nullptr);
    // Any value of 4 bytes.
    int QueryValue(unsigned int* dword, const char* name, CRegistryNode* node = nullptr);
    // A text, expanded when it is of that type.
    int QueryValue(std::string& out, const char* name, CRegistryNode* node = nullptr);
    // The same. `*count` is the buffer's size in characters, then the text's length; without a
    // buffer, the size that is needed. A buffer without room for the terminator is filled
    // unterminated: 34.
    int QueryValue(char* buffer, const char* name, unsigned int* count,
                   CRegistryNode* node = nullptr);
    int QueryValue(char* buffer, const char* name, unsigned int count,
                   CRegistryNode* node = nullptr);
    // Stores a copy of `size` bytes as a value of that type, in place of what has the name.
    bool SetValue(const char* name, const unsigned char* data, unsigned int size, unsigned int type,
                  CRegistryNode* node = nullptr);
    int SetValue(const char* name, unsigned int value);
    int SetValue(const char* name, const char* text);
    // Removes an entry of any type; 0 also when there was none.
    int DeleteValue(const char* name);

    // --- Enumeration, in the order of names. `*nameLen` is the buffer's size, then the length. ---

    int EnumKey(char* name, unsigned int* nameLen, unsigned int index, char* className,
                unsigned int* classLen);
    int EnumKey(char* name, unsigned int nameLen, unsigned int index, char* className,
                unsigned int classLen);
    // `type` 999 stands for every value. With `data` and `dataLen` the value is read too.
    int EnumVal(char* name, unsigned int* nameLen, unsigned int index, unsigned int type,
                unsigned char* data, unsigned int* dataLen);
    int EnumVal(char* name, unsigned int nameLen, unsigned int index, unsigned int type,
                unsigned char* data, unsigned int dataLen);
    int NoOfSubKeys(unsigned int* count);

    // --- What the last calls left ---

    [[nodiscard]] std::int64_t Result() const { return m_Result; }
    [[nodiscard]] std::uint64_t ValueSize() const { return m_ValueSize; }
    [[nodiscard]] std::uint32_t ValueType() const { return m_ValueType; }

private:
    // Ordinal and row of the entry that an enumeration returned last, both counted from 1. They
    // are recorded only: every call searches from the first row.
    struct KeyPosition {
        std::uint32_t Ordinal = 0;
        std::uint32_t Row = 0;
    };
    struct ValuePosition {
        std::uint32_t Ordinal = 0;
        std::uint32_t Type = 0;
        std::uint32_t Row = 0;
    };

    void InitClass();
    void ClearFields();

    // registry_keys
    int OpenFrom(const char* path, CRegistryNode* start, std::size_t firstLength);
    int FailOpen();

    // registry_values, registry_enum
    int QueryText(char* buffer, const char* name, unsigned int* count, CRegistryNode* node) const;
    void ReadEnumerated(const StrMapRow* row, unsigned char* data, unsigned int& dataLen) const;

    // The node that an operation works on; null when there is none.
    CRegistryNode* Target(CRegistryNode* node) const {
        return node != nullptr ? node : m_Handle.Get();
    }
    int Finish(int result) {
        m_Result = result;
        return result;
    }

    std::int64_t m_Result = 0;
    std::uint64_t m_ValueSize = 0;
    std::uint32_t m_ValueType = 0;
    std::int32_t m_ExpandFlag = 0;  // 1: GetValue expands expandable texts
    KeyPosition m_KeyPosition;
    ValuePosition m_ValuePosition;
    CRegistryNodeRef m_Handle;
    std::unique_ptr<char[]> m_ValueBuffer;
    std::string m_Path;  // of the last Open; passed separators are slashes
};
