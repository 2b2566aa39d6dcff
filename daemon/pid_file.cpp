#include "daemon/pid_file.h"

#include <unistd.h>

#include <cstdio>

#include "base/file_ptr.h"
#include "base/paths.h"

void WritePidFile() {
    const CFilePtr file(std::fopen(paths::kPidFile, "we"));
    if (file != nullptr) {
        (void)std::fprintf(file.get(), "%d\n", getpid());
    }
}

void RemovePidFile() {
    (void)unlink(paths::kPidFile);
}
