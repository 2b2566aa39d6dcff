// Reads compared with inih, on what both formats have in common: no indented settings (inih joins
// them to the line above), comments only behind a blank, no "#" and ":", unique section names,
// lines below 200 characters.
#include <ini.h>

#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "os/ini_file.h"
#include "tests/os/ini_fixture.h"

namespace {

using Settings = std::map<std::pair<std::string, std::string>, std::string>;

// Makes files from a fixed seed: every run sees the same ones.
class CFileMaker {
public:
    std::string Make() {
        std::string text;
        const int sections = Below(5);
        m_End = Below(2) == 0 ? "\n" : "\r\n";
        for (int i = 0; i < sections; ++i) {
            text += Noise() + "[" + Word(" .[=-") + std::to_string(i) + "]" + Comment() + m_End;
            const int settings = Below(8);
            for (int j = 0; j < settings; ++j) {
                text += Noise() + "k" + Word(" .[]-") + std::to_string(Below(4)) + Blanks() + "=" +
                        Blanks() + (Below(6) == 0 ? "" : Word(" .[]=:#\"'-")) + Comment() + m_End;
            }
        }
        if (Below(3) == 0 && text.ends_with('\n')) {
            text.pop_back();
        }
        return text;
    }

private:
    int Below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(m_Random); }

    std::string Blanks() {
        std::string blanks;
        for (int i = Below(3); i > 0; --i) {
            blanks += " \t"[Below(2)];
        }
        return blanks;
    }

    // Up to nine characters with one of `special` here and there; the ends are letters.
    std::string Word(const std::string& special) {
        std::string word(1, static_cast<char>('a' + Below(3)));
        for (int i = Below(8); i > 0; --i) {
            word += Below(4) == 0
                        ? special[static_cast<std::size_t>(Below(static_cast<int>(special.size())))]
                        : static_cast<char>('a' + Below(3));
        }
        return word + "z";
    }

    std::string Comment() { return Below(4) == 0 ? " ; " + Word(" ;=[]") : Blanks(); }

    // Lines that mean nothing, or none.
    std::string Noise() {
        switch (Below(6)) {
        case 0: return m_End;
        case 1: return Blanks() + m_End;
        case 2: return Blanks() + ";" + Word(" ;=[]") + m_End;
        default: return "";
        }
    }

    std::mt19937 m_Random{20};
    std::string m_End;
};

int Remember(void* settings, const char* section, const char* key, const char* value) {
    static_cast<Settings*>(settings)->try_emplace({section, key}, value);  // the first one counts
    return 1;
}

class IniOracle : public CIniTest {};

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
