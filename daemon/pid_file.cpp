#include "daemon/pid_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

#include "base/own_file.h"
#include "base/paths.h"

void WritePidFile() {
    constexpr mode_t kMode = 0666;  // filtered by the umask in force
    CUniqueFd file;
    if (OpenOwnFile(paths::kPidFile, O_WRONLY | O_CREAT | O_TRUNC, kMode, file) == 0) {
        (void)dprintf(file.Get(), "%d\n", getpid());
    }
}

void RemovePidFile() {
    (void)unlink(paths::kPidFile);
}
