// Tables and trees of hostile cells: never wider than a terminal, never obeyed by it.
#include "inventory/text_layout.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace {

using inventory::CTextTable;
using inventory::DisplayWidth;
using inventory::WrapText;

bool IsHarmless(const std::string& line) {
    return DisplayWidth(line) <= inventory::kLineWidth &&
           std::none_of(line.begin(), line.end(), [](char c) { return c >= 0 && c < ' '; });
}

TEST(TextTable, FitsATerminalWhateverItsCellsHold) {
    const std::string hostile[] = {
        std::string(60000, 'x'),
        std::string(300, '\xFF'),
        "\x1b[2J\r\n\t%n%s",
        std::string("a\0b", 3),
        "\xE6\xBC\xA2\xE5\xAD\x97\xE6\xBC\xA2\xE5\xAD\x97" + std::string(200, 'w'),
        std::string(500, ' '),
        "\xE2\x80\xAE reversed",
        "",
    };
    for (const std::size_t columns : {1U, 3U, 8U}) {
        CTextTable table(std::vector<std::string>(columns, "HEAD"));
        for (const std::string& cell : hostile) {
            table.AddRow(std::vector<std::string>(columns, cell));
            table.AddNote(cell);
        }
        const std::vector<std::string> lines = table.Lines();
        EXPECT_TRUE(std::all_of(lines.begin(), lines.end(), IsHarmless)) << columns;
        EXPECT_LT(lines.size(), 200U);
    }
}

TEST(TextTable, AlignsColumnsAndKeepsWhatFits) {
    CTextTable table({"A", "B"});
    table.AddRow({"\xE6\xBC\xA2", "1"});
    table.AddRow({"xyz", std::string(100, 'b')});
    EXPECT_EQ(table.Lines(),
              (std::vector<std::string>{"A    B", "\xE6\xBC\xA2   1",
                                        "xyz  " + std::string(95, 'b'), "     bbbbb"}));
}

TEST(WrapText, BreaksAtBlanksAndSaysWhatItCuts) {
    const struct {
        const char* Text;
        std::size_t Width, Lines;
        std::vector<std::string> Expected;
    } rows[] = {
        {"one two three", 7, 4, {"one two", "three"}},
        {"one two three", 8, 4, {"one two", "three"}},
        {"abcdefghij", 4, 4, {"abcd", "efgh", "ij"}},
        {"abcdefghij", 5, 1, {"ab..."}},
        {"ab      cd", 4, 2, {"ab", "cd"}},
        {"", 4, 1, {"-"}},
        {"abcdef", 0, 9, {"abcd", "ef"}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(WrapText(row.Text, row.Width, row.Lines), row.Expected) << row.Text;
    }
}

TEST(DrawTree, LeadsBarsToSiblingsOnly) {
    EXPECT_EQ(inventory::DrawTree({{0, "slot"}, {1, "a"}, {2, "b"}, {1, "c"}, {2, "d"}, {0, "e"}}),
              (std::vector<std::string>{"slot", "|- a", "|  `- b", "`- c", "   `- d", "e"}));
}

}  // namespace
