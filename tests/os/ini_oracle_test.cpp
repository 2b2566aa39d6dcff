// Reads compared with inih, on what both formats have in common: no indented settings (inih joins
// them to the line above), comments only behind a blank, no "#" and ":", unique section names,
// lines below 200 characters.
#include <ini.h>

#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "os/ini_file.h"
#include "tests/os/ini_fixture.h"

namespace {

using Settings = std::map<std::pair<std::string, std::string>, std::string>;

// Makes files from a fixed seed: every run sees the same ones.
class CFileMaker {
public:
    std::string Make() {
        std::string text;
        const std::string end = Below(2) == 0 ? "\n" : "\r\n";
        for (std::size_t i = Below(5); i > 0; --i) {
            text += Noise(end) + "[" + Word(" .[=-") + std::to_string(i) + "]" + Rest() + end;
            for (std::size_t j = Below(8); j > 0; --j) {
                text += Noise(end) + "k" + Word(" .[]-") + std::to_string(Below(4)) + Blanks() +
                        "=" + Blanks() + (Below(6) == 0 ? "" : Word(" .[]=:#\"'-")) + Rest() + end;
            }
        }
        if (Below(3) == 0 && text.ends_with('\n')) {
            text.pop_back();
        }
        return text;
    }

private:
    std::size_t Below(std::size_t limit) { return m_Random() % limit; }
    std::string Blanks() { return std::string(" \t \t").substr(Below(4), Below(3)); }

    // Up to nine characters with one of `special` here and there; the ends are letters.
    std::string Word(const std::string& special) {
        std::string word = "a";
        for (std::size_t i = Below(8); i > 0; --i) {
            word += Below(4) == 0 ? special[Below(special.size())] : "abc"[Below(3)];
        }
        return word + "z";
    }
    std::string Rest() { return Below(4) == 0 ? " ; " + Word(" ;=[]") : Blanks(); }
    // A line that means nothing, or none.
    std::string Noise(const std::string& end) {
        return Below(2) == 0 ? "" : Blanks() + (Below(2) == 0 ? ";" + Word(" ;=[]") : "") + end;
    }

    std::mt19937 m_Random{20};
};

int Remember(void* settings, const char* section, const char* key, const char* value) {
    static_cast<Settings*>(settings)->try_emplace({section, key}, value);  // the first one counts
    return 1;
}

using IniOracle = CIniTest;

TEST_F(IniOracle, ReadsWhatAnotherReaderReads) {
    CFileMaker maker;
    std::size_t compared = 0;
    for (int i = 0; i < 500; ++i) {
        Write(maker.Make());
        Settings wanted;
        ASSERT_EQ(ini_parse(Path().c_str(), Remember, &wanted), 0) << Text();
        CIniFile ini;
        ASSERT_TRUE(ini.Open(Path().c_str(), true));
        Settings found;
        std::vector<std::string> sections;
        ini.GetSections(sections);
        for (const std::string& section : sections) {
            std::vector<std::string> keys;
            ini.GetEnums(keys, section.c_str());
            for (const std::string& key : keys) {
                found[{section, key}] = ini.GetString(section.c_str(), key.c_str(), "");
            }
        }
        ASSERT_EQ(found, wanted) << Text();
        compared += found.size();
    }
    EXPECT_GT(compared, 1000U);
}

}  // namespace
