// Entry points as bytes: revision and checksum; and the EFI system table's text.
#include "hardware/smbios_entry_point.h"

#include <gtest/gtest.h>

#include "hardware/smbios.h"
#include "hardware/systab_text.h"
#include "tests/hardware/smbios_bytes.h"

namespace {

using namespace std::string_literals;
using smbios_tables::RevisionResult;

const struct {
    std::string Header;
    RevisionResult Result;
    int Major, Minor;
} kRevisions[] = {
    {"", RevisionResult::kNoHeader, 0, 0},
    {"_SM_\1\1\2", RevisionResult::kNoAnchor, 0, 0},
    {"_SM_\1\1\2\7", RevisionResult::kFound, 2, 7},
    {"_SM3_", RevisionResult::kNoAnchor, 0, 0},
    {"_SM3_\1\1\3\5", RevisionResult::kFound, 3, 5},
    {"UEFI\6\3", RevisionResult::kFound, 3, 6},
    {"_DMI_\1\1\2\7", RevisionResult::kNoAnchor, 0, 0},
    {smbios_bytes::EntryPoint30(0, 0) + std::string(65512, 'x'), RevisionResult::kFound, 3, 4},
};

TEST(EntryPoint, GivesTheRevisionOfEveryLayout) {
    for (const auto& row : kRevisions) {
        smbios_tables::Revision revision;
        EXPECT_EQ(smbios_tables::ParseRevision(CByteView(row.Header), revision), row.Result)
            << row.Header.substr(0, 9);
        EXPECT_EQ(revision.Major, row.Major);
        EXPECT_EQ(revision.Minor, row.Minor);
    }
}

TEST(EntryPoint, IsTakenWhenItsBytesAddUpToZero) {
    const std::string good = smbios_bytes::EntryPoint21(0x12345678, 0x9ABC, 5);
    std::string bad = good;
    ++bad[8];
    std::string empty = good;
    empty[5] = 0;
    std::string cut = good;
    cut[5] = 40;
    cut = smbios_bytes::WithChecksum(cut, 4, cut.size());
    const struct {
        std::string Bytes;
        bool IsGood;
        unsigned long Length;  // of the header that is stored
    } rows[] = {
        {good, true, 31}, {good + "behind"s, true, 31},   {empty, true, 0}, {bad, false, 0},
        {cut, false, 0},  {good.substr(0, 30), false, 0},
    };
    for (const auto& row : rows) {
        CSMBios smbios;
        unsigned int address = 0;
        unsigned long length = 0;
        CDataStream header;
        const CByteView bytes(row.Bytes);
        EXPECT_EQ(smbios.checkSmbiosHeader(bytes.Data(), address, length, header, bytes.Size()),
                  row.IsGood);
        EXPECT_EQ(header.Size(), row.Length);
        if (row.IsGood) {
            EXPECT_EQ(address, 0x12345678U);
            EXPECT_EQ(length, 0x9ABCU);
            EXPECT_EQ(smbios.GetStructureCount(), 5U);
        }
    }
}

const struct {
    std::string Text;
    std::uint64_t Version3, Version2;
} kSystabs[] = {
    {"ACPI=0x1\nSMBIOS3=0x123456789\nSMBIOS=0xf0000\n", 0x123456789, 0xF0000},
    {"SMBIOS=010\n", 0, 8},
    {"SMBIOS\nSMBIOS =1\n SMBIOS=2\nSMBIOS=0x3=4 tail\nSMBIOS=5\n", 0, 3},
    {"SMBIOS=none\nSMBIOS=1\n", 0, 0},  // the first one counts
    {"SMBIOS3=\nSMBIOS=0x10\n", 0, 0x10},
    {"x=" + std::string(253, 'y') + "SMBIOS=0x7\n", 0, 7},  // a line goes on after 255 characters
    {"SMBIOS=0x8\0\nSMBIOS3=9"s, 9, 8},
    {"SMBIOS3=0xFFFFFFFFFFFFFFFFF\n", UINT64_MAX, 0},
};

TEST(Systab, GivesTheAddressBehindTheExactKey) {
    for (const auto& row : kSystabs) {
        EXPECT_EQ(smbios_tables::FindSystabAddress(row.Text, "SMBIOS3"), row.Version3) << row.Text;
        EXPECT_EQ(smbios_tables::FindSystabAddress(row.Text, "SMBIOS"), row.Version2) << row.Text;
    }
}

}  // namespace
