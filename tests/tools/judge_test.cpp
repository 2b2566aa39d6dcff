// The judges of morlactl doctor: a machine in order, and what each changed fact makes them say.
#include "tools/doctor/judge.h"

#include <sys/stat.h>

#include <cerrno>
#include <functional>

#include <gtest/gtest.h>

#include "base/paths.h"
#include "tools/doctor/library_search.h"
#include "tools/doctor/process_text.h"

namespace {

using doctor::Facts;
using doctor::Verdict;

constexpr char kConfig[] =
    "[zentd]\nFileDebugLevel=3\nRingBufferSizeFactor=1\nRingBufferSizeWeight=1\n"
    "RingBufferDirectory=/var/log/quorvat\n[EndOfFile]\n";

doctor::TraceFileFacts ConfigFile(const std::string& name, const std::string& text) {
    doctor::TraceFileFacts file;
    file.Name = name;
    file.Text = text;
    return file;
}

// 64 bytes of the head of a shared library for this machine, or of something that is nearly one.
std::string ElfHead(std::size_t at = 0, char byte = '\x7f') {
    std::string head(64, '\0');
    head.replace(0, 7,
                 "\x7f"
                 "ELF\2\1\1");
    head[16] = 3;    // shared
    head[18] = '>';  // x86-64
    head[20] = 1;
    head[at] = byte;
    return head;
}

Facts MachineInOrder() {
    Facts facts;
    facts.IsRoot = true;
    for (const char* const path : {paths::kRegistryDirectory, paths::kTraceConfigDirectory,
                                   "/var/log/quorvat", "/", paths::kLockDirectory}) {
        facts.Directories[path] = {path, 0, S_IFDIR | 0755, 0, 0, 0};
    }
    facts.TraceConfig.Files = {ConfigFile("zentd.ini", kConfig)};
    facts.Ring = {4096, 1U << 30U, 0, 0};
    facts.Gzip = "/usr/bin/gzip";
    facts.Driver = {"/dev/pci/smbus", 0, S_IFCHR | 0600, 0, 0, 0};
    facts.Lock.File = {"/var/lock/zentd.lock", 0, S_IFREG | 0644, 0, 0, 0};
    facts.Lock.Holders = {{7, "morla", 0}};
    facts.PidFile.File = {"/var/run/zentd.pid", 0, S_IFREG | 0644, 0, 0, 0};
    facts.PidFile.Process = facts.Lock.Holders[0];
    facts.Switch.Path = "/l/libswitch.so";
    facts.Switch.Head = ElfHead();
    facts.Modules.Directory = "/usr/lib/morla/modules";
    facts.Modules.Modules = {"/usr/lib/morla/modules/a.so"};
    facts.RunLevel.HasUtmp = true;
    facts.RunLevel.HasProgram = true;
    facts.RunLevel.File = {"/etc/quorvat/RunLevel", ENOENT, 0, 0, 0, 0};
    return facts;
}

// The findings that are not in order.
std::string Words(const Facts& facts) {
    const doctor::CFindings findings = Judge(facts);
    std::string words;
    for (const doctor::Finding& finding : findings.List()) {
        if (finding.Judgement != Verdict::kOk) {
            words += (finding.Judgement == Verdict::kError ? "error: " : "warning: ") +
                     finding.What + '\n';
        }
    }
    return words;
}

TEST(Judges, FindNothingOnAMachineInOrder) {
    EXPECT_EQ(Words(MachineInOrder()), "");
}

TEST(Judges, SayWhatIsWrongAndNothingElse) {
    const struct {
        std::function<void(Facts&)> Change;
        const char* Words;
    } rows[] = {
        {[](Facts& f) { f.IsRoot = false; }, ""},
        {[](Facts& f) {
             f.Unseen = {"a", "b"};
         },
         "warning: not seen: a, b\n"},
        {[](Facts& f) { f.Directories["/var/log/quorvat"].Uid = 9; },
         "error: trace directory /var/log/quorvat belongs to user 9, not to root\n"},
        {[](Facts& f) {
             f.Directories["/var/log/quorvat"].Mode |= S_IWGRP;
             f.Directories["/var/log/quorvat"].Gid = 5;
         },
         "error: trace directory /var/log/quorvat can be written by group 5\n"},
        {[](Facts& f) { f.Directories["/var/log/quorvat"].Mode |= S_IWGRP; }, ""},
        {[](Facts& f) { f.Directories["/var/log/quorvat"].Mode = S_IFREG; },
         "error: trace directory /var/log/quorvat is not a directory\n"},
        {[](Facts& f) { f.Directories["/var/log/quorvat"].Error = EACCES; },
         "warning: trace directory /var/log/quorvat: Permission denied\n"},
        {[](Facts& f) { f.Directories[paths::kLockDirectory].Mode = S_IFDIR | 01777; }, ""},
        {[](Facts& f) { f.Directories[paths::kLockDirectory].Mode = S_IFDIR | 0777; },
         "error: lock directory /var/lock can be written by everybody\n"},
        {[](Facts& f) { f.Directories[paths::kLockDirectory].Error = ENOENT; }, ""},
        {[](Facts& f) { f.Driver.Error = ENOTDIR; }, ""},
        {[](Facts& f) { f.Driver.Error = EACCES; }, "warning: /dev/pci/smbus: Permission denied\n"},
        {[](Facts& f) { f.Driver.Mode = S_IFREG; },
         "warning: /dev/pci/smbus is not a character device\n"},
        {[](Facts& f) { f.Driver.Mode |= S_IWOTH; },
         "error: /dev/pci/smbus can be written by everybody\n"},
        {[](Facts& f) { f.Lock.File.Error = EACCES; },
         "warning: /var/lock/zentd.lock: Permission denied\n"},
        {[](Facts& f) { f.Lock.File.Mode = S_IFDIR; },
         "error: /var/lock/zentd.lock is not a regular file\n"},
        {[](Facts& f) {
             f.Lock.Holders.clear();
             f.Lock.IsHidden = true;
         },
         "warning: /var/lock/zentd.lock is there; whether it is held is not to be seen\n"
         "warning: /var/run/zentd.pid names the daemon, process 7 (morla, user 0); whether it holds "
         "the lock is not to be seen\n"},
        {[](Facts& f) {
             f.Lock.Holders.clear();
             f.Lock.IsLocked = true;
             f.PidFile.File.Error = EACCES;
         },
         "warning: /var/lock/zentd.lock is held by a process that is not to be seen\n"
         "warning: /var/run/zentd.pid: Permission denied\n"},
        {[](Facts& f) {
             f.Lock.Holders.clear();
             f.Lock.File.Uid = 9;
             f.PidFile.File.Error = ENOENT;
         },
         "error: /var/lock/zentd.lock belongs to user 9; the daemon does not take it over\n"},
        {[](Facts& f) { f.PidFile.File.Error = ENOENT; },
         "warning: /var/run/zentd.pid is not there although the daemon runs: it is still starting, "
         "or could not write the file\n"},
        {[](Facts& f) { f.PidFile.Process.reset(); },
         "warning: /var/run/zentd.pid holds no process number\n"},
        {[](Facts& f) { f.Switch.Head = "#!/bin/sh"; },
         "error: /l/libswitch.so () is no ELF file\n"},
        {[](Facts& f) { f.Switch.Head = ElfHead(4, 1); },
         "error: /l/libswitch.so () is not for 64-bit x86\n"},
        {[](Facts& f) { f.Switch.Head = ElfHead(18, '('); },
         "error: /l/libswitch.so () is not for 64-bit x86\n"},
        {[](Facts& f) { f.Switch.Head = ElfHead(16, 1); },
         "error: /l/libswitch.so () is no shared library\n"},
        {[](Facts& f) { f.Switch.Distrust = "/l can be written"; },
         "error: /l/libswitch.so (): /l can be written; what it does is done as root\n"},
        {[](Facts& f) { f.Switch.Misfit = "entry: is missing"; },
         "error: /l/libswitch.so () is not fit: entry: is missing\n"},
        {[](Facts& f) { f.Switch.IsReplaced = true; },
         "warning: /l/libswitch.so was replaced since the daemon loaded it\n"},
        {[](Facts& f) {
             f.Modules.SettingsError = EPERM;
             f.Modules.SettingsProblem = "it is everybody's";
         },
         "error: /etc/quorvat/switch.ini is not used, and no module is loaded: it is everybody's\n"},
        {[](Facts& f) {
             f.Modules.Settings = "[Modules]\nInitTimeoutMs=600001\nStopTimeoutMs=9\n";
         },
         "warning: /etc/quorvat/switch.ini: InitTimeoutMs=600001 is not 1 to 600000, so the default "
         "holds\n"},
        {[](Facts& f) {
             f.Modules.DirectoryError = EPERM;
             f.Modules.DirectoryProblem = "x";
         },
         "error: no module is loaded: x\n"},
        {[](Facts& f) {
             f.Modules.Refused = {"a", "b"};
         },
         "error: refused: a\nerror: refused: b\n"},
        {[](Facts& f) { f.RunLevel.HasUtmp = f.RunLevel.HasProgram = false; },
         "warning: nothing tells it: no systemctl, no utmp and no runlevel program\n"},
        {[](Facts& f) { f.RunLevel.HasSystemctl = true; }, ""},
        {[](Facts& f) {
             f.RunLevel.HasSystemctl = true;
             f.RunLevel.File.Error = 0;
             f.RunLevel.Text = "0\n";
         },
         "warning: from /etc/quorvat/RunLevel (/usr/bin/systemctl is there), which says 0 already: "
         "the next stop is told as a halt\n"},
        {[](Facts& f) {
             f.RunLevel.HasSystemctl = true;
             f.RunLevel.File.Error = 0;
             f.RunLevel.Text = "5\n";
         },
         "warning: from /etc/quorvat/RunLevel (/usr/bin/systemctl is there), which says neither 0 "
         "nor 6: a stop is told as -1\n"},
        {[](Facts& f) {
             f.RunLevel.HasSystemctl = true;
             f.RunLevel.File = {"/etc/quorvat/RunLevel", 0, S_IFREG | 0666, 0, 0, 0};
         },
         "error: from /etc/quorvat/RunLevel (/usr/bin/systemctl is there), which can be written by "
         "everybody\n"},
        {[](Facts& f) { f.Ring.Error = ENOENT; },
         "warning: 1.0 MB in /var/log/quorvat, the start-up ring 4.0 MB; free space unknown: No such "
         "file or directory\n"},
        {[](Facts& f) { f.Environment.Variables["HX_LOG_RINGBUF_WEIGHT"] = "0"; },
         "warning: 3, but without a ring size nothing is traced\n"},
        {[](Facts& f) { f.TraceConfig.Files[0].Status.Mode = S_IFREG | 0666; },
         "error: zentd.ini can be written by everybody\n"},
        {[](Facts& f) { f.TraceConfig.Files.push_back(ConfigFile("z.ini", kConfig)); },
         "warning: z.ini is ignored: the section [zentd] of zentd.ini comes first\n"},
        {[](Facts& f) {
             f.TraceConfig.Files.push_back(ConfigFile("global_trace.ini", "[EndOfFile]\n"));
         },
         "warning: global_trace.ini is ignored: it has no section [GlobalDebugSettings]\n"},
        {[](Facts& f) {
             f.TraceConfig.Files.insert(f.TraceConfig.Files.begin(), ConfigFile("a.ini", kConfig));
             f.TraceConfig.Files[0].Error = EACCES;
         },
         "warning: a.ini is ignored: Permission denied\n"},
        {[](Facts& f) { f.TraceConfig.Files[0].Text = "[other]\n[EndOfFile]\n"; },
         "warning: no file has a section [zentd]: only defaults and environment hold\n"},
        {[](Facts& f) {
             f.TraceConfig.Files.clear();
             f.TraceConfig.Error = EACCES;
         },
         "warning: /etc/velmor/OskariaSuite/TraceConfig: Permission denied\n"},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i) {
        Facts facts = MachineInOrder();
        rows[i].Change(facts);
        EXPECT_EQ(Words(facts), rows[i].Words) << "row " << i;
    }
}

TEST(ServiceEnvironment, IsReadAsTheServiceManagerReadsIt) {
    const doctor::Variables expected = {
        {"A", "1"}, {"B", "two words"}, {"C", "it's"}, {"D", ""}, {"E", "\"open"}};
    EXPECT_EQ(
        doctor::ParseEnvironmentFile(
            "A=1\n  B = \"two words\" \r\n#R=1\n;S=1\n\n \nno setting\n=x\nC='it's'\nD=\nE=\"open"),
        expected);
}

}  // namespace
