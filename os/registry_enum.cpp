// Enumerating the subkeys and values of the open key.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>

#include "base/bounded_text.h"
#include "os/registry.h"

namespace {

// Copies as much of a name as fits and sets the length to what was copied.
void CopyName(std::string_view text, char* name, unsigned int& nameLen) {
    (void)CopyText(name, nameLen, text);
    nameLen = static_cast<unsigned int>(std::min<std::size_t>(text.size(), nameLen - 1));
}

bool IsNameBuffer(const char* name, const unsigned int* nameLen) {
    return name != nullptr && nameLen != nullptr && *nameLen != 0;
}

// The entry that an enumeration is at: a row of the table, or the place behind the last one.
struct Match {
    const StrMapRow* Row = nullptr;  // null behind the last row
    std::uint32_t Ordinal = 0;       // the row's, from 0
    bool IsFound = false;
};

// Under the node's lock: the `index`-th row, from 0, that `isMatch` accepts. `hasExtra`: the place
// behind the last row counts too.
template <typename Predicate>
Match FindMatch(CRegistryNode& node, unsigned int index, bool hasExtra, Predicate isMatch) {
    Match match;
    for (const StrMapRow& row : node) {
        if (isMatch(row) && index-- == 0) {
            match.Row = &row;
            match.IsFound = true;
            return match;
        }
        ++match.Ordinal;
    }
    match.IsFound = hasExtra && index == 0;
    return match;
}

bool IsSubkey(const StrMapRow& row) {
    return row.Type == kRegSubkey;
}

}  // namespace

int CRegistry::EnumKey(char* name, unsigned int* nameLen, unsigned int index, char* /*className*/,
                       unsigned int* classLen) {
    if (!m_Handle || !IsNameBuffer(name, nameLen)) {
        return Finish(EINVAL);
    }
    const CCriticalSectionGuard guard(*m_Handle);
    if (m_Handle->IsDead()) {
        return Finish(EINVAL);
    }
    const Match match = FindMatch(*m_Handle, index, false, IsSubkey);
    if (!match.IsFound) {
        return Finish(ENODATA);
    }
    CopyName(match.Row->Name, name, *nameLen);
    if (classLen != nullptr) {
        *classLen = 0;
    }
    m_KeyPosition = {index + 1, match.Ordinal + 1};
    return Finish(0);
}

int CRegistry::EnumKey(char* name, unsigned int nameLen, unsigned int index, char* className,
                       unsigned int classLen) {
    return EnumKey(name, &nameLen, index, className, &classLen);
}

int CRegistry::EnumVal(char* name, unsigned int* nameLen, unsigned int index, unsigned int type,
                       unsigned char* data, unsigned int* dataLen) {
    if (!m_Handle || !IsNameBuffer(name, nameLen)) {
        return Finish(EINVAL);
    }
    const CCriticalSectionGuard guard(*m_Handle);
    if (m_Handle->IsDead()) {
        return Finish(EINVAL);
    }
    // Deliberate: with the filters 0 and 999 the place behind the last row is one more match, of
    // type 0 and without a name. Callers stop at the empty name or at 61.
    const bool hasExtra = type == 0 || type == kRegAnyValue;
    const Match match = FindMatch(*m_Handle, index, hasExtra, [type](const StrMapRow& row) {
        return row.Type == type || (type == kRegAnyValue && !IsSubkey(row));
    });
    if (!match.IsFound) {
        return Finish(ENODATA);
    }
    CopyName(match.Row != nullptr ? match.Row->Name : "", name, *nameLen);
    try {
        if (dataLen != nullptr) {
            ReadEnumerated(match.Row, data, *dataLen);
        }
    } catch (const std::exception&) {
        return Finish(EINVAL);
    }
    m_ValuePosition = {index + 1, type, match.Ordinal + 1};
    return Finish(0);
}

// Under the node's lock: reads the value of the row, which may be null, as EnumVal gives it out.
// Throws std::bad_alloc.
void CRegistry::ReadEnumerated(const StrMapRow* row, unsigned char* data,
                               unsigned int& dataLen) const {
    if (row != nullptr && data != nullptr && IsRegistryText(row->Type)) {
        (void)QueryText(reinterpret_cast<char*>(data), row->Name, &dataLen, nullptr);
    } else if (row != nullptr && data != nullptr && row->Type == kRegDword &&
               dataLen >= sizeof(std::uint32_t)) {
        const std::uint32_t number = RegistryNumberOf(*row);
        std::memcpy(data, &number, sizeof number);
        dataLen = sizeof number;
    } else {
        dataLen = 0;
    }
}

int CRegistry::EnumVal(char* name, unsigned int nameLen, unsigned int index, unsigned int type,
                       unsigned char* data, unsigned int dataLen) {
    return EnumVal(name, &nameLen, index, type, data, &dataLen);
}

int CRegistry::NoOfSubKeys(unsigned int* count) {
    if (count == nullptr) {
        return Finish(EINVAL);
    }
    *count = 0;
    if (!m_Handle) {
        return Finish(EINVAL);
    }
    const CCriticalSectionGuard guard(*m_Handle);
    if (m_Handle->IsDead()) {
        return Finish(EINVAL);
    }
    for (const StrMapRow& row : *m_Handle) {
        *count += static_cast<unsigned int>(IsSubkey(row));
    }
    return Finish(0);
}
