// The judges of morlactl doctor on facts that a machine in order never shows.
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <gtest/gtest.h>

#include "tools/doctor/judge.h"
#include "tools/doctor/library_search.h"
#include "tools/doctor/process_text.h"
#include "tools/doctor/trace_section.h"

namespace {

using doctor::CFindings;
using doctor::Facts;
using doctor::ProcessFacts;

// Whether a finding of that judgement and check has the text.
bool Says(const CFindings& findings, const std::string& line) {
    return std::any_of(findings.List().begin(), findings.List().end(),
                       [&line](const doctor::Finding& finding) {
                           return ShowFinding(finding).find(line) != std::string::npos;
                       });
}

TEST(TraceSection, IsReadOtherwiseThanItsAuthorMeant) {
    const struct {
        const char* Section;
        const char* Problem;  // "" for none
    } cases[] = {
        {"\nFileDebugLevel=3\n ; a remark\n\n", ""},
        {"\n  FileDebugLevel =  0x3  \r\n", ""},
        {"\n;FileDebugLevel=3\n", "no comments"},
        {"\n;FileDebugLevel=3\nFileDebugLevel=1\n", "counts instead of \"FileDebugLevel=1\""},
        {"\nMyFileDebugLevel=3\n", "is found inside \"MyFileDebugLevel=3\""},
        {"\nFileDebugLevel=3\nFileDebugLevel=1\n", "is set twice; \"FileDebugLevel=3\" counts"},
        {"\nFileDebugLevel=\nTraceFlags=7\n", "next line's text counts: \"TraceFlags=7\""},
        {"\nFileDebugLevel=\n", ""},  // the last one: nothing, which reads as 0
        {"\nFileDebugLevel=three\n", "\"three\" is no number and reads as 0"},
        {"\nFileDebugLevel=3 ; a remark\n", "is no number and reads as 3"},
        {"\nFileDebugLevel=010\n", "is octal and reads as 8"},
        {"\nFileDebugLevel=-1\n", "is no number"},
        {"\nFileDebugLevel=4294967295\n", "nothing is set"},
        {"\nFileDebugLevel=000000000000000000000000000000000000000000000000000000000000000001\n",
         "longer than 64"},
        {"\nRingBufferDirectory=traces\n", "no absolute path"},
        {"\nfiledebuglevel=3\n", "\"filedebuglevel=3\" sets nothing"},
        {"\nDynamicUpdate=3\n", "sets nothing"},
        {"\nFileDebugLevel\nx", "is found inside \"FileDebugLevel\""},
    };
    for (const auto& row : cases) {
        const auto problems = doctor::FindSectionProblems(row.Section, trace::kApplicationSettings);
        const std::string first = problems.empty() ? "" : problems[0].What;
        if (*row.Problem == '\0' && std::strstr(row.Section, "Level=\n") == nullptr) {
            EXPECT_EQ(first, "") << row.Section;
        }
        EXPECT_NE(first.find(row.Problem), std::string::npos) << row.Section << ": " << first;
    }
}

Facts FactsWithFiles(std::vector<std::pair<std::string, std::string>> files) {
    Facts facts;
    for (auto& [name, text] : files) {
        doctor::TraceFileFacts file;
        file.Name = name;
        file.Text = text;
        facts.TraceConfig.Files.push_back(file);
    }
    facts.Ring.PageSize = 4096;
    return facts;
}

constexpr char kFile[] =
    "[ZENTD]\nFileDebugLevel=3\nRingBufferSizeFactor=5\n"
    "RingBufferSizeWeight=10\n[EndOfFile]\n";

TEST(TracePlan, FollowsFilesEnvironmentAndTheMissingOfFiles) {
    Facts facts = FactsWithFiles({{"a.ini", "[zentd]\nFileDebugLevel=9\n"}, {"b.ini", kFile}});
    facts.Environment.Variables = {{"HX_LOG_RINGBUF_WEIGHT_ZENTD", "2"},
                                   {"HX_LOG_RINGBUF_DIR", "/traces"},
                                   {"HX_LOG_NOHDR_TOSTDERR", "0"},
                                   {"HX_LOG_FILE_DIR", "/x"}};
    const doctor::TracePlan plan = PlanTrace(facts);
    EXPECT_EQ(plan.Level, 3U);
    EXPECT_EQ(plan.Weight, 2U);
    EXPECT_EQ(plan.Directory, "/traces");

    CFindings findings;
    JudgeTraceConfig(facts.TraceConfig, 0, findings);
    JudgeEnvironment(facts.Environment, plan, findings);
    facts.Ring.FreeBytes = 20U << 20U;  // both rings need 4 + 16 MB
    JudgeRing(facts.Ring, plan, findings);
    EXPECT_TRUE(Says(findings, "a.ini is ignored: [EndOfFile]"));
    EXPECT_TRUE(Says(findings, "b.ini [zentd] is read: FileDebugLevel=3, RingBufferSizeFactor=5"));
    EXPECT_TRUE(Says(findings, "HX_LOG_NOHDR_TOSTDERR is no variable"));
    EXPECT_TRUE(Says(findings, "HX_LOG_FILE_DIR has no effect"));
    EXPECT_TRUE(Says(findings, "factor 5 is limited to 2"));
    EXPECT_TRUE(Says(findings, "4.0 MB in /traces, the start-up ring 16.0 MB, 20.0 MB free"));
    EXPECT_FALSE(findings.HasErrors());
    facts.Ring.FreeBytes -= 1;
    JudgeRing(facts.Ring, plan, findings);
    EXPECT_TRUE(findings.HasErrors());

    facts.TraceConfig.Files.clear();
    EXPECT_EQ(PlanTrace(facts).Directory, "");
    facts.TraceConfig.Error = ENOENT;
    EXPECT_EQ(PlanTrace(facts).Directory, "/traces");
}

TEST(Lock, NamesWhoKeepsTheDaemonFromStarting) {
    const auto process = [](int pid, const char* name, uid_t user) {
        ProcessFacts facts;
        facts.Pid = pid;
        facts.Name = name;
        facts.Uid = user;
        return facts;
    };
    const struct {
        std::vector<ProcessFacts> Holders;
        ProcessFacts Named;  // by the pid file
        const char* Lock;
        const char* PidFile;
    } cases[] = {
        {{process(7, "morla", 0)}, process(7, "morla", 0), "ok       lock", "ok       pid-file"},
        {{process(7, "morla", 0)}, process(8, "", 0), "ok       lock", "the daemon is 7"},
        {{process(9, "morla", 1000)}, process(8, "", 0), "kill 9", "is stale"},
        {{process(7, "morla", 0), process(9, "sleep", 0)}, process(7, "morla", 0), "kill 9", "ok"},
        {{}, process(8, "", 0), "killed or crashed", "is stale"},
        {{}, process(8, "sshd", 0), "killed or crashed", "which is not the daemon"},
        {{}, process(8, "morla", 0), "killed or crashed", "does not hold the lock"},
    };
    for (const auto& row : cases) {
        doctor::LockFacts lock;
        lock.File.Mode = S_IFREG | 0644;
        lock.Holders = row.Holders;
        doctor::PidFileFacts file;
        file.Process = row.Named;
        CFindings findings;
        JudgeLock(lock, findings);
        JudgePidFile(file, lock, findings);
        ASSERT_EQ(findings.List().size(), 2U);
        EXPECT_NE(ShowFinding(findings.List()[0]).find(row.Lock), std::string::npos)
            << ShowFinding(findings.List()[0]);
        EXPECT_NE(ShowFinding(findings.List()[1]).find(row.PidFile), std::string::npos)
            << ShowFinding(findings.List()[1]);
    }
    constexpr char kLocks[] =
        "1: POSIX  ADVISORY  WRITE 5 08:01:123 0 EOF\n"
        "2: FLOCK  ADVISORY  WRITE 5 08:01:12 0 EOF\n"
        "2: -> FLOCK  ADVISORY  WRITE 6 08:01:123 0 EOF\n";
    EXPECT_TRUE(doctor::IsFlocked(kLocks, makedev(8, 1), 12));
    EXPECT_FALSE(doctor::IsFlocked(kLocks, makedev(8, 1), 123));
}

TEST(LibrarySearch, StaysWithinAnyBytes) {
    std::string cache = "glibc-ld.so.cache1.1";
    const auto add = [&cache](std::uint32_t value) {
        cache.append(reinterpret_cast<const char*>(&value), sizeof value);
    };
    add(2);  // entries
    for (int i = 0; i < 6; ++i) {
        add(0);
    }
    for (const std::uint32_t flags : {0x0003U, 0x0303U}) {  // 32-bit, then ours
        for (const std::uint32_t value : {flags, 96U, flags == 3 ? 0U : 109U, 0U, 0U, 0U}) {
            add(value);
        }
    }
    cache.append("libswitch.so", 13).append("/l/libswitch.so", 16);
    EXPECT_EQ(doctor::FindInLoaderCache(cache, "libswitch.so"), "/l/libswitch.so");
    EXPECT_EQ(doctor::FindInLoaderCache(cache, "libswitch"), std::nullopt);
    for (std::size_t size = 0; size + 1 < cache.size(); ++size) {
        EXPECT_NE(doctor::FindInLoaderCache(cache.substr(0, size), "libswitch.so"),
                  "/l/libswitch.so");
    }
    EXPECT_EQ(doctor::SearchFolders("/a::/b;c"), (std::vector<std::string>{"/a", "/", "/b", "c"}));
    EXPECT_TRUE(doctor::SearchFolders("").empty());
    EXPECT_EQ(doctor::FindMapped("7f0-7f1 r-xp 0 08:01 5   /l/notlibswitch.so\n"
                                 "7f0-7f1 r-xp 0 08:01 6   /l l/libswitch.so (deleted)\n",
                                 "libswitch.so"),
              "/l l/libswitch.so (deleted)");
}

}  // namespace
