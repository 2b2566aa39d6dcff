// Tables, wrapped lines and trees of text that is safe on a terminal, whatever the cells hold.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace inventory {

inline constexpr std::size_t kLineWidth = 100;  // columns of a terminal

// Columns that well-formed text without control characters takes: East Asian wide characters two,
// every other one.
[[nodiscard]] std::size_t DisplayWidth(std::string_view text);

// The text as lines of at most `width` columns, which is 4 at least, broken at blanks where there
// are some. Control characters and malformed bytes are escaped. What `maxLines` lines do not hold
// is cut, which three dots then say. At least one line.
[[nodiscard]] std::vector<std::string> WrapText(std::string_view text, std::size_t width,
                                                std::size_t maxLines);

// Columns as wide as their cells, narrowed until a line fits; cells then take several lines. An
// empty cell shows "-".
class CTextTable {
public:
    explicit CTextTable(std::vector<std::string> heads);

    // As many cells as there are heads.
    void AddRow(std::vector<std::string> cells);
    // A text of its own below the last row, over all columns.
    void AddNote(std::string text);
    [[nodiscard]] bool HasRows() const { return m_Rows.size() > 1; }
    [[nodiscard]] std::vector<std::string> Lines() const;

private:
    struct Row {
        std::vector<std::string> Cells;  // as they were given
        std::vector<std::string> Notes;
    };
    [[nodiscard]] std::vector<std::size_t> Widths() const;

    std::vector<Row> m_Rows;  // the heads first
};

// A line of a tree; its children follow it, one deeper.
struct TreeLine {
    std::size_t Depth;
    std::string Text;
};
// With "|-" and "`-" in front; long lines are wrapped.
[[nodiscard]] std::vector<std::string> DrawTree(const std::vector<TreeLine>& tree);

}  // namespace inventory
