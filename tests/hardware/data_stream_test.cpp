// The byte buffer: value semantics and the hexadecimal dump.
#include "hardware/data_stream.h"

#include <gtest/gtest.h>

namespace {

TEST(ByteView, NeverReadsBehindItsEnd) {
    const CByteView view(std::string_view("\x01\x02\x03", 3));
    std::uint16_t number = 7;
    EXPECT_TRUE(view.Read(1, number));
    EXPECT_EQ(number, 0x0302);
    EXPECT_FALSE(view.Read(2, number));
    EXPECT_FALSE(view.Read(SIZE_MAX, number));
    EXPECT_EQ(number, 0x0302);
    EXPECT_EQ(view.ReadOrZero<std::uint32_t>(0), 0U);
    EXPECT_EQ(view.Part(2, 9).Text(), "\x03");
    EXPECT_TRUE(view.Part(3).IsEmpty());
    EXPECT_TRUE(view.Part(SIZE_MAX, SIZE_MAX).IsEmpty());
}

const struct {
    std::string_view Bytes;
    bool WithOffset, WithAscii;
    unsigned long PerLine;
    int Width;
    const char* Text;
    const char* Dump;
} kDumps[] = {
    {"", true, true, 16, 1, nullptr, ""},
    {"AB", true, true, 2, 1, nullptr, "41 42   AB"},  // one line: no offset
    {"AB\x7F", true, true, 2, 1, nullptr, "0000: 41 42   AB\n0002: 7F      ."},  // padded
    {"\x1F ~\x80", false, true, 4, 1, nullptr, "1F 20 7E 80   . ~."},
    {"ABCD", true, true, 2, 2, nullptr, "0000: 4241 4443   ABCD"},
    {"ABC", false, true, 3, 2, nullptr, "4241 0043      ABC"},  // three blanks for a wider item
    {"ABCDE", true, true, 1, 4, nullptr, "0000: 44434241 \n0004: 00000045 "},  // no characters
    {"ABC", false, false, 2, 1, "> ", "> 41 42 \n> 43    "},
    {"ABC", true, false, 0, 3, nullptr, "41 42 43 "},
};

TEST(DataStream, DumpsInHexadecimal) {
    EXPECT_TRUE(CDataStream(nullptr, 8).IsEmpty());
    for (const auto& row : kDumps) {
        std::string dump = "old";
        CDataStream::DumpHex(dump, CByteView(row.Bytes).Data(), row.Bytes.size(), row.WithOffset,
                             row.WithAscii, row.PerLine, row.Width, row.Text);
        EXPECT_EQ(dump, row.Dump);
    }
    std::string dump = "old";
    CDataStream::DumpHex(dump, nullptr, 5, true, true, 16, 1, nullptr);
    EXPECT_EQ(dump, "(null)");
}

}  // namespace
