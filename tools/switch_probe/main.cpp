// The process in which `morlactl switch check` loads a library: it exports what the daemon exports
// and is linked with what the daemon is linked with, so that a library binds here as it does there.
//
// usage: switch_probe FILE [--load-modules]; reports to descriptor 3, see
// tools/switch_check/finding.h
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>

#include <csignal>
#include <cstring>

#include "base/control_signals.h"
#include "tools/switch_probe/load.h"
#include "tools/switch_probe/object.h"
#include "tools/switch_probe/report.h"
#include "trace/debug.h"

namespace {

// Ends with its parent, leaves no core file, and has the daemon's signals.
void PrepareProcess() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const rlimit none{0, 0};
    (void)setrlimit(RLIMIT_CORE, &none);
    const sigset_t blocked = ControlSignals();
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    (void)std::signal(SIGPIPE, SIG_IGN);
    (void)std::signal(SIGIO, SIG_IGN);
    (void)fcntl(switch_check::kReportFd, F_SETFD, FD_CLOEXEC);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || Debug.IsTracingActive()) {  // `Debug` is there for the library, and silent
        return 1;
    }
    PrepareProcess();
    void* const library = switch_probe::Load(argv[1]);
    if (library != nullptr) {
        switch_probe::CheckObject(library, argc > 2 && std::strcmp(argv[2], "--load-modules") == 0);
        switch_probe::Step("its static destructors");
        dlclose(library);
    }
    switch_probe::Step(switch_check::kLastStep);
    return 0;
}
