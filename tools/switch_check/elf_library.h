// What an ELF file says of itself: kind, needed libraries, names that it exports and expects.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "base/byte_view.h"

namespace elf {

enum class Kind { kNotElf, kOtherClass, kOtherMachine, kNotShared, kLibrary };

// The texts stand in the file's bytes.
struct Library {
    Kind FileKind = Kind::kNotElf;
    std::uint16_t Type = 0;     // ET_..., from kNotShared on
    std::uint16_t Machine = 0;  // EM_..., from kOtherMachine on
    bool IsProgram = false;     // has the mark of a position-independent executable
    bool HasSections = false;   // false: stripped of its section table, so nothing below is known
    std::vector<std::string_view> Needed;
    std::string_view RunPath;
    std::vector<std::string_view> Defined;   // dynamic symbols that others may bind to
    std::vector<std::string_view> Expected;  // dynamic symbols that somebody else must have
};

// Reads a 64-bit little-endian file of x86-64; of another only the kind. The lists come from the
// section table, whatever is out of bounds is left out.
[[nodiscard]] Library Parse(CByteView file);

// Whether `library` exports `name`.
[[nodiscard]] bool Defines(const Library& library, std::string_view name);

}  // namespace elf
