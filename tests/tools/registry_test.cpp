// Registry values outside the tree, exports, and the check of tree files.
#include <string>

#include <gtest/gtest.h>

#include "os/registry_node.h"
#include "tools/registry/check.h"
#include "tools/registry/json.h"
#include "tools/registry/value.h"

namespace {

using namespace std::string_literals;
using tools::RegistryValue;

TEST(RegistryValue, IsParsedByItsType) {
    const struct {
        std::uint32_t Type;
        const char* Text;
        RegistryValue Value;
        const char* Printed;  // null: refused
    } rows[] = {
        {kRegDword, "4294967295", {kRegDword, "", 4294967295}, "4294967295"},
        {kRegDword, "-2147483648", {kRegDword, "", 2147483648}, "2147483648"},
        {kRegDword, "0xfF", {kRegDword, "", 255}, "255"},
        {kRegDword, "4294967296", {}, nullptr},
        {kRegDword, "-2147483649", {}, nullptr},
        {kRegDword, "0x-1", {}, nullptr},
        {kRegDword, "", {}, nullptr},
        {kRegDword, "12 ", {}, nullptr},
        {kRegDword, "+1", {}, nullptr},
        {kRegBinary, "", {kRegBinary, "", 0}, ""},
        {kRegBinary, "0aFF", {kRegBinary, "\x0A\xFF", 0}, "0a ff"},
        {kRegBinary, "0a f", {}, nullptr},
        {kRegSz, " text ", {kRegSz, " text ", 0}, " text "},
    };
    for (const auto& row : rows) {
        RegistryValue value;
        EXPECT_EQ(tools::ParseData(row.Type, row.Text, value), row.Printed != nullptr) << row.Text;
        EXPECT_EQ(value, row.Value) << row.Text;
        EXPECT_TRUE(row.Printed == nullptr || tools::PrintData(value) == row.Printed) << row.Text;
    }
}

TEST(RegistryValue, KnowsWhatASaveWouldLose) {
    const auto text = [](const std::string& value) {
        return RegistryValue{kRegSz, value, 0};
    };
    const struct {
        std::string Name;
        RegistryValue Value;
        bool Survives;
    } rows[] = {
        {"", text("text"), true},
        {"a b[c \xFF", text("\xFE=s=]"), true},
        {"[name", text("text"), true},
        {"[name", text("with ]"), false},
        {"a=b", text("text"), false},
        {"a\nb", text("text"), false},
        {"a\0b"s, text("text"), false},
        {"name", text("1\nother=s=2"), false},
        {"name", text("zero\0byte"s), false},
        {"name", text(std::string(1015, 'x')), true},  // 1,022 characters in all
        {"name", text(std::string(1016, 'x')), false},
        {"name", {kRegBinary, std::string(338, '\0'), 0}, true},
        {"name", {kRegBinary, std::string(339, '\0'), 0}, false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(tools::SurvivesSave(row.Name, row.Value), row.Survives)
            << row.Name << " " << row.Value.Bytes.size();
    }
    EXPECT_TRUE(tools::KeySurvivesSave("a=b [c" + std::string(1014, 'k')));
    for (const std::string& name : {"a]b"s, "a\nb"s, "a\0b"s, std::string(1021, 'k')}) {
        EXPECT_FALSE(tools::KeySurvivesSave(name)) << name;
    }
}

TEST(RegistryExport, KeepsNamesAndValuesOfAnyBytesAndRefusesOtherJson) {
    tools::RegistryExport tree;
    tree.Path = {"HKEY_USERS", "a/b\\c", "\xFF\n"};
    tree.Keys.push_back({{"s\xC3\xA4", "\x80"},
                         {{"", {kRegSz, "\xE4=\n", 0}},
                          {"\xFE", {kRegDword, "", 4294967295}},
                          {"b", {kRegBinary, "\0\xFF"s, 0}},
                          {"e", {kRegExpandSz, "%X%", 0}}},
                         false});
    tools::RegistryExport copy;
    std::string problem;
    ASSERT_TRUE(tools::ParseExport(json_text::Dump(tools::ExportToJson(tree)), copy, problem));
    EXPECT_EQ(copy.Path, tree.Path);
    ASSERT_EQ(copy.Keys.size(), 1U);
    EXPECT_EQ(copy.Keys[0].Path, tree.Keys[0].Path);
    EXPECT_EQ(copy.Keys[0].Values, tree.Keys[0].Values);

    const std::string head =
        R"({"format":"morla registry export","version":1,"path":["X"],"keys":)";
    const std::string value = head + R"([{"path":[],"values":[{"name":"n","type":)";
    EXPECT_TRUE(tools::ParseExport(head + "[]}", copy, problem));
    EXPECT_TRUE(tools::ParseExport(value + R"("dword","value":-1}]}]})", copy, problem));
    for (const std::string& text :
         {head, "[]"s, R"({"format":"other","version":1,"path":[],"keys":[]})"s,
          R"({"format":"morla registry export","version":2,"path":[],"keys":[]})"s, head + "{}}",
          head + "[1]}", head + R"([{"path":[]}]})", head + R"([{"values":[]}]})",
          head + R"([{"path":[1],"values":[]}]})", head + R"([{"path":[],"values":[1]}]})",
          value + R"("dword","value":18446744073709551615}]}]})",
          value + R"("dword","value":1.5}]}]})", value + R"("dword","value":"1"}]}]})",
          value + R"("binary","value":"0"}]}]})", value + R"("subkey","value":""}]}]})",
          value + R"("string","value":1}]}]})", value + R"("string"}]}]})"}) {
        EXPECT_FALSE(tools::ParseExport(text, copy, problem)) << text;
    }
}

// The line of each finding, and "lost" or "changed".
std::string Findings(const std::string& text) {
    std::string findings;
    tools::CheckTreeText(text, [&](const tools::TreeFinding& finding) {
        findings += std::to_string(finding.Line) + (finding.IsLoss ? " lost " : " changed ");
    });
    return findings;
}

TEST(RegistryCheck, FindsWhatASaveLosesOrChanges) {
    const std::string full = "a=s=" + std::string(1018, 'x');  // 1,022 characters
    std::string shortBytes = "a=b=";
    for (int i = 0; i < 400; ++i) {
        shortBytes += "1 ";  // too long once written out
    }
    const std::pair<std::string, const char*> rows[] = {
        {"a=s=1\nb=d=-5\n[K]\nc=b=0a ff \n\n[L]\nd=es=%X%\n\n\n", ""},
        {full + "\n\n", ""},
        {full + "x\nb=s=1\n\n", "1 lost 2 lost "},  // its line feed ends the tree
        {full + "xy\n\n", "1 lost 1 lost "},
        {"garbage\n\n", "1 lost "},
        {"a=b=c=s=1\n\n", "1 lost "},
        {"a=x=1\na=s=1\r\n\r\n\n", "1 lost 3 lost "},
        {"[K]junk\n\n\n", "1 lost "},
        {"a=s=1\na=s=2\n\n", "2 lost "},
        {"[K]\n\n[K]\n\n\n", "3 lost "},
        {"[K]\na=s=1\n\na=s=1\n\n", "5 changed "},
        {"a=s=x"s + '\0' + "y\n\n", "1 lost "},
        {"a=d=12x\nb=d=4294967296\nc=d=4294967295\nd=d=007\n\n",
         "1 lost 2 lost 3 changed 4 changed "},
        {"a=b=1 2 zz\nb=b=100 \nc=b=1 2\nd=b=0A ff\n\n", "1 lost 2 lost 3 changed 4 changed "},
        {"a=s=1\n\nb=s=2\nc=s=3\n", "3 lost "},
        {"a=s=1\n", "1 changed "},
        {"b=s=1\na=s=1\n\n", "3 changed "},
        {shortBytes + "\n\n", "1 lost "},
    };
    for (const auto& [text, findings] : rows) {
        EXPECT_EQ(Findings(text), findings) << text;
        CRegistryNode node;  // without a finding, a save writes the same text
        std::string written;
        (void)node.restoreNode(text);
        node.dumpNode(written);
        EXPECT_EQ(written == text, *findings == '\0') << text;
    }
}

}  // namespace
