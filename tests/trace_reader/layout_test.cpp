// What stands where in rings and log files that somebody else wrote.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "trace_reader/merge.h"
#include "trace_reader/ring_follower.h"
#include "trace_reader/time_argument.h"
#include "trace_reader/trace_check.h"
#include "trace_reader/trace_file.h"

namespace {

using namespace trace_reader;
using Texts = std::vector<std::string>;

const std::string kMarker = "## TRACE-END ##\n";

std::string At(int second, const std::string& text) {
    return "2024-03-07 14:05:" + std::to_string(second) + ".042 [00F5A7C0] zentd         " + text +
           "\n";
}

// A ring with that text behind its begin entry, filled up with dots or the pre-fill.
std::string Ring(const std::string& text, char fill) {
    std::string ring = At(10, "# End of header.") + kMarker;
    ring.resize(1023, '_');
    ring += "\n" + At(10, "### Begin of RingBuffer. ###") + text;
    if (fill == '_') {
        ring.resize((ring.size() / 1024 + 1) * 1024 - 1, '_');
        ring += '\n';
        std::string line = At(10, "").substr(0, 49);
        line.resize(1023, '_');
        ring += line + "\n";
    }
    ring.resize(8192, fill == '_' ? '\0' : fill);
    return fill == '_' ? ring.substr(0, ring.find('\0')) : ring;
}

// The texts of all entries but the begin entry's, oldest first.
Texts TextsOf(const std::string& bytes) {
    const TraceFile file = LayOut(std::make_shared<CTraceMemory>(bytes));
    Texts texts;
    CEntryReader entries = file.Entries();
    while (const Entry* const entry = entries.Next()) {
        texts.emplace_back(entry->Text());
    }
    if (!texts.empty() && texts.front() == "### Begin of RingBuffer. ###") {
        texts.erase(texts.begin());
    }
    return texts;
}

TEST(TraceLayout, FindsTheEntriesOfARingOldestFirst) {
    const struct {
        const char* What;
        std::string Ring;
        Texts Expected;
    } rows[] = {
        {"new", Ring(At(11, "a") + At(12, "b\nmore") + kMarker, '_'), {"a", "b\nmore"}},
        {"wrapped",
         Ring(At(15, "e") + kMarker + "orn\n" + At(13, "c") + At(14, "d"), '.'),
         {"c", "d", "e"}},
        {"marker as text of an older entry",
         Ring(At(15, "e") + kMarker + "orn\n" + At(13, "c\n" + kMarker + "x") + At(14, "d"), '.'),
         {"c\n" + kMarker + "x", "d", "e"}},
        {"marker as text of a new entry",
         Ring(At(15, "e\n" + kMarker + "x") + At(16, "f") + kMarker + At(13, "c"), '.'),
         {"c", "e\n" + kMarker + "x", "f"}},
        {"writer died in an entry",
         Ring(At(15, "e") + kMarker + At(16, "unfinished").substr(16) + kMarker + At(13, "c"), '.'),
         {"c", "e"}},
        {"writer died in a wrap", Ring(At(13, "c") + At(14, "d"), '.'), {"c", "d"}},
        {"writer died in a copy",
         Ring(At(15, "e") + At(16, "fff") + "orn\n" + At(13, "c") + At(14, "d"), '.'),
         {"c", "d", "e", "fff"}},
        {"no time",
         Ring("yyyy-mm-dd hh:mm:ss.mmm [00000001] x             y\n" + kMarker, '.'),
         {"y"}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(TextsOf(row.Ring), row.Expected) << row.What;
    }
}

TEST(TraceLayout, FindsTheEntriesOfALogFileOldestFirst) {
    const std::string start = At(10, "start");
    const std::string length = std::to_string(start.size());
    const std::string wrap = "------ WRAP ----- Cycle=3, CntInitEnd=" + length +
                             ", CurrentByteCnt=" + length + " (MaxCnt=51200)\n";
    EXPECT_EQ(TextsOf(start + At(11, "a\nb")), (Texts{"start", "a\nb"}));
    EXPECT_EQ(TextsOf(start + wrap + At(15, "e") + At(16, "f") + "orn\n" + At(13, "c\nd")),
              (Texts{"start", "c\nd", "e", "f"}));
    EXPECT_EQ(TextsOf(wrap + At(15, "e")), Texts{"e"});
}

TEST(TraceLayout, TakesHeadersApart) {
    const struct {
        std::string Text;
        std::string Source;
        std::string Memory;
        std::size_t Length;
    } rows[] = {
        {"2024-03-07 14:05:09.042 [00F5A7C0] zentd         x", "zentd", "", 49},
        {"2024-03-07 14:05:09.042 [00F5A7C0]     4312 KB !zentd         x", "zentd", "4312", 62},
        {"2024-03-07 14:05:09.042 [00F5A7C0] a_name_that_is_longer x", "a_name_that_is_longer", "",
         57},
        {"2024-03-07 14:05:09.042 [00F5A7C0] two words     x", "two words", "", 49},
        {"2024-03-07 14:05:09.042 [00F5A7C0] " + std::string(200, 'n'), std::string(93, 'n'), "",
         128},
        {"2024-03-07 14:05:09.042 [00F5a7C0] zentd         x", "", "", 0},
        {"2024-03-07 14:05:09 [00F5A7C0] zentd             x", "", "", 0},
    };
    for (const auto& row : rows) {
        const auto header = ParseEntryHeader(row.Text);
        EXPECT_EQ(header ? header->Length : 0, row.Length) << row.Text;
        EXPECT_EQ(header ? header->Source : "", row.Source) << row.Text;
        EXPECT_EQ(header ? header->Memory : "", row.Memory) << row.Text;
    }
}

TEST(TraceMerge, ShowsCopiesOnceAndKeepsTheOrderOfAFileWhoseClockWasSetBack) {
    const CTraceMemory ring(At(20, "both") + At(21, "twice") + At(21, "twice") +
                            At(11, "set back"));
    const CTraceMemory log(At(20, "both") + At(20, "log only") + At(21, "twice") + At(22, "last"));
    CMerge merge;
    merge.Add({ring, {{0, ring.Size(), false, false}}}, true);
    merge.Add({log, {{0, log.Size(), false, false}}}, false);
    Texts texts;
    for (auto item = merge.Next(); item.Record != nullptr; item = merge.Next()) {
        texts.emplace_back(item.Record->Text());
    }
    EXPECT_EQ(texts, (Texts{"both", "log only", "twice", "twice", "set back", "last"}));
}

TEST(TraceFollower, IsNotStoppedByAMarkerInATextOrAClockThatWasSetBack) {
    std::string old;
    for (int i = 0; i < 20; ++i) {
        old += At(14, "old");
    }
    std::string ring = Ring(At(15, "e") + kMarker + "orn\n" + old, '.');
    // The follower reads the string's own bytes, so that the test writes as the daemon does.
    class CBytes : public CTraceBytes {
    public:
        explicit CBytes(const std::string& text) : m_Text(text) {}
        [[nodiscard]] std::uint64_t Size() const override { return m_Text.size(); }
        using CTraceBytes::Read;
        [[nodiscard]] std::size_t Read(std::uint64_t offset, char* buffer,
                                       std::size_t length) const override {
            return offset < m_Text.size() ? m_Text.copy(buffer, length, offset) : 0;
        }

    private:
        const std::string& m_Text;
    };
    const CBytes bytes(ring);
    CRingFollower follower(bytes, CRingFollower::From::kNewest);
    Texts texts;
    const auto look = [&] {
        return follower.Look([&](const Entry& entry) { texts.emplace_back(entry.Text()); });
    };
    EXPECT_EQ(look(), CRingFollower::Result::kNothing);
    auto write = [&ring, at = ring.find(kMarker, 1100)](const std::string& entry) mutable {
        ring.replace(at, entry.size() + kMarker.size(), entry + kMarker);
        at += entry.size();
    };
    write(At(16, "f\n" + kMarker + "x") + At(16, "g"));
    EXPECT_EQ(look(), CRingFollower::Result::kEntries);
    write(At(11, "set back"));
    EXPECT_EQ(look(), CRingFollower::Result::kNothing);  // not sure yet
    EXPECT_EQ(look(), CRingFollower::Result::kEntries);
    EXPECT_EQ(texts, (Texts{"f\n" + kMarker + "x", "g", "set back"}));
}

TEST(TraceTimes, AreReadAsPeopleTypeThem) {
    setenv("TZ", "UTC", 1);
    constexpr std::time_t kNow = 1'709'820'309;  // 2024-03-07 14:05:09
    const struct {
        const char* Text;
        const char* Expected;
    } rows[] = {
        {"now", "2024-03-07 14:05:09"},
        {"10 min ago", "2024-03-07 13:55:09"},
        {"2days ago", "2024-03-05 14:05:09"},
        {"today", "2024-03-07 00:00:00"},
        {"yesterday", "2024-03-06 00:00:00"},
        {"09:30", "2024-03-07 09:30:00"},
        {"2024-02-29", "2024-02-29 00:00:00"},
        {"2024-02-29T23:59:59.999", "2024-02-29 23:59:59.999"},
        {"2023-02-29", ""},
        {"2024-02-29 ", ""},
        {"24:00", ""},
        {"9:30", ""},
        {"10 parsec ago", ""},
        {"3875821175 min ago", ""},  // before the first year
        {" ago", ""},
        {"", ""},
    };
    for (const auto& row : rows) {
        const auto time = ParseTimeArgument(row.Text, kNow);
        EXPECT_EQ(time ? time->Text : "", row.Expected) << row.Text;
    }
}

TEST(TraceCheck, TellsDamageFromWhatIsNormal) {
    const auto damage = [](const std::string& bytes) {
        Texts what;
        for (const Finding& finding :
             CheckTraceFile(LayOut(std::make_shared<CTraceMemory>(bytes)))) {
            if (finding.IsDamage) {
                what.push_back(std::to_string(finding.Offset) + " " + finding.What);
            }
        }
        return what;
    };
    EXPECT_EQ(damage(At(11, "a") + At(10, "set back")), Texts{});
    EXPECT_EQ(damage(At(11, "a") + At(12, "b").substr(0, 50)), Texts{"51 the last line is cut"});
    EXPECT_EQ(damage(At(11, "a" + std::string(100, '\0'))), Texts{"50 100 zero bytes"});
}

}  // namespace
