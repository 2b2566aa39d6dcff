#include "tools/switch_check/elf_library.h"

#include <elf.h>

#include <algorithm>

namespace elf {

namespace {

// Bounds the work on a file that claims more than any library has.
constexpr std::size_t kMostSections = 65535;
constexpr std::size_t kMostEntries = 1U << 20;
constexpr std::size_t kLongestText = 1U << 16;

struct Section {
    CByteView Bytes;
    CByteView Texts;  // of the string table that belongs to it
};

// Cuts at the file's end.
CByteView BytesOf(CByteView file, const Elf64_Shdr& header) {
    return header.sh_type == SHT_NOBITS ? CByteView() : file.Part(header.sh_offset, header.sh_size);
}

// The text at `offset`; empty when it is not there or has no end.
std::string_view TextAt(CByteView texts, std::size_t offset) {
    const std::string_view rest = texts.Part(offset, kLongestText).Text();
    const std::size_t end = rest.find('\0');
    return end == std::string_view::npos ? std::string_view() : rest.substr(0, end);
}

class CSections {
public:
    CSections(CByteView file, const Elf64_Ehdr& header)
        : m_File(file),
          m_Table(header.e_shentsize == sizeof(Elf64_Shdr) && header.e_shoff != 0
                      ? file.Part(header.e_shoff)
                      : CByteView()) {
        m_Count = std::min<std::size_t>(
            {header.e_shnum, kMostSections, m_Table.Size() / sizeof(Elf64_Shdr)});
    }

    [[nodiscard]] bool IsEmpty() const { return m_Count == 0; }

    // The first of a type; both views are empty when there is none.
    [[nodiscard]] Section Find(std::uint32_t type) const {
        for (std::size_t i = 0; i < m_Count; ++i) {
            const Elf64_Shdr header = At(i);
            if (header.sh_type == type) {
                const bool hasTexts =
                    header.sh_link < m_Count && At(header.sh_link).sh_type == SHT_STRTAB;
                return {BytesOf(m_File, header),
                        hasTexts ? BytesOf(m_File, At(header.sh_link)) : CByteView()};
            }
        }
        return {};
    }

private:
    [[nodiscard]] Elf64_Shdr At(std::size_t index) const {
        Elf64_Shdr header{};
        (void)m_Table.Copy(index * sizeof header, header);  // inside: m_Count saw to it
        return header;
    }

    CByteView m_File;
    CByteView m_Table;
    std::size_t m_Count = 0;
};

void ReadDynamic(const Section& section, Library& library) {
    Elf64_Dyn entry{};
    for (std::size_t i = 0; i < kMostEntries && section.Bytes.Copy(i * sizeof entry, entry); ++i) {
        switch (entry.d_tag) {
        case DT_NULL: return;
        case DT_NEEDED: library.Needed.push_back(TextAt(section.Texts, entry.d_un.d_val)); break;
        case DT_RPATH:
            if (library.RunPath.empty()) {
                library.RunPath = TextAt(section.Texts, entry.d_un.d_val);
            }
            break;
        case DT_RUNPATH: library.RunPath = TextAt(section.Texts, entry.d_un.d_val); break;
        case DT_FLAGS_1: library.IsProgram = (entry.d_un.d_val & DF_1_PIE) != 0; break;
        default: break;
        }
    }
}

void ReadSymbols(const Section& section, Library& library) {
    Elf64_Sym symbol{};
    // The first is no symbol.
    for (std::size_t i = 1; i < kMostEntries && section.Bytes.Copy(i * sizeof symbol, symbol);
         ++i) {
        const unsigned char binding = ELF64_ST_BIND(symbol.st_info);
        const std::string_view name = TextAt(section.Texts, symbol.st_name);
        if (binding == STB_LOCAL || name.empty()) {
            continue;
        }
        if (symbol.st_shndx != SHN_UNDEF) {
            library.Defined.push_back(name);
        } else if (binding != STB_WEAK) {
            library.Expected.push_back(name);
        }
    }
}

Kind KindOf(CByteView file, const Elf64_Ehdr& header) {
    if (file.Part(0, SELFMAG).Text() != std::string_view(ELFMAG, SELFMAG)) {
        return Kind::kNotElf;
    }
    if (header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_ident[EI_DATA] != ELFDATA2LSB) {
        return Kind::kOtherClass;
    }
    if (header.e_machine != EM_X86_64) {
        return Kind::kOtherMachine;
    }
    return header.e_type == ET_DYN ? Kind::kLibrary : Kind::kNotShared;
}

}  // namespace

Library Parse(CByteView file) {
    Library library;
    Elf64_Ehdr header{};
    if (!file.Copy(0, header)) {
        return library;
    }
    library.FileKind = KindOf(file, header);
    library.Machine = header.e_machine;
    library.Type = header.e_type;
    if (library.FileKind != Kind::kLibrary) {
        return library;
    }
    const CSections sections(file, header);
    library.HasSections = !sections.IsEmpty();
    ReadDynamic(sections.Find(SHT_DYNAMIC), library);
    ReadSymbols(sections.Find(SHT_DYNSYM), library);
    if (library.IsProgram) {
        library.FileKind = Kind::kNotShared;
    }
    return library;
}

bool Defines(const Library& library, std::string_view name) {
    return std::find(library.Defined.begin(), library.Defined.end(), name) != library.Defined.end();
}

}  // namespace elf
