// Text of unknown content: what a terminal sees, and what JSON keeps.
#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "base/text_safety.h"
#include "inventory/json_text.h"

namespace {

using namespace std::string_literals;

TEST(Text, OfUnknownContentIsSafeOnATerminalAndWholeInJson) {
    const struct {
        std::string Text;
        bool IsUtf8;
        std::string Safe;
    } rows[] = {
        {"plain ~ \\x1b", true, "plain ~ \\x1b"},
        {"\0\t\n\r\x1b[2J\x7f"s, true, "\\x00\\x09\\x0a\\x0d\\x1b[2J\\x7f"},
        {"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", true, "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {"\xC2\x9B\x32J", true, "\\xc2\\x9b2J"},  // C1: control sequence introducer
        {"\xC2\xA0\x9B", false, "\xC2\xA0\\x9b"},
        {"\xE2\x80\xAE\xE2\x80\xA6", true, "\\xe2\\x80\\xae\xE2\x80\xA6"},  // right to left
        // The marks at both ends of their ranges, and their neighbours.
        {"\xE2\x80\x8E\xE2\x80\x8F", true, "\\xe2\\x80\\x8e\\xe2\\x80\\x8f"},
        {"\xE2\x80\xA8\xE2\x81\xA6", true, "\\xe2\\x80\\xa8\\xe2\\x81\\xa6"},
        {"\xE2\x81\xA9", true, "\\xe2\\x81\\xa9"},
        {"\xE2\x80\x8D\xE2\x80\x90\xE2\x80\xA7", true, "\xE2\x80\x8D\xE2\x80\x90\xE2\x80\xA7"},
        {"\xE2\x80\xAF\xE2\x81\xA5\xE2\x81\xAA", true, "\xE2\x80\xAF\xE2\x81\xA5\xE2\x81\xAA"},
        // The first and the last of each row of well-formed sequences.
        {"\xC2\xA0\xDF\xBF\xE0\xA0\x80\xE1\x80\x80", true,
         "\xC2\xA0\xDF\xBF\xE0\xA0\x80\xE1\x80\x80"},
        {"\xEC\xBF\xBF\xED\x9F\xBF\xEE\x80\x80", true, "\xEC\xBF\xBF\xED\x9F\xBF\xEE\x80\x80"},
        {"\xF0\x90\x80\x80\xF1\x80\x80\x80", true, "\xF0\x90\x80\x80\xF1\x80\x80\x80"},
        {"\xF3\xBF\xBF\xBF\xF4\x8F\xBF\xBF", true, "\xF3\xBF\xBF\xBF\xF4\x8F\xBF\xBF"},
        {"\x80", false, "\\x80"},
        {"\xC1\xBF", false, "\\xc1\\xbf"},
        {"\xF0\x8F\xBF\xBF", false, "\\xf0\\x8f\\xbf\\xbf"},
        {"\xF5\x80\x80\x80", false, "\\xf5\\x80\\x80\\x80"},
        {"\xE1\x80\xC0", false, "\\xe1\\x80\\xc0"},
        {"\xF1\x80\x80", false, "\\xf1\\x80\\x80"},
        {"\xC3", false, "\\xc3"},
        {"\xC0\xAF", false, "\\xc0\\xaf"},                    // overlong
        {"\xE0\x9F\xBF", false, "\\xe0\\x9f\\xbf"},           // overlong
        {"\xED\xA0\x80", false, "\\xed\\xa0\\x80"},           // surrogate
        {"\xF4\x90\x80\x80", false, "\\xf4\\x90\\x80\\x80"},  // above the last character
        {"\xE2\x82\x1b", false, "\\xe2\\x82\\x1b"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(text::EscapeControls(row.Text), row.Safe);
        EXPECT_EQ(text::IsUtf8(row.Text), row.IsUtf8) << row.Safe;
        json_text::Json object;
        json_text::SetText(object, "name", row.Text);
        EXPECT_EQ(object.contains("name"), row.IsUtf8) << row.Safe;
        const std::string dump = json_text::Dump(object);
        EXPECT_TRUE(std::all_of(dump.begin(), dump.end(), [](char character) {
            return character == '\n' || (character >= ' ' && character <= '~');
        })) << dump;
        std::string text;
        ASSERT_TRUE(json_text::GetText(json_text::Json::parse(dump), "name", text));
        EXPECT_EQ(text, row.Text);
    }
    std::string bytes;
    EXPECT_TRUE(text::ParseHex("0aFf", bytes));
    for (const char* const odd : {"0", "0a0", "g0", "0g", "0 "}) {
        EXPECT_FALSE(text::ParseHex(odd, bytes)) << odd;
    }
    EXPECT_EQ(bytes, "\x0A\xFF");
    EXPECT_EQ(text::ReplaceMalformed("\xC3\xA4\x9B\xE2\x82z\xC3"),
              "\xC3\xA4\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDz\xEF\xBF\xBD");
    for (const char* json : {"{}", R"({"name":1})", R"({"name_hex":"0"})", R"({"name_hex":"0g"})",
                             R"({"name_hex":"0 "})", R"({"name_hex":1})"}) {
        std::string text = "unchanged";
        EXPECT_FALSE(json_text::GetText(json_text::Json::parse(json), "name", text)) << json;
        EXPECT_EQ(text, "unchanged");
    }
}

}  // namespace
