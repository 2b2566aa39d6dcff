#include "os/registry_data.h"

#include <cstring>
#include <memory>

#include "os/registry_node.h"

namespace {

constexpr std::size_t kCountSize = sizeof(std::uint32_t);  // before the bytes of a binary value

}  // namespace

std::string_view RegistryTextOf(const StrMapRow& row) {
    return static_cast<const char*>(row.Data);
}

std::span<const unsigned char> RegistryBinaryOf(const StrMapRow& row) {
    const auto* array = static_cast<const char*>(row.Data);
    std::uint32_t count = 0;
    std::memcpy(&count, array, kCountSize);
    return {reinterpret_cast<const unsigned char*>(array + kCountSize), count};
}

std::uint32_t RegistryNumberOf(const StrMapRow& row) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(row.Data));
}

CRegistryData CRegistryData::MakeText(std::uint32_t type, std::string_view text) {
    auto array = std::make_unique_for_overwrite<char[]>(text.size() + 1);
    text.copy(array.get(), text.size());
    array[text.size()] = '\0';
    return {array.release(), type};
}

CRegistryData CRegistryData::MakeBinary(std::span<const unsigned char> bytes) {
    auto array = std::make_unique_for_overwrite<char[]>(kCountSize + bytes.size());
    const auto count = static_cast<std::uint32_t>(bytes.size());
    std::memcpy(array.get(), &count, kCountSize);
    if (!bytes.empty()) {
        std::memcpy(array.get() + kCountSize, bytes.data(), bytes.size());
    }
    return {array.release(), kRegBinary};
}

CRegistryData CRegistryData::MakeNumber(std::uint32_t number) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the row holds the number in place of a pointer
    return {reinterpret_cast<void*>(static_cast<std::uintptr_t>(number)), kRegDword};
}

CRegistryData CRegistryData::MakeSubkey(CRegistryNode* node) {
    return {node, kRegSubkey};
}

CRegistryData::~CRegistryData() {
    if (m_Data == nullptr) {
        return;
    }
    if (IsRegistryText(m_Type) || m_Type == kRegBinary) {
        const std::unique_ptr<char[]> array(static_cast<char*>(m_Data));
    } else if (m_Type == kRegSubkey) {
        auto* node = static_cast<CRegistryNode*>(m_Data);
        node->deleteNode();
        node->ReleaseReference();
    }
}
