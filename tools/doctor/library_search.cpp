#include "tools/doctor/library_search.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "base/byte_view.h"
#include "tools/switch_check/elf_library.h"

namespace doctor {

namespace {

// The loader's cache: this head, the entries, and then the texts that they point to by their
// distance from the head.
struct CacheHead {
    char Magic[20];
    std::uint32_t Count;
    std::uint32_t TextBytes;
    std::uint32_t Unused[5];
};
static_assert(sizeof(CacheHead) == 48);

struct CacheEntry {
    std::int32_t Flags;
    std::uint32_t Name;
    std::uint32_t Path;
    std::uint32_t OsVersion;
    std::uint64_t Capabilities;
};
static_assert(sizeof(CacheEntry) == 24);

constexpr std::string_view kMagic = "glibc-ld.so.cache1.1";
constexpr std::int32_t kX86Library = 0x0303;  // 64-bit, of the present C library

// The zero-terminated text at an offset; empty when it does not end within the bytes.
std::string_view TextAt(std::string_view bytes, std::size_t offset) {
    const std::size_t end = offset < bytes.size() ? bytes.find('\0', offset) : offset;
    return end < bytes.size() ? bytes.substr(offset, end - offset) : std::string_view();
}

}  // namespace

std::vector<std::string> SearchFolders(std::string_view libraryPath) {
    std::vector<std::string> folders;
    for (std::size_t begin = 0; begin <= libraryPath.size() && !libraryPath.empty();) {
        const std::size_t end =
            std::min(libraryPath.find_first_of(":;", begin), libraryPath.size());
        folders.emplace_back(end == begin ? "/" : libraryPath.substr(begin, end - begin));
        begin = end + 1;
    }
    return folders;
}

std::optional<std::string> FindInLoaderCache(std::string_view cache, std::string_view name) {
    CacheHead head{};
    if (cache.size() < sizeof head || !cache.starts_with(kMagic)) {
        return std::nullopt;
    }
    std::memcpy(&head, cache.data(), sizeof head);
    const std::size_t room = (cache.size() - sizeof head) / sizeof(CacheEntry);
    for (std::size_t i = 0; i < std::min<std::size_t>(head.Count, room); ++i) {
        CacheEntry entry{};
        std::memcpy(&entry, cache.data() + sizeof head + i * sizeof entry, sizeof entry);
        if (entry.Flags == kX86Library && TextAt(cache, entry.Name) == name) {
            return std::string(TextAt(cache, entry.Path));
        }
    }
    return std::nullopt;
}

const char* LibraryProblem(std::string_view head) {
    switch (elf::Parse(CByteView(head)).FileKind) {
    case elf::Kind::kNotElf: return "is no ELF file";
    case elf::Kind::kOtherClass:
    case elf::Kind::kOtherMachine: return "is not for 64-bit x86";
    case elf::Kind::kNotShared: return "is no shared library";
    case elf::Kind::kLibrary: break;
    }
    return nullptr;
}

std::string FindMapped(std::string_view maps, std::string_view name) {
    const std::string wanted = "/" + std::string(name);
    for (std::size_t begin = 0; begin < maps.size();) {
        const std::size_t end = std::min(maps.find('\n', begin), maps.size());
        const std::string_view line = maps.substr(begin, end - begin);
        const std::size_t path = line.find('/');
        if (path != std::string_view::npos &&
            (line.ends_with(wanted) || line.ends_with(wanted + " (deleted)"))) {
            return std::string(line.substr(path));
        }
        begin = end + 1;
    }
    return "";
}

}  // namespace doctor
