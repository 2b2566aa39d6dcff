// One line of a tree file: cutting the text into lines, and reading one (pure).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "os/registry_data.h"

inline constexpr std::size_t kRegistryLineMax = 1023;  // characters, a line feed included

// Hands out the lines of a tree file's text one after the other. Lines are texts that end at a zero
// byte: what follows one on its line is dropped.
class CRegistryLines {
public:
    explicit CRegistryLines(std::string_view text) : m_Rest(text) {}

    // The next line, without its line feed. False at the end of the text.
    //
    // Deliberate: a longer line arrives in pieces of 1,023 characters. One of exactly that length
    // leaves its line feed to the next piece, which is then an empty line and closes a node.
    bool Next(std::string_view& line);

private:
    std::string_view m_Rest;
};

// The parts of a line, as views into it.
struct RegistryLine {
    enum class Kind { End, Subkey, Value, Ignored };

    Kind What;
    std::string_view Name;  // Subkey and Value
    std::uint32_t Type;     // Value: one of the four
    std::string_view Data;  // Value: the text behind the tag
};

RegistryLine ParseRegistryLine(std::string_view line);

// The data of a Value line. Throws std::bad_alloc.
CRegistryData ParseRegistryData(const RegistryLine& line);
