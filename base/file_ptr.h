// Owners of stdio streams: one closed with fclose, one with pclose.
#pragma once

#include <cstdio>
#include <memory>

#include "base/cancellation.h"

struct FileCloser {
    void operator()(std::FILE* file) const {
        const CCancellationHold hold;
        (void)std::fclose(file);
    }
};
struct PipeCloser {
    void operator()(std::FILE* pipe) const {
        const CCancellationHold hold;
        (void)pclose(pipe);
    }
};

using CFilePtr = std::unique_ptr<std::FILE, FileCloser>;  // null when no file is open
using CPipePtr = std::unique_ptr<std::FILE, PipeCloser>;  // from popen; closing waits for the child
