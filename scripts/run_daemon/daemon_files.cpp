#include "scripts/run_daemon/daemon_files.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <ios>

namespace {

namespace fs = std::filesystem;

const fs::path kModuleFolder = "/opt/morla/modules";

constexpr char kTraceConfig[] =
    "[zentd]\n"
    "FileDebugLevel=3\n"
    "RingBufferSizeFactor=1\n"
    "RingBufferSizeWeight=1\n"
    "MemoryTracesFlag=0\n"
    "[EndOfFile]\n";

void Write(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(path);
    file << text << std::flush;
}

}  // namespace

bool MakeDaemonFiles(const std::string& module) {
    try {
        fs::create_directories("/var/log/quorvat");
        Write("/etc/velmor/OskariaSuite/TraceConfig/zentd.ini", kTraceConfig);
        Write("/etc/quorvat/switch.ini", "[Modules]\nDirectory=" + kModuleFolder.string() +
                                             "\n[heartbeat]\nIntervalSeconds=2\n");
        // A plain stop on a system without systemctl: with it, the daemon would look three seconds
        // long for a run-level file that is not there.
        Write("/sbin/runlevel", "#!/bin/sh\necho N 5\n");
        fs::permissions("/sbin/runlevel", fs::perms(0755));
        const fs::path installed = kModuleFolder / fs::path(module).filename();
        fs::create_directories(kModuleFolder);
        fs::copy_file(module, installed);
        fs::permissions(installed, fs::perms(0755));
    } catch (const std::exception& failure) {
        (void)std::fprintf(stderr, "run: %s\n", failure.what());
        return false;
    }
    return true;
}
