// One key of the registry tree: a sorted table of values and subkeys with its own lock.
//
// Life of a node. A node belongs to the entry of its parent that refers to it. It is counted: the
// entry holds one reference, and so does everyone who works on the node (an open handle, a walk, a
// save in progress). When its key is deleted, a node is emptied and marked dead; its memory goes
// with the last reference. So a walk in another thread or a handle to a deleted key never touches
// released memory: it finds a dead node, on which every operation fails. No lock is needed between
// a parent and its child: a reference to the child is taken under the parent's lock.
//
// Nothing here recurses: a tree may be as deep as memory allows.
//
// Files of the class: registry_node (life and table), registry_reader and registry_writer (the tree
// file's text; docs/services.md describes it).
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "base/export.h"
#include "base/str_map.h"
#include "os/registry_data.h"

class CRegistryNodeRef;

// Thread-safe: every operation takes the node's lock for itself, except where it is said.
class MORLA_API CRegistryNode : public CStrMap {
public:
    CRegistryNode() = default;
    ~CRegistryNode() { deleteNode(); }

    // --- Life ---

    void AddReference() noexcept { m_References.fetch_add(1, std::memory_order_relaxed); }
    // Destroys the node with the last reference. A node that is not on the heap keeps its first.
    void ReleaseReference() noexcept {
        if (m_References.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }
    // True once the node was taken out of its tree; it is empty then, and stays so.
    [[nodiscard]] bool IsDead() const { return m_IsDead.load(std::memory_order_acquire); }

    // Empties this node and every node below it and marks them dead, tracing the name of every
    // subkey as it descends. Needs no memory.
    void deleteNode() noexcept;

    // --- Table. Those that add an entry throw std::bad_alloc with the table unchanged. ---

    enum class Outcome {
        Done,      // found, or added
        Replaced,  // an entry of that name was there: `data` has its old data now
        Missing,   // no such entry
        Dead,      // the node's key was deleted
    };

    // Puts the data under that name, in place of what is there. Takes over `data` unless Dead.
    [[nodiscard]] Outcome Store(const char* name, CRegistryData& data);
    // The subkey of that name; null when it is missing, is a value, or refers to no node.
    [[nodiscard]] CRegistryNodeRef FindSubkey(const char* name);
    // The same, made when it is missing or refers to no node (`isNew` is set then). Null when a
    // value has that name or this node is dead.
    [[nodiscard]] CRegistryNodeRef FindOrAddSubkey(const char* name, bool& isNew);
    // Takes the whole entry out; its data goes to `data`.
    [[nodiscard]] Outcome Remove(const char* name, CRegistryData& data);
    // Takes the node out of a subkey entry, which stays and refers to no node. Missing also when
    // the entry is a value.
    [[nodiscard]] Outcome DetachSubkey(const char* name, CRegistryData& data);

    // Calls `visit` with the row of that name under the lock: Done, Missing or Dead.
    template <typename Visitor>
    [[nodiscard]] Outcome Visit(const char* name, Visitor visit) {
        const CCriticalSectionGuard guard(*this);
        if (IsDead()) {
            return Outcome::Dead;
        }
        const StrMapRow* row = Find(name);
        if (row == nullptr) {
            return Outcome::Missing;
        }
        visit(*row);
        return Outcome::Done;
    }

    // --- The text of a tree file. Pure but for the tree: no file is touched. ---

    // Adds what the text holds to this node, replacing entries of the same names. Returns whether
    // anything was stored. Throws std::bad_alloc with the entries of the lines before.
    bool restoreNode(std::string_view text);
    // Appends this node and everything below it. Every node is written as it was at one moment,
    // different nodes may be of different moments. Throws std::bad_alloc.
    void dumpNode(std::string& text);

private:
    friend class CRegistryState;

    void TakeOutEntries(CRegistryNode*& pending) noexcept;

    std::atomic<std::uint32_t> m_References{1};
    std::atomic<bool> m_IsDead{false};  // written under the lock
    std::atomic<bool> m_IsKept{false};  // CRegistryState holds a reference until the process ends
    CRegistryNode* m_NextKept = nullptr;
    // For deleteNode, which owns a node between its parent's table and its end.
    CRegistryNode* m_NextPending = nullptr;
    std::unique_ptr<char[]> m_PendingName;
};

// Owner of one reference to a node, or of none.
class CRegistryNodeRef {
public:
    CRegistryNodeRef() = default;
    // Adds a reference; `node` may be null.
    explicit CRegistryNodeRef(CRegistryNode* node) : m_Node(node) {
        if (m_Node != nullptr) {
            m_Node->AddReference();
        }
    }
    CRegistryNodeRef(const CRegistryNodeRef& other) : CRegistryNodeRef(other.m_Node) {}
    CRegistryNodeRef(CRegistryNodeRef&& other) noexcept
        : m_Node(std::exchange(other.m_Node, nullptr)) {}
    CRegistryNodeRef& operator=(CRegistryNodeRef other) noexcept {
        std::swap(m_Node, other.m_Node);
        return *this;
    }
    ~CRegistryNodeRef() {
        if (m_Node != nullptr) {
            m_Node->ReleaseReference();
        }
    }

    [[nodiscard]] CRegistryNode* Get() const { return m_Node; }
    CRegistryNode* operator->() const { return m_Node; }
    CRegistryNode& operator*() const { return *m_Node; }
    explicit operator bool() const { return m_Node != nullptr; }

private:
    CRegistryNode* m_Node = nullptr;
};
