// The reader beside the real writer of rings.
#include "tests/support/run_daemon/ring_reader.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/files.h"
#include "tests/support/private_root_guard.h"
#include "tests/support/run_daemon/file_view.h"
#include "trace/debug.h"

namespace {

class RingReader : public testing::Test {
protected:
    void SetUp() override {
        RequirePrivateRoot();
        Remove("/var/log/quorvat");
        MakeDirectories("/var/log/quorvat");
        WriteFile("/etc/velmor/OskariaSuite/TraceConfig/zentd.ini",
                  "[zentd]\nFileDebugLevel=1\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\n"
                  "MemoryTracesFlag=0\n[EndOfFile]\n");
        ASSERT_TRUE(m_Debug.Init("zentd"));
    }

    // The texts of the new lines, without the headers of the entries.
    std::vector<std::string> TakeTexts() {
        constexpr std::size_t kHeader = 49;
        std::vector<std::string> texts;
        std::string lines = m_Reader.TakeNewLines(m_Ring.Look());
        while (!lines.empty()) {
            const std::size_t end = lines.find('\n');
            texts.push_back(lines[0] == '(' ? lines.substr(0, end)
                                            : lines.substr(kHeader, end - kHeader));
            lines.erase(0, end + 1);
        }
        return texts;
    }

    CDebug m_Debug;
    CFileView m_Ring{"/var/log/quorvat/log.zentd_i"};  // 4 MiB
    CRingReader m_Reader;
};

using Texts = std::vector<std::string>;

TEST_F(RingReader, TakesEachEntryOnceAndNothingElse) {
    EXPECT_EQ(TakeTexts(),
              (Texts{"### Begin of RingBuffer. ###", "### Start of initialization. ###"}));
    EXPECT_EQ(TakeTexts(), Texts{});
    m_Debug.Print(1, "first");
    m_Debug.Print(1, "second");
    EXPECT_EQ(TakeTexts(), (Texts{"first", "second"}));
    EXPECT_EQ(TakeTexts(), Texts{});
}

TEST_F(RingReader, FollowsThroughWraps) {
    (void)TakeTexts();
    // About four times round the ring; entries of differing length end anywhere in it.
    const auto text = [](unsigned int number) {
        return std::to_string(number) + std::string(number % 700, 'x');
    };
    unsigned int next = 0;
    for (unsigned int number = 0; number < 40'000; ++number) {
        m_Debug.Print(1, "%s", text(number).c_str());
        if (number % 97 == 0) {
            for (const std::string& taken : TakeTexts()) {
                ASSERT_EQ(taken, text(next));
                ++next;
            }
            ASSERT_EQ(next, number + 1);
        }
    }
}

TEST_F(RingReader, SaysWhenItWasOvertaken) {
    (void)TakeTexts();
    m_Debug.Print(1, "before");
    (void)TakeTexts();
    for (int number = 0; number < 10'000; ++number) {
        m_Debug.Print(1, "%01000d", number);
    }
    EXPECT_EQ(TakeTexts(), Texts{"(entries were overwritten before they could be read)"});
    m_Debug.Print(1, "after");
    EXPECT_EQ(TakeTexts(), Texts{"after"});
}

TEST(RingReaderText, WaitsForAnEntryThatIsBeingWritten) {
    const std::string header = "header\n## TRACE-END ##\n____\n";
    const std::string begin = "time zentd ### Begin of RingBuffer. ###\n";
    CRingReader reader;
    EXPECT_EQ(reader.TakeNewLines(""), "");
    EXPECT_EQ(reader.TakeNewLines(header + "____________\n"), "");
    EXPECT_EQ(reader.TakeNewLines(header + begin + "____\n"), "");
    EXPECT_EQ(reader.TakeNewLines(header + begin + "## TRACE-END ##\n____\n"), begin);
    EXPECT_EQ(reader.TakeNewLines(header + begin + "half an entACE-END ##\n____\n"), "");
    EXPECT_EQ(reader.TakeNewLines(header + begin + "half an entry\n## TRACE-END ##\n"),
              "half an entry\n");
}

}  // namespace
