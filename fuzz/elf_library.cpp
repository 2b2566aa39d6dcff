// What an ELF file says of itself, against a plain second reading of its symbols.
//
// Input: the file.
#include "tools/switch_check/elf_library.h"

#include <elf.h>

#include <cstring>

#include "fuzz/input.h"

namespace {

struct Counts {
    std::size_t Defined = 0;
    std::size_t Expected = 0;
};

// The record at `offset`, zero behind the end.
template <typename Record>
bool At(std::string_view file, std::uint64_t offset, Record& record) {
    if (offset > file.size() || file.size() - offset < sizeof record) {
        return false;
    }
    std::memcpy(&record, file.data() + offset, sizeof record);
    return true;
}

// Whether a text that is not empty begins there and ends within the file and the table.
bool HasText(std::string_view file, const Elf64_Shdr& table, std::uint64_t offset) {
    if (table.sh_type != SHT_STRTAB || table.sh_offset >= file.size() || offset >= table.sh_size ||
        offset >= file.size() - table.sh_offset) {
        return false;
    }
    const std::string_view texts = file.substr(table.sh_offset, table.sh_size).substr(offset);
    return texts.front() != '\0' && texts.find('\0') != std::string_view::npos;
}

Counts CountPlainly(std::string_view file, const Elf64_Ehdr& header) {
    Counts counts;
    Elf64_Shdr symbols{};
    bool isFound = false;
    std::size_t sections = 0;
    for (Elf64_Shdr section{}; sections < header.e_shnum && header.e_shoff != 0; ++sections) {
        if (!At(file, header.e_shoff + sections * sizeof section, section)) {
            break;
        }
        if (!isFound && section.sh_type == SHT_DYNSYM) {
            symbols = section;
            isFound = true;
        }
    }
    Elf64_Shdr texts{};
    if (!isFound || header.e_shentsize != sizeof texts || symbols.sh_link >= sections ||
        !At(file, header.e_shoff + symbols.sh_link * sizeof texts, texts)) {
        return counts;
    }
    Elf64_Sym symbol{};
    for (std::uint64_t at = sizeof symbol;
         at < symbols.sh_size && symbols.sh_size - at >= sizeof symbol &&
         symbols.sh_offset < file.size() && At(file, symbols.sh_offset + at, symbol);
         at += sizeof symbol) {
        const int binding = ELF64_ST_BIND(symbol.st_info);
        if (binding == STB_LOCAL || !HasText(file, texts, symbol.st_name)) {
            continue;
        }
        if (symbol.st_shndx != SHN_UNDEF) {
            ++counts.Defined;
        } else if (binding != STB_WEAK) {
            ++counts.Expected;
        }
    }
    return counts;
}

void RequireTexts(std::string_view file, const std::vector<std::string_view>& texts) {
    for (const std::string_view text : texts) {
        fuzz::Require(text.empty() || (fuzz::IsInside(text, file) &&
                                       text.data() + text.size() < file.data() + file.size() &&
                                       *(text.data() + text.size()) == '\0'),
                      "a text stands in the file, with its end");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view file = fuzz::Text(data, size);
    const elf::Library library = elf::Parse(CByteView(file));
    RequireTexts(file, library.Needed);
    RequireTexts(file, library.Defined);
    RequireTexts(file, library.Expected);
    RequireTexts(file, {library.RunPath});
    Elf64_Ehdr header{};
    if (!library.HasSections) {
        fuzz::Require(library.Needed.empty() && library.Defined.empty() && library.Expected.empty(),
                      "nothing without sections");
    } else if (At(file, 0, header)) {
        const Counts plain = CountPlainly(file, header);
        fuzz::Require(
            library.Defined.size() == plain.Defined && library.Expected.size() == plain.Expected,
            "as many symbols");
    }
    for (const std::string_view name : library.Defined) {
        fuzz::Require(elf::Defines(library, name), "what is defined is found");
    }
    return 0;
}
