// A module for the switch's tests. MODULE_NAME is its name and says what it does wrong; a name that
// stands nowhere below does nothing wrong. It traces every step of its life.
#include <pthread.h>
#include <semaphore.h>

#include <csignal>
#include <stdexcept>
#include <string_view>

#include "morla/debug.h"
#include "morla/module.h"

extern "C" MORLA_EXPORT void WakeUp();

namespace {

constexpr std::string_view kName = MODULE_NAME;

sem_t* WakeUpCall() {
    static sem_t* const call = [] {
        static sem_t semaphore;
        sem_init(&semaphore, 0, 0);
        return &semaphore;
    }();
    return call;
}

void FailIn(std::string_view step) {
    if (kName.starts_with("throws_in_") && kName.ends_with(step)) {
        throw std::runtime_error("thrown on purpose");
    }
    if (kName.starts_with("hangs_in_") && kName.ends_with(step)) {
        while (sem_wait(WakeUpCall()) != 0) {
        }
    }
}

bool IsBlocked(int signal) {
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return sigismember(&mask, signal) == 1;
}

struct CountFault {
    CountFault() {
        if (kName == "throws_statically") {
            throw std::runtime_error("thrown on purpose");
        }
    }
};
const CountFault countFault;

class CFaultModule final : public ModuleInterface {
public:
    CFaultModule() {
        FailIn("create");
        Debug.Print(1, "%s: created", MODULE_NAME);
    }
    ~CFaultModule() override { Debug.Print(1, "%s: destroyed", MODULE_NAME); }
    CFaultModule(const CFaultModule&) = delete;
    CFaultModule& operator=(const CFaultModule&) = delete;

    const char* Name() const override { return kName == "nameless" ? nullptr : MODULE_NAME; }
    const char* Version() const override { return "7"; }

    bool Init(ModuleContext& context) override {
        FailIn("init");
        Debug.Print(1, "%s: init, mode %u, rescan %d, colour %s, shape %s", MODULE_NAME,
                    context.RunMode(), context.IsForceRescan() ? 1 : 0,
                    context.Setting("Colour", "none"), context.Setting("Shape", "none"));
        return kName != "unwilling";
    }

    void Run(ModuleContext& context) override {
        const bool areBlocked =
            IsBlocked(SIGINT) && IsBlocked(SIGTERM) && IsBlocked(SIGHUP) && IsBlocked(SIGALRM);
        Debug.Print(1, "%s: runs, signals %s", MODULE_NAME, areBlocked ? "blocked" : "open");
        FailIn("run");
        if (kName == "throws_a_number") {
            throw 42;
        }
        if (kName == "ends_its_thread") {
            pthread_exit(nullptr);
        }
        const bool isStopped = context.WaitForStop(ModuleContext::kNoTimeLimit);
        Debug.Print(1, "%s: ran, %s", MODULE_NAME, isStopped ? "stopped" : "not asked");
    }

    void Stop() override {
        Debug.Print(1, "%s: stop", MODULE_NAME);
        FailIn("stop");
    }

    void OnNotice(std::uint32_t notice, std::int32_t runLevel) override {
        Debug.Print(1, "%s: notice 0x%X %d", MODULE_NAME, notice, runLevel);
        FailIn("notice");
    }
};

}  // namespace

// Lets what hangs go on.
void WakeUp() {
    sem_post(WakeUpCall());
}

const std::uint32_t morla_module_abi = kName == "of_another_abi" ? 99 : MORLA_MODULE_ABI;

ModuleInterface* morla_module_create() {
    return kName == "objectless" ? nullptr : new CFaultModule;
}

#ifndef WITHOUT_DESTROY
void morla_module_destroy(ModuleInterface* module) {
    delete module;
    FailIn("destroy");
}
#endif
