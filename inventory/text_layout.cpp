#include "inventory/text_layout.h"

#include <algorithm>
#include <numeric>

#include "base/text_safety.h"

namespace inventory {

namespace {

constexpr std::size_t kNarrowest = 4;  // a character of two columns, and an escape "\xNN"
constexpr std::size_t kGap = 2;        // blanks between columns
constexpr std::size_t kCellLines = 4;  // of a row
constexpr std::size_t kNoteLines = 8;
constexpr std::size_t kTextMax = 2048;  // bytes of a cell that are looked at
constexpr std::string_view kDots = "...";

// The code point of a well-formed character.
std::uint32_t CodePoint(std::string_view character) {
    const auto first = static_cast<unsigned char>(character[0]);
    if (character.size() == 1) {
        return first;
    }
    std::uint32_t code = first & (0x7FU >> character.size());
    for (const char byte : character.substr(1)) {
        code = code << 6U | (static_cast<unsigned char>(byte) & 0x3FU);
    }
    return code;
}

// Unicode's East Asian Width "wide" and "full", by their blocks.
bool IsWide(std::uint32_t code) {
    constexpr struct {
        std::uint32_t First, Last;
    } kWide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},  {0x3041, 0xA4CF},   {0xA960, 0xA97C},
                 {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},  {0xFE10, 0xFE19},   {0xFE30, 0xFE6F},
                 {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF},
                 {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};
    return std::any_of(std::begin(kWide), std::end(kWide), [code](const auto& range) {
        return code >= range.First && code <= range.Last;
    });
}

std::size_t CharacterWidth(std::string_view character) {
    return IsWide(CodePoint(character)) ? 2 : 1;
}

std::string_view FirstCharacter(std::string_view text) {
    return text.substr(0, std::max<std::size_t>(1, text::Utf8CharacterLength(text)));
}

// Bytes of the longest begin of the text that fits `width` columns.
std::size_t FittingBytes(std::string_view text, std::size_t width) {
    std::size_t bytes = 0;
    std::size_t columns = 0;
    while (bytes < text.size()) {
        const std::string_view character = FirstCharacter(text.substr(bytes));
        columns += CharacterWidth(character);
        if (columns > width) {
            break;
        }
        bytes += character.size();
    }
    return bytes;
}

std::string_view WithoutBlanksBefore(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}
std::string WithoutBlanksBehind(std::string_view text) {
    return std::string(text.substr(0, text.find_last_not_of(' ') + 1));
}

// Takes one line off the text, which is longer than a line.
std::string TakeLine(std::string_view& text, std::size_t width) {
    const std::size_t fitting = FittingBytes(text, width);
    std::size_t end = text[fitting] == ' ' ? fitting : text.substr(0, fitting).rfind(' ');
    if (end == std::string_view::npos || end == 0) {
        end = fitting;
    }
    std::string line = WithoutBlanksBehind(text.substr(0, end));
    text = WithoutBlanksBefore(text.substr(end));
    return line;
}

std::string Pad(const std::string& cell, std::size_t width) {
    return cell + std::string(width - std::min(width, DisplayWidth(cell)), ' ');
}

// As a terminal shows it, and no longer than anyone reads.
std::string Clean(std::string_view cell) {
    std::string safe = text::EscapeControls(cell.substr(0, kTextMax));
    if (cell.size() > kTextMax) {
        safe += kDots;
    }
    return safe.empty() ? "-" : safe;
}

void AppendRow(std::vector<std::string>& lines, const std::vector<std::string>& cells,
               const std::vector<std::size_t>& widths) {
    std::vector<std::vector<std::string>> wrapped;
    std::size_t height = 0;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        wrapped.push_back(WrapText(cells[i].empty() ? "-" : cells[i], widths[i], kCellLines));
        height = std::max(height, wrapped.back().size());
    }
    for (std::size_t line = 0; line < height; ++line) {
        std::string whole;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const std::string part = line < wrapped[i].size() ? wrapped[i][line] : std::string();
            whole += Pad(part, widths[i] + kGap);
        }
        lines.push_back(WithoutBlanksBehind(whole));
    }
}

// Where the next line of the same depth hangs on the same parent.
bool HasNextSibling(const std::vector<TreeLine>& tree, std::size_t index) {
    const std::size_t depth = tree[index].Depth;
    const auto next =
        std::find_if(tree.begin() + static_cast<std::ptrdiff_t>(index) + 1, tree.end(),
                     [depth](const TreeLine& line) { return line.Depth <= depth; });
    return next != tree.end() && next->Depth == depth;
}

}  // namespace

std::size_t DisplayWidth(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        const std::string_view character = FirstCharacter(text);
        columns += CharacterWidth(character);
        text.remove_prefix(character.size());
    }
    return columns;
}

std::vector<std::string> WrapText(std::string_view text, std::size_t width, std::size_t maxLines) {
    width = std::max(width, kNarrowest);
    const std::string safe = Clean(text);
    std::string_view rest = safe;
    std::vector<std::string> lines;
    while (FittingBytes(rest, width) < rest.size() && lines.size() + 1 < maxLines) {
        lines.push_back(TakeLine(rest, width));
    }
    if (FittingBytes(rest, width) < rest.size()) {
        lines.emplace_back(rest.substr(0, FittingBytes(rest, width - kDots.size())));
        lines.back() += kDots;
    } else if (!rest.empty() || lines.empty()) {
        lines.emplace_back(rest);
    }
    return lines;
}

CTextTable::CTextTable(std::vector<std::string> heads) {
    AddRow(std::move(heads));
}

void CTextTable::AddRow(std::vector<std::string> cells) {
    m_Rows.push_back({std::move(cells), {}});
}

void CTextTable::AddNote(std::string text) {
    m_Rows.back().Notes.push_back(std::move(text));
}

std::vector<std::size_t> CTextTable::Widths() const {
    std::vector<std::size_t> widths(m_Rows.front().Cells.size(), 1);
    for (const Row& row : m_Rows) {
        for (std::size_t i = 0; i < widths.size(); ++i) {
            widths[i] =
                std::max(widths[i], std::min(DisplayWidth(Clean(row.Cells[i])), kLineWidth));
        }
    }
    const std::size_t room = kLineWidth - kGap * (widths.size() - 1);
    while (std::accumulate(widths.begin(), widths.end(), std::size_t{0}) > room) {
        --*std::max_element(widths.begin(), widths.end());
    }
    return widths;
}

std::vector<std::string> CTextTable::Lines() const {
    constexpr std::size_t kIndent = 4;
    const std::vector<std::size_t> widths = Widths();
    std::vector<std::string> lines;
    for (const Row& row : m_Rows) {
        AppendRow(lines, row.Cells, widths);
        for (const std::string& note : row.Notes) {
            for (const std::string& line : WrapText(note, kLineWidth - kIndent, kNoteLines)) {
                lines.push_back(std::string(kIndent, ' ') + line);
            }
        }
    }
    return lines;
}

std::vector<std::string> DrawTree(const std::vector<TreeLine>& tree) {
    std::vector<std::string> lines;
    std::vector<bool> goesOn;  // by depth: whether a bar leads on to a sibling below
    for (std::size_t i = 0; i < tree.size(); ++i) {
        const std::size_t depth = tree[i].Depth;
        goesOn.resize(depth);
        goesOn.push_back(HasNextSibling(tree, i));
        std::string before;
        for (std::size_t level = 1; level < depth; ++level) {
            before += goesOn[level] ? "|  " : "   ";
        }
        std::string mark = depth == 0 ? "" : goesOn[depth] ? "|- " : "`- ";
        for (const std::string& part :
             WrapText(tree[i].Text, kLineWidth - before.size() - mark.size(), kCellLines)) {
            lines.push_back(before);
            lines.back().append(mark).append(part);
            mark = depth == 0 ? "  " : goesOn[depth] ? "|  " : "   ";
        }
    }
    return lines;
}

}  // namespace inventory
