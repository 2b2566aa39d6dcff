#include "os/registry_node.h"

#include "base/cancellation.h"
#include "trace/debug.h"

// The nodes of the tree below wait in one list, linked through themselves: a node's subkeys go to
// its front in their order, so that the descent has the order of a recursive one.
void CRegistryNode::deleteNode() noexcept {
    const CCancellationHold hold;  // a cancelled trace call must not unwind through here
    CRegistryNode* pending = nullptr;
    TakeOutEntries(pending);
    while (pending != nullptr) {
        CRegistryNode* node = std::exchange(pending, pending->m_NextPending);
        Debug.Print(2, "CRegistryNode::deleteNode \"%s\"\n", node->m_PendingName.get());
        node->m_PendingName.reset();
        node->TakeOutEntries(pending);
        node->ReleaseReference();
    }
}

// Releases the values and moves the subkeys' nodes, with their names and the references of their
// entries, to the front of the list.
void CRegistryNode::TakeOutEntries(CRegistryNode*& pending) noexcept {
    const CCriticalSectionGuard guard(*this);
    m_IsDead.store(true, std::memory_order_release);
    CRegistryNode* first = nullptr;
    CRegistryNode** end = &first;
    for (StrMapRow& row : *this) {
        if (row.Type == kRegSubkey && row.Data != nullptr) {
            auto* node = static_cast<CRegistryNode*>(row.Data);
            node->m_PendingName.reset(std::exchange(row.Name, nullptr));
            *end = node;
            end = &node->m_NextPending;
        } else {
            CRegistryData data;
            data.Swap(row);
        }
    }
    *end = pending;
    pending = first;
    Clear();
}

CRegistryNode::Outcome CRegistryNode::Store(const char* name, CRegistryData& data) {
    const CCriticalSectionGuard guard(*this);
    if (IsDead()) {
        return Outcome::Dead;
    }
    // A tree file holds its names in order.
    if (StrMapRow* row = IsBehindLast(name) ? nullptr : Find(name)) {
        data.Swap(*row);
        return Outcome::Replaced;
    }
    (void)Insert(name, data.Get(), data.Type());
    data.Release();
    return Outcome::Done;
}

CRegistryNodeRef CRegistryNode::FindSubkey(const char* name) {
    const CCriticalSectionGuard guard(*this);
    const StrMapRow* row = Find(name);
    if (row == nullptr || row->Type != kRegSubkey) {
        return {};
    }
    return CRegistryNodeRef(static_cast<CRegistryNode*>(row->Data));
}

CRegistryNodeRef CRegistryNode::FindOrAddSubkey(const char* name, bool& isNew) {
    isNew = false;
    const CCriticalSectionGuard guard(*this);
    if (IsDead()) {
        return {};
    }
    StrMapRow* row = Find(name);
    if (row != nullptr && row->Type != kRegSubkey) {
        return {};
    }
    if (row != nullptr && row->Data != nullptr) {
        return CRegistryNodeRef(static_cast<CRegistryNode*>(row->Data));
    }
    CRegistryData data = CRegistryData::MakeSubkey(std::make_unique<CRegistryNode>().release());
    CRegistryNodeRef node(static_cast<CRegistryNode*>(data.Get()));
    if (row != nullptr) {
        data.Swap(*row);
    } else {
        (void)Insert(name, data.Get(), data.Type());
        data.Release();
    }
    isNew = true;
    return node;
}

CRegistryNode::Outcome CRegistryNode::Remove(const char* name, CRegistryData& data) {
    const CCriticalSectionGuard guard(*this);
    if (IsDead()) {
        return Outcome::Dead;
    }
    StrMapRow* row = Find(name);
    if (row == nullptr) {
        return Outcome::Missing;
    }
    data.Swap(*row);
    Erase(row);
    return Outcome::Done;
}

CRegistryNode::Outcome CRegistryNode::DetachSubkey(const char* name, CRegistryData& data) {
    const CCriticalSectionGuard guard(*this);
    if (IsDead()) {
        return Outcome::Dead;
    }
    StrMapRow* row = Find(name);
    if (row == nullptr || row->Type != kRegSubkey) {
        return Outcome::Missing;
    }
    data.Swap(*row);
    row->Type = kRegSubkey;  // the entry stays one, without a node
    return Outcome::Done;
}
