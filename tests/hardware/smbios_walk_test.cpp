// Whole structure tables, most of them bad: result, count, index and strings.
#include "hardware/smbios_walk.h"

#include <random>

#include <gtest/gtest.h>

#include "fuzz/plain_smbios_walk.h"
#include "hardware/smbios.h"
#include "tests/hardware/smbios_bytes.h"

namespace {

using namespace std::string_literals;
using smbios_bytes::Repeat;
using smbios_bytes::Structure;

const std::string kSystem = Structure(1, 27, 1, {"Maker", "Product"});
const std::string kEnd = Structure(127, 4, 0xFEFF);
constexpr char kNoHead[] = "while reading struct header!";
constexpr char kNoArea[] = "while going to struct end!";
constexpr char kNoStrings[] = "while when string table end found!";

struct Row {
    const char* Name;
    std::string Table;
    const char* Error;  // part of the last error; null: the table is taken
    std::size_t Count;  // the structure count
    std::uint8_t Type;  // and how many of this type are in the index
    std::size_t OfType;
};
const Row kRows[] = {
    {"empty", "", "", 0, 0, 0},
    {"one structure that ends with the table", kSystem, nullptr, 1, 1, 1},
    {"type 127 at the table's end", kSystem + kEnd, nullptr, 2, 127, 1},
    // One more than there is is counted.
    {"one byte behind type 127", kSystem + kEnd + "x", nullptr, 3, 127, 1},
    {"structures behind type 127", kSystem + kEnd + kSystem, nullptr, 3, 1, 1},
    {"no type 127", kSystem + kSystem, nullptr, 2, 1, 2},
    {"one byte too many", kSystem + "\x01", kNoHead, 0, 1, 1},
    {"length beyond the table", "\x01\x05\x02\x03"s, kNoArea, 0, 1, 1},
    {"formatted area up to the table's end", "\x01\x04\x02\x03"s, kNoStrings, 0, 1, 1},
    {"a last string with one NUL", kSystem + "\x02\x04\x02\x03text\0"s, kNoStrings, 0, 2, 1},
    {"length 255 in the last third", Repeat(kSystem, 40) + "\x02\xFF\x02\x03"s + Repeat(kSystem, 2),
     kNoArea, 0, 2, 1},
    // The strings begin in the structure's own head.
    {"length 0", "\x01\0\x02\x03\0\0"s + kEnd, nullptr, 2, 1, 1},
    {"length 0 with a handle of 0", "\x01\0\0\0"s + kEnd, kNoArea, 0, 0, 1},
    {"length 1", "\x01\x01\x02\x03\0\0"s + kEnd, nullptr, 2, 1, 1},
    {"length 2 with a handle of 0", "\x01\x02\0\0"s + kEnd, nullptr, 2, 1, 1},
    {"length 3", "\x01\x03\x02\x03\0\0"s + kEnd, nullptr, 2, 1, 1},
    // In steps of two bytes; the last one has no whole head and is in no index.
    {"zeros", std::string(64, '\0'), nullptr, 32, 0, 31},
    {"an odd number of zeros", std::string(65, '\0'), kNoHead, 0, 0, 31},
    {"a last head of three bytes", kSystem + "\x05\0\0"s, nullptr, 2, 5, 0},
    {"all 0xFF", std::string(65535, '\xFF'), kNoStrings, 0, 255, 1},
    {"as many empty structures as fit", Repeat(Structure(3), 10922), nullptr, 10922, 3, 10922},
    {"a string of 60 KB", Structure(1, 4, 1, {std::string(61440, 's')}) + kEnd, nullptr, 2, 1, 1},
};

TEST(StructureTable, IsTakenOrRefusedByTheRules) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.Name);
        CSMBios smbios;
        EXPECT_EQ(smbios.ConnectCopy(CDataStream(), smbios_bytes::Stream(row.Table)),
                  row.Error == nullptr);
        EXPECT_EQ(smbios.GetStructureCount(), row.Count);
        EXPECT_EQ(smbios.GetStructures(row.Type).size(), row.OfType);
        EXPECT_NE(smbios.GetLastError().find(row.Error != nullptr ? row.Error : ""),
                  std::string::npos)
            << smbios.GetLastError();
        EXPECT_EQ(smbios.GetLastError().empty(), row.Error == nullptr || row.Table.empty());
    }
}

TEST(StructureTable, OfAnyBytesIsWalkedLikeByThePlainReader) {
    std::mt19937 random(20240307);  // NOLINT: the same tables in every run
    for (int round = 0; round < 3000; ++round) {
        // Small values make short structures and many NULs.
        const unsigned int limit = round % 3 == 0 ? 256 : round % 3 == 1 ? 8 : 2;
        std::string table(random() % 300, '\0');
        for (char& byte : table) {
            byte = static_cast<char>(random() % limit);
        }
        const fuzz::PlainWalk plain = fuzz::WalkPlainly(table);
        smbios_tables::CTableWalk walk{CByteView(table)};
        smbios_tables::Structure structure;
        CSMBios smbios;
        ASSERT_EQ(smbios.ConnectCopy(CDataStream(), smbios_bytes::Stream(table)), plain.IsComplete);
        ASSERT_EQ(smbios.GetStructureCount(), plain.Count);
        for (const fuzz::PlainStructure& expected : plain.Structures) {
            (void)walk.Take(structure);
            ASSERT_EQ(structure.Offset, expected.Offset);
            ASSERT_EQ(smbios_tables::SplitStrings(structure), expected.Strings);
        }
    }
}

TEST(StructureTable, CountsTheStructuresOfATypeInEightBits) {
    for (const std::size_t count : {0U, 1U, 255U, 256U, 257U}) {
        CSMBios smbios;
        ASSERT_TRUE(smbios.ConnectCopy(
            CDataStream(), smbios_bytes::Stream(Repeat(Structure(9, 17), count) + kEnd)));
        EXPECT_EQ(smbios.GetStructures(9).size(), count);
        EXPECT_EQ(smbios.GetCountOfType(9), count % 256);
    }
}

TEST(StructureTable, IsReadAtFixedOffsetsUpToItsEnd) {
    CSMBios smbios;
    ASSERT_TRUE(
        smbios.ConnectCopy(CDataStream(), smbios_bytes::Stream(Structure(9, 6, 0x0201, {"AB"}))));
    const _DMI_20_HEADER* const slot = smbios.GetStructures(9).at(0);
    EXPECT_EQ(smbios.FindByte(slot, 2), 0x01);
    EXPECT_EQ(smbios.FindByte(slot, 7), 'B');  // behind the formatted area: the strings
    EXPECT_EQ(smbios.FindByte(slot, 9), 0);
    EXPECT_EQ(smbios.FindByte(slot, 10), std::nullopt);
    EXPECT_EQ(smbios.FindByte(slot, SIZE_MAX), std::nullopt);
}

TEST(StructureTable, KeepsNothingOfTheOneBefore) {
    CSMBios smbios;
    ASSERT_TRUE(smbios.ConnectCopy(smbios_bytes::Stream(smbios_bytes::EntryPoint30(1, 1)),
                                   smbios_bytes::Stream(kSystem + kSystem + kEnd)));
    ASSERT_TRUE(smbios.ConnectCopy(CDataStream(), smbios_bytes::Stream(kSystem + kEnd)));
    EXPECT_EQ(smbios.GetStructureCount(), 2U);
    EXPECT_EQ(smbios.GetStructures(1).size(), 1U);
    EXPECT_EQ(smbios.GetRevision().Major, 0);
    smbios.Disconnect();
    EXPECT_EQ(smbios.GetStructureCount(), 0U);
    EXPECT_TRUE(smbios.GetData().IsEmpty() && smbios.GetStructures(1).empty());
}

}  // namespace
