// Registry values outside the tree, exports, and the check of tree files.
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "os/registry_node.h"
#include "tools/registry_check.h"
#include "tools/registry_json.h"
#include "tools/registry_value.h"

namespace {

using namespace std::string_literals;
using tools::RegistryValue;

TEST(RegistryValue, IsParsedByItsType) {
    const struct {
        std::uint32_t Type;
        const char* Text;
        bool IsGood;
        RegistryValue Value;
        const char* Printed;
    } rows[] = {
        {kRegDword, "0", true, {kRegDword, "", 0}, "0"},
        {kRegDword, "4294967295", true, {kRegDword, "", 4294967295}, "4294967295"},
        {kRegDword, "-1", true, {kRegDword, "", 4294967295}, "4294967295"},
        {kRegDword, "-2147483648", true, {kRegDword, "", 2147483648}, "2147483648"},
        {kRegDword, "0xfF", true, {kRegDword, "", 255}, "255"},
        {kRegDword, "4294967296", false, {}, ""},
        {kRegDword, "-2147483649", false, {}, ""},
        {kRegDword, "0x-1", false, {}, ""},
        {kRegDword, "", false, {}, ""},
        {kRegDword, "12 ", false, {}, ""},
        {kRegDword, "+1", false, {}, ""},
        {kRegBinary, "", true, {kRegBinary, "", 0}, ""},
        {kRegBinary, "0a FF", true, {kRegBinary, "\x0A\xFF", 0}, "0a ff"},
        {kRegBinary, "0aff", true, {kRegBinary, "\x0A\xFF", 0}, "0a ff"},
        {kRegBinary, "0a f", false, {}, ""},
        {kRegSz, " text ", true, {kRegSz, " text ", 0}, " text "},
        {kRegExpandSz, "%A%", true, {kRegExpandSz, "%A%", 0}, "%A%"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Text);
        RegistryValue value;
        EXPECT_EQ(tools::ParseData(row.Type, row.Text, value), row.IsGood);
        EXPECT_EQ(value, row.Value);
        if (row.IsGood) {
            EXPECT_EQ(tools::PrintData(value), row.Printed);
        }
    }
}

TEST(RegistryValue, KnowsWhatASaveWouldLose) {
    const RegistryValue text = {kRegSz, "text", 0};
    const struct {
        std::string Name;
        RegistryValue Value;
        bool Survives;
    } rows[] = {
        {"name", text, true},
        {"", text, true},
        {"a b[c", text, true},
        {"\xFF", {kRegSz, "\xFE=s=]", 0}, true},
        {"[name", text, true},
        {"[name", {kRegSz, "with ]", 0}, false},
        {"a=b", text, false},
        {"a\nb", text, false},
        {"a\0b"s, text, false},
        {"name", {kRegSz, "two\nlines", 0}, false},
        {"name", {kRegSz, "1\nother=s=2", 0}, false},
        {"name", {kRegSz, "zero\0byte"s, 0}, false},
        {"name", {kRegSz, std::string(1015, 'x'), 0}, true},  // 1,022 characters in all
        {"name", {kRegSz, std::string(1016, 'x'), 0}, false},
        {"name", {kRegBinary, std::string(338, '\0'), 0}, true},
        {"name", {kRegBinary, std::string(339, '\0'), 0}, false},
        {"name", {kRegBinary, "", 0}, true},
        {"name", {kRegDword, "", 4294967295}, true},
        {"name", {kRegExpandSz, "%A%", 0}, true},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(tools::SurvivesSave(row.Name, row.Value), row.Survives)
            << row.Name << " " << row.Value.Bytes.size();
    }
    EXPECT_TRUE(tools::KeySurvivesSave("a=b [c"));
    EXPECT_TRUE(tools::KeySurvivesSave(std::string(1020, 'k')));
    for (const std::string& name : {"a]b"s, "a\nb"s, "a\0b"s, std::string(1021, 'k')}) {
        EXPECT_FALSE(tools::KeySurvivesSave(name)) << name;
    }
}

TEST(RegistryExport, KeepsNamesAndValuesOfAnyBytes) {
    tools::RegistryExport tree;
    tree.Path = {"HKEY_USERS", "a/b\\c", "\xFF\n"};
    tree.Keys.push_back(
        {{}, {{"", {kRegSz, "\xE4=\n", 0}}, {"\xFE", {kRegDword, "", 4294967295}}}, false});
    tree.Keys.push_back({{"s\xC3\xA4", "\x80"},
                         {{"b", {kRegBinary, "\0\xFF"s, 0}}, {"e", {kRegExpandSz, "%X%", 0}}},
                         false});
    tools::RegistryExport copy;
    std::string problem;
    ASSERT_TRUE(tools::ParseExport(tools::Dump(tools::ExportToJson(tree)), copy, problem))
        << problem;
    EXPECT_EQ(copy.Path, tree.Path);
    ASSERT_EQ(copy.Keys.size(), tree.Keys.size());
    for (std::size_t i = 0; i < tree.Keys.size(); ++i) {
        EXPECT_EQ(copy.Keys[i].Path, tree.Keys[i].Path);
        EXPECT_EQ(copy.Keys[i].Values, tree.Keys[i].Values);
    }
}

TEST(RegistryExport, RefusesOtherJson) {
    const std::string head =
        R"({"format":"morla registry export","version":1,"path":["X"],"keys":)";
    const std::string key = head + R"([{"path":[],"values":[)";
    const auto isGood = [](const std::string& text) {
        tools::RegistryExport tree;
        std::string problem;
        return tools::ParseExport(text, tree, problem);
    };
    EXPECT_TRUE(isGood(head + "[]}"));
    EXPECT_TRUE(isGood(key + R"({"name":"n","type":"dword","value":-1}]}]})"));
    for (const std::string& text :
         {"" + head, "[]"s, "1"s, R"({"format":"other","version":1,"path":[],"keys":[]})"s,
          R"({"format":"morla registry export","version":2,"path":[],"keys":[]})"s, head + "{}}",
          head + "[1]}", head + R"([{"path":[]}]})", head + R"([{"values":[]}]})",
          head + R"([{"path":[1],"values":[]}]})", key + "1]}]}",
          key + R"({"name":"n","type":"dword","value":18446744073709551615}]}]})",
          key + R"({"name":"n","type":"dword","value":1.5}]}]})",
          key + R"({"name":"n","type":"dword","value":"1"}]}]})",
          key + R"({"name":"n","type":"binary","value":"0"}]}]})",
          key + R"({"name":"n","type":"subkey","value":""}]}]})",
          key + R"({"name":"n","type":"string","value":1}]}]})",
          key + R"({"type":"string","value":""}]}]})"}) {
        EXPECT_FALSE(isGood(text)) << text;
    }
}

// Line, "lost" or "changed", for each finding.
std::vector<std::string> Findings(const std::string& text) {
    std::vector<std::string> findings;
    tools::CheckTreeText(text, [&](const tools::TreeFinding& finding) {
        findings.push_back(std::to_string(finding.Line) + (finding.IsLoss ? " lost" : " changed"));
    });
    return findings;
}

TEST(RegistryCheck, FindsWhatASaveLosesOrChanges) {
    using Expected = std::vector<std::string>;
    const std::string full = "a=s=" + std::string(1018, 'x');  // 1,022 characters
    const struct {
        std::string Text;
        Expected Findings;
    } rows[] = {
        {"\n", {}},
        {"a=s=1\nb=d=-5\n[K]\nc=b=0a ff \n\n[L]\nd=es=%X%\n\n\n", {}},
        {"a=b=\n\n", {}},
        {full + "\n\n", {}},
        {full + "x\n\n", {"1 lost"}},
        {full + "x\nb=s=1\n\n", {"1 lost", "2 lost"}},  // its line feed ends the tree
        {full + "xy\n\n", {"1 lost", "1 lost"}},
        {"garbage\n\n", {"1 lost"}},
        {"a=b=c=s=1\n\n", {"1 lost"}},
        {"a=x=1\na=s=1\r\n\r\n\n", {"1 lost", "3 lost"}},
        {"[K]junk\n\n\n", {"1 lost"}},
        {"[a]b]\n\n\n", {"1 lost"}},
        {"a=s=1\na=s=2\n\n", {"2 lost"}},
        {"[K]\n\n[K]\n\n\n", {"3 lost"}},
        {"[K]\na=s=1\n\na=s=1\n\n", {"5 changed"}},
        {"a=s=x"s + '\0' + "y\n\n", {"1 lost"}},
        {"a=d=12x\n\n", {"1 lost"}},
        {"a=d=4294967296\n\n", {"1 lost"}},
        {"a=d=4294967295\nb=d=007\n\n", {"1 changed", "2 changed"}},
        {"a=b=1 2 zz\n\n", {"1 lost"}},
        {"a=b=100 \n\n", {"1 lost"}},
        {"a=b=1 2\nb=b=0A ff\n\n", {"1 changed", "2 changed"}},
        {"a=s=1\n\nb=s=2\nc=s=3\n", {"3 lost"}},
        {"a=s=1\n", {"1 changed"}},
        {"b=s=1\na=s=1\n\n", {"3 changed"}},
        {"a=b=" + std::string(16, '1') + "\n\n", {"1 lost"}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Findings(row.Text), row.Findings) << row.Text;
    }
    std::string shortBytes = "a=b=";
    for (int i = 0; i < 400; ++i) {
        shortBytes += "1 ";
    }
    EXPECT_EQ(Findings(shortBytes + "\n\n"), Expected{"1 lost"});  // too long once written out
}

// The check and the registry agree: without a finding, a save writes the same text.
TEST(RegistryCheck, FindsNothingInWhatTheRegistryWrites) {
    CRegistryNode node;
    (void)node.restoreNode("b=s=1\r\n[K]x\n[L]\nd=d=4294967295\ne=b=1 2 3\n\n\n\nnever read\n");
    std::string text;
    node.dumpNode(text);
    EXPECT_EQ(Findings(text), std::vector<std::string>{});
}

}  // namespace
