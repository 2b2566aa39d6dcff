// Finding processes, their names, paths and memory figures; the working directory.
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include "base/file_ptr.h"
#include "os/proc_text.h"
#include "os/process.h"
#include "tests/os/process_fixture.h"

namespace fs = std::filesystem;

namespace {

unsigned int Self() {
    return static_cast<unsigned int>(getpid());
}

TEST(ProcText, ReadsAFigureOfAStatusFile) {
    constexpr char kStatus[] =
        "Name:\tVmPeak: 5 kB\nVmPeak:\t    6404 kB\nVmSize:\t 2 MB\nVmSwap: 3 GB\nThreads:\t7\n"
        "VmSize:\t 9 kB\nOdd:\t 12 KB\nNone:\nWord:\tkB\nMinus:\t-1 kB\n"
        "Huge:\t18446744073709551615 kB\nMost:\t18446744073709551615\nNext:\n 5 kB\nLast:\t 4 kB";
    constexpr std::uint64_t kUntouched = 4711;
    const struct {
        const char* Key;
        std::uint64_t Bytes;
    } rows[] = {
        {"VmPeak:", 6404U << 10U}, {"VmSize:", 2U << 20U}, {"VmSwap:", std::uint64_t{3} << 30U},
        {"Threads:", 7},           {"Odd:", 12},           {"Most:", UINT64_MAX},
        {"Last:", 4U << 10U},      {"None:", kUntouched},  {"Word:", kUntouched},
        {"Minus:", kUntouched},    {"Huge:", kUntouched},  {"Next:", kUntouched},
        {"Peak:", kUntouched},     {"Vm", kUntouched},     {"Missing:", kUntouched},
    };
    for (const auto& row : rows) {
        std::uint64_t bytes = kUntouched;
        EXPECT_EQ(os::ParseStatusFigure(kStatus, row.Key, bytes), row.Bytes != kUntouched);
        EXPECT_EQ(bytes, row.Bytes) << row.Key;
    }
    std::uint64_t bytes = kUntouched;
    EXPECT_FALSE(os::ParseStatusFigure("", "VmSize:", bytes));
}

TEST(ProcText, TakesOnlyPlainNumbersForProcesses) {
    EXPECT_EQ(os::ParseProcessNumber("1"), 1);
    EXPECT_EQ(os::ParseProcessNumber("4194304"), 4194304);
    for (const char* name : {"", "0", "-1", "+1", " 1", "1a", "self", "4294967297"}) {
        EXPECT_EQ(os::ParseProcessNumber(name), 0) << name;
    }
}

TEST_F(CProcessTest, FindsAProcessByItsExactName) {
    const std::string own = std::to_string(getpid());  // another run may be under way
    const std::string full = own + std::string(15 - own.size(), 'x');
    const struct {
        std::string Given;
        std::string Name;  // up to 15 characters, and of these the first line
    } rows[] = {
        {own + " a  b", own + " a  b"},
        {"(" + own + ") R 1(", "(" + own + ") R 1("},
        {own + " li\nne", own + " li"},
        {full, full},
        {full + "y", full},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.Given);
        unsigned int pid = 0;
        ASSERT_FALSE(CProcess::FindProcess(pid, row.Name.c_str()));
        EXPECT_EQ(pid, CProcess::kNone);
        const CIdleChild child(row.Given);
        EXPECT_TRUE(CProcess::FindProcess(pid, row.Name.c_str()));
        EXPECT_EQ(pid, child.Pid());
        std::string name;
        EXPECT_TRUE(CProcess::GetProcessName(name, child.Pid()));
        EXPECT_EQ(name, row.Name);
    }
    const CIdleChild child("Morla_Case_12345");
    for (const char* name : {"morla_case_1234", "Morla_Case_12345", "Morla_Case_123",
                             "Morla_Case_1234\n", " Morla_Case_1234"}) {
        unsigned int pid = 0;
        EXPECT_FALSE(CProcess::FindProcess(pid, name)) << name;
        EXPECT_EQ(pid, CProcess::kNone);
    }
    unsigned int pid = 0;
    EXPECT_FALSE(CProcess::FindProcess(pid, nullptr));
}

TEST_F(CProcessTest, KnowsTheNameButNoPathOfAZombie) {
    const CIdleChild zombie("morla zombie", CIdleChild::kZombie);
    std::string name;
    std::string path = "unchanged";
    EXPECT_FALSE(CProcess::GetProcessInfo(zombie.Pid(), name, path));
    EXPECT_EQ(name, "morla zombie");
    EXPECT_EQ(path, "unchanged");
    unsigned long figures[5] = {1, 1, 1, 1, 1};
    EXPECT_FALSE(CProcess::GetProcessMemoryInfo(zombie.Pid(), &figures[0], &figures[1], &figures[2],
                                                &figures[3], &figures[4]));
    for (const unsigned long figure : figures) {
        EXPECT_EQ(figure, 0U);
    }
}

TEST_F(CProcessTest, KnowsNothingOfAProcessThatIsNotThere) {
    std::string name = "unchanged";
    std::string path = "unchanged";
    unsigned long value = 4711;
    for (const unsigned int pid : {0U, CProcess::kNone, 0x7FFFFFFFU}) {
        EXPECT_FALSE(CProcess::GetProcessInfo(pid, name, path));
        EXPECT_FALSE(
            CProcess::GetProcessMemorySpecificInfo(pid, &value, "VmSize:", CProcess::bytes));
    }
    EXPECT_EQ(name, "unchanged");
    EXPECT_EQ(path, "unchanged");
    EXPECT_EQ(value, 4711U);
}

TEST_F(CProcessTest, FollowsTheLinkToTheProgram) {
    std::string path;
    ASSERT_TRUE(CProcess::GetProcessPath(path, Self()));
    EXPECT_EQ(path, fs::read_symlink("/proc/self/exe"));

    // A path as long as the kernel can name, made step by step.
    const std::string step(200, 'd');
    std::string deep = Folder();
    while (deep.size() + step.size() < 3900) {
        deep += "/" + step;
        ASSERT_TRUE(fs::create_directory(step));
        ASSERT_TRUE(CProcess::SetCurrentDir(step.c_str()));
    }
    CopyProgram("/bin/sleep", "program");
    unsigned int pid = 0;
    ASSERT_TRUE(CProcess::ExecuteCmdAsync("./program 1000", pid, nullptr, false, false));
    const CIdleChild child(pid);
    std::string name;  // of this process until the program is executed
    while (CProcess::GetProcessName(name, pid) && name != "program") {
        sched_yield();
    }
    ASSERT_TRUE(CProcess::GetProcessPath(path, pid));
    EXPECT_EQ(path, deep + "/program");
    fs::remove("program");
    ASSERT_TRUE(CProcess::GetProcessPath(path, pid));
    EXPECT_EQ(path, deep + "/program (deleted)");
}

TEST_F(CProcessTest, HasNoPathForAKernelThread) {
    constexpr unsigned int kThreadParent = 2;
    std::string name;
    if (!CProcess::GetProcessName(name, kThreadParent) || name != "kthreadd") {
        GTEST_SKIP() << "no kernel threads in this process namespace";
    }
    std::string path;
    EXPECT_FALSE(CProcess::GetProcessInfo(kThreadParent, name, path));
    EXPECT_FALSE(
        CProcess::GetProcessMemoryInfo(kThreadParent, nullptr, nullptr, nullptr, nullptr, nullptr));
}

TEST_F(CProcessTest, ReadsTheFirstLineOfAFileOfAProcess) {
    const CIdleChild child("morla lines");
    const int pid = static_cast<int>(child.Pid());
    std::string line;
    EXPECT_TRUE(CProcess::get_proc_file(pid, "status", line));
    EXPECT_EQ(line, "Name:\tmorla lines");
    EXPECT_TRUE(CProcess::get_proc_file(pid, "cmdline", line));
    EXPECT_EQ(line.find('\0'), fs::path(testing::internal::GetArgvs()[0]).string().size());
    EXPECT_FALSE(CProcess::get_proc_file(pid, "no_such_file", line));
    EXPECT_FALSE(CProcess::get_proc_file(pid, nullptr, line));
    EXPECT_NE(line, "");
    unsigned int count = 0;
    EXPECT_EQ(CProcess::GetProcessHandleCount(child.Pid(), count), 0);
    EXPECT_EQ(count, 1U);
}

TEST_F(CProcessTest, AgreesWithPsOnNamesAndMemory) {
    const CIdleChild child("morla oracle");
    const std::string command = "ps -o vsz=,rss=,comm= -p " + std::to_string(child.Pid());
    char text[256]{};
    const CPipePtr ps(popen(command.c_str(), "r"));
    if (ps == nullptr || std::fgets(text, sizeof text, ps.get()) == nullptr) {
        GTEST_SKIP() << "no ps here (package procps)";
    }
    unsigned long vsz = 0;
    unsigned long rss = 0;
    std::string name;
    std::istringstream fields(text);
    fields >> vsz >> rss >> std::ws;
    std::getline(fields, name);
    ASSERT_GT(vsz, 0U);
    EXPECT_EQ(name, "morla oracle");

    unsigned long size = 1;
    unsigned long peak = 1;
    unsigned long swap = 1;
    unsigned long fourth = 1;
    unsigned long withoutLibraries = 1;
    EXPECT_TRUE(CProcess::GetProcessMemoryInfo(child.Pid(), &size, &peak, &swap, &fourth,
                                               &withoutLibraries));
    EXPECT_EQ(size, vsz * 1024);
    EXPECT_GE(peak, size);
    EXPECT_EQ(fourth, 0U);
    unsigned long libraries = 0;
    EXPECT_TRUE(
        CProcess::GetProcessMemorySpecificInfo(child.Pid(), &libraries, "VmLib:", CProcess::bytes));
    EXPECT_GT(libraries, 0U);
    EXPECT_EQ(withoutLibraries, size - libraries);

    unsigned long resident = 0;
    const auto vmRss = [&](CProcess::unit unit) {
        return CProcess::GetProcessMemorySpecificInfo(child.Pid(), &resident, "VmRSS:", unit);
    };
    EXPECT_TRUE(vmRss(CProcess::bytes));
    EXPECT_EQ(resident, rss * 1024);
    EXPECT_TRUE(vmRss(CProcess::kilobytes));
    EXPECT_EQ(resident, rss);
    EXPECT_TRUE(vmRss(CProcess::megabytes));
    EXPECT_EQ(resident, rss / 1024);
    EXPECT_TRUE(vmRss(CProcess::gigabytes));
    EXPECT_EQ(resident, rss / 1024 / 1024);
}

TEST_F(CProcessTest, ReadsAndChangesTheWorkingDirectory) {
    std::string directory = "unchanged";
    fs::create_directory("gone");
    EXPECT_FALSE(CProcess::SetCurrentDir(""));
    EXPECT_FALSE(CProcess::SetCurrentDir(nullptr));
    EXPECT_FALSE(CProcess::SetCurrentDir("missing"));
    ASSERT_TRUE(CProcess::SetCurrentDir("gone"));
    EXPECT_EQ(CProcess::get_current_directory(), Folder() + "/gone");
    fs::remove(Folder() + "/gone");
    EXPECT_FALSE(CProcess::GetCurrentDir(directory));
    EXPECT_EQ(directory, "unchanged");
    EXPECT_EQ(CProcess::get_current_directory(), "");
    ASSERT_TRUE(CProcess::SetCurrentDir(Folder().c_str()));
    EXPECT_TRUE(CProcess::GetCurrentDir(directory));
    EXPECT_EQ(directory, Folder());

    // Deeper than 4,096 bytes.
    const std::string step(250, 'd');
    for (int level = 0; level < 17; ++level) {
        ASSERT_EQ(mkdir(step.c_str(), 0700), 0);
        ASSERT_TRUE(CProcess::SetCurrentDir(step.c_str()));
    }
    EXPECT_FALSE(CProcess::GetCurrentDir(directory));
    EXPECT_EQ(directory, Folder());
    EXPECT_FALSE(CProcess::ExecuteCmd("true", Folder().c_str(), false, false));
    EXPECT_TRUE(CProcess::ExecuteCmd("true", nullptr, false, false));
}

}  // namespace
