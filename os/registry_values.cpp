// Reading, writing and removing values.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <limits>

#include "base/bounded_text.h"
#include "os/registry.h"
#include "os/registry_expand.h"
#include "os/registry_state.h"
#include "trace/debug.h"

namespace {

using Outcome = CRegistryNode::Outcome;

constexpr std::size_t kDwordSize = sizeof(std::uint32_t);

// Bytes of a value as a caller sees it; 0 for a subkey and an entry without data.
std::size_t StoredSize(const StrMapRow& row) {
    if (row.Type == kRegDword) {
        return kDwordSize;
    }
    if (row.Data == nullptr) {
        return 0;
    }
    if (IsRegistryText(row.Type)) {
        return RegistryTextOf(row).size() + 1;
    }
    return row.Type == kRegBinary ? RegistryBinaryOf(row).size() : 0;
}

// Copies the first `size` of those bytes.
void CopyStored(const StrMapRow& row, void* buffer, std::size_t size) {
    if (row.Type == kRegDword) {
        const std::uint32_t number = RegistryNumberOf(row);
        std::memcpy(buffer, &number, size);
    } else if (row.Type == kRegBinary) {
        std::memcpy(buffer, RegistryBinaryOf(row).data(), size);
    } else {
        std::memcpy(buffer, row.Data, size);
    }
}

// Calls `visit` with the row of a value's name; Dead also when there is no node.
template <typename Visitor>
Outcome VisitValue(CRegistryNode* node, const char* name, Visitor visit) {
    if (node == nullptr) {
        return Outcome::Dead;
    }
    return name != nullptr ? node->Visit(name, visit) : Outcome::Missing;
}

// Calls `use` with a text as it is read: expanded when it is of that type. 0, 22 or 61. Throws
// std::bad_alloc.
template <typename Use>
int ReadText(CRegistryNode* node, const char* name, Use use) {
    bool isText = false;
    const Outcome outcome = VisitValue(node, name, [&](const StrMapRow& row) {
        isText = IsRegistryText(row.Type) && row.Data != nullptr;
        if (isText && row.Type == kRegExpandSz) {
            use(std::string_view(ExpandRegistryText(RegistryTextOf(row))));
        } else if (isText) {
            use(RegistryTextOf(row));
        }
    });
    if (outcome == Outcome::Dead) {
        return EINVAL;
    }
    return isText ? 0 : ENODATA;
}

// The rules of the character buffer.
//
// Deliberate: the size that is asked for counts the terminator, the length that was read does not;
// and a buffer of exactly the text's length is filled without one.
int GiveOutText(std::string_view text, char* buffer, unsigned int& count) {
    const auto length = static_cast<unsigned int>(text.size());
    if (buffer == nullptr) {
        count = length + 1;
        return 0;
    }
    if (count <= length) {
        text.copy(buffer, count);
        return ERANGE;
    }
    (void)CopyText(buffer, count, text);
    count = length;
    return 0;
}

// False for a type or a size that cannot be stored. Throws std::bad_alloc.
bool BuildData(const unsigned char* bytes, unsigned int size, unsigned int type,
               CRegistryData& data) {
    if (bytes == nullptr && size != 0) {
        return false;
    }
    if (type == kRegBinary) {
        data = CRegistryData::MakeBinary({bytes, size});
        return true;
    }
    if (IsRegistryText(type)) {
        data = CRegistryData::MakeText(type, {reinterpret_cast<const char*>(bytes), size});
        return true;
    }
    if (type != kRegDword || size != kDwordSize) {
        return false;
    }
    std::uint32_t number = 0;
    std::memcpy(&number, bytes, kDwordSize);
    data = CRegistryData::MakeNumber(number);
    return true;
}

}  // namespace

int CRegistry::GetValueSize(const char* name, CRegistryNode* node) {
    std::size_t size = 0;
    (void)VisitValue(Target(node), name, [&](const StrMapRow& row) { size = StoredSize(row); });
    return static_cast<int>(std::min<std::size_t>(size, std::numeric_limits<int>::max()));
}

char* CRegistry::GetValue(const char* name, CRegistryNode* node) {
    m_ValueSize = 0;
    try {
        std::unique_ptr<char[]> buffer;
        std::size_t size = 0;
        (void)VisitValue(Target(node), name, [&](const StrMapRow& row) {
            size = StoredSize(row);
            if (size != 0) {
                buffer = std::make_unique_for_overwrite<char[]>(size);
                CopyStored(row, buffer.get(), size);
                m_ValueType = row.Type;
            }
        });
        if (buffer == nullptr) {
            return nullptr;
        }
        if (m_ExpandFlag != 0 && m_ValueType == kRegExpandSz) {
            const std::string expanded = ExpandRegistryText(buffer.get());
            size = expanded.size();  // without the terminator, unlike other texts
            buffer = std::make_unique_for_overwrite<char[]>(size + 1);
            std::memcpy(buffer.get(), expanded.c_str(), size + 1);
        }
        m_ValueSize = size;
        m_ValueBuffer = std::move(buffer);
        return m_ValueBuffer.get();
    } catch (const std::exception&) {
        return nullptr;
    }
}

// Deliberate: four bytes are enough, the type is not asked. A binary value or a text of three
// characters passes too.
int CRegistry::QueryValue(unsigned int* dword, const char* name, CRegistryNode* node) {
    bool isRead = false;
    const Outcome outcome = VisitValue(Target(node), name, [&](const StrMapRow& row) {
        isRead = dword != nullptr && StoredSize(row) == kDwordSize;
        if (isRead) {
            CopyStored(row, dword, kDwordSize);
        }
    });
    if (outcome == Outcome::Dead) {
        return Finish(EINVAL);
    }
    return Finish(isRead ? 0 : ENODATA);
}

int CRegistry::QueryValue(std::string& out, const char* name, CRegistryNode* node) {
    try {
        return Finish(
            ReadText(Target(node), name, [&](std::string_view text) { out.assign(text); }));
    } catch (const std::exception&) {
        return Finish(ENODATA);
    }
}

int CRegistry::QueryValue(char* buffer, const char* name, unsigned int* count,
                          CRegistryNode* node) {
    try {
        return Finish(QueryText(buffer, name, count, node));
    } catch (const std::exception&) {
        return Finish(ENODATA);
    }
}

// Throws std::bad_alloc.
int CRegistry::QueryText(char* buffer, const char* name, unsigned int* count,
                         CRegistryNode* node) const {
    int given = 0;
    const int read = ReadText(Target(node), name, [&](std::string_view text) {
        given = count != nullptr ? GiveOutText(text, buffer, *count) : ERANGE;
    });
    if (read == 0 && count == nullptr) {
        Debug.Print(1, "CRegistry::QueryValue: ** ERROR **  pdwCount is a NULL pointer\n");
    }
    return read != 0 ? read : given;
}

int CRegistry::QueryValue(char* buffer, const char* name, unsigned int count, CRegistryNode* node) {
    return QueryValue(buffer, name, &count, node);
}

bool CRegistry::SetValue(const char* name, const unsigned char* data, unsigned int size,
                         unsigned int type, CRegistryNode* node) {
    // Deliberate: before every check, so that a call which fails leads to a save too.
    RegistryState.MarkDirty();
    Debug.Print(2, "CRegistry::SetValue \"%s\" %d %d\n", name != nullptr ? name : "(null)",
                static_cast<int>(size), static_cast<int>(type));
    CRegistryNode* target = Target(node);
    if (target == nullptr || target->IsDead()) {
        return false;
    }
    try {
        CRegistryData value;
        if (!BuildData(data, size, type, value)) {
            return false;
        }
        if (name == nullptr) {
            return true;
        }
        const Outcome outcome = target->Store(name, value);
        if (outcome == Outcome::Replaced) {
            Debug.Print(2, "CRegistry::SetValue oEntry = %p\n", value.Get());
        }
        RegistryState.MarkDirty();  // again: a save in between did not see the change
        return outcome != Outcome::Dead;
    } catch (const std::exception&) {
        return false;
    }
}

int CRegistry::SetValue(const char* name, unsigned int value) {
    unsigned char bytes[kDwordSize];
    std::memcpy(bytes, &value, kDwordSize);
    return Finish(SetValue(name, bytes, kDwordSize, kRegDword) ? 0 : EINVAL);
}

int CRegistry::SetValue(const char* name, const char* text) {
    // Without a text, one character that is not there: refused like any such value.
    const std::size_t size = text != nullptr ? std::strlen(text) : 1;
    if (size > std::numeric_limits<unsigned int>::max()) {
        return Finish(EINVAL);  // no value is that long
    }
    return Finish(SetValue(name, reinterpret_cast<const unsigned char*>(text),
                           static_cast<unsigned int>(size), kRegSz)
                      ? 0
                      : EINVAL);
}

int CRegistry::DeleteValue(const char* name) {
    Debug.Print(2, "CRegistry::DeleteValue \"%s\"\n", name != nullptr ? name : "(null)");
    if (!m_Handle || m_Handle->IsDead()) {
        return Finish(EINVAL);
    }
    RegistryState.MarkDirty();
    if (name == nullptr) {
        return Finish(0);
    }
    CRegistryData data;  // released after the node's lock is free
    const Outcome outcome = m_Handle->Remove(name, data);
    RegistryState.MarkDirty();  // again: a save in between did not see the change
    return Finish(outcome != Outcome::Dead ? 0 : EINVAL);
}
