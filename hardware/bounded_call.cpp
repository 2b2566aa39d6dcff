#include "hardware/bounded_call.h"

#include <pthread.h>

#include <condition_variable>
#include <csignal>
#include <exception>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

namespace bounded_call {

namespace {

// Guarded by the lock of Pending.
struct Call {
    bool IsEnded = false;
    bool IsGivenUp = false;
};

struct Pending {
    std::mutex Lock;
    std::condition_variable Ended;  // some call has ended
    std::map<std::string, std::shared_ptr<Call>> Calls;
};

// Never destroyed: threads that were given up come back to it at any time.
Pending& State() {
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): never destroyed
    static auto* const state = new Pending;
    return *state;
}

// Blocks all signals while it exists; a thread started meanwhile inherits that.
class CSignalBlock {
public:
    CSignalBlock() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &m_Previous);
    }
    ~CSignalBlock() { pthread_sigmask(SIG_SETMASK, &m_Previous, nullptr); }
    CSignalBlock(const CSignalBlock&) = delete;
    CSignalBlock& operator=(const CSignalBlock&) = delete;

private:
    sigset_t m_Previous{};
};

// Gives the call up when its scope is left, which happens with the lock held, before its end.
class CGiveUpMark {
public:
    explicit CGiveUpMark(std::shared_ptr<Call> call) : m_Call(std::move(call)) {}
    ~CGiveUpMark() { m_Call->IsGivenUp = !m_Call->IsEnded; }
    CGiveUpMark(const CGiveUpMark&) = delete;
    CGiveUpMark& operator=(const CGiveUpMark&) = delete;

private:
    std::shared_ptr<Call> m_Call;
};

void Execute(const std::string& key, Call& record, const std::function<void()>& call) {
    call();
    Pending& pending = State();
    const std::lock_guard guard(pending.Lock);
    record.IsEnded = true;
    pending.Calls.erase(key);
    pending.Ended.notify_all();
}

bool StartThread(const std::string& key, const std::shared_ptr<Call>& record,
                 std::function<void()> call) {
    const CSignalBlock block;
    try {
        std::thread([key, record, call = std::move(call)] {
            Execute(key, *record, call);
        }).detach();
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

}  // namespace

Outcome Run(const std::string& key, std::chrono::milliseconds limit, std::function<void()> call) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    Pending& pending = State();
    std::unique_lock lock(pending.Lock);
    for (auto found = pending.Calls.find(key); found != pending.Calls.end();
         found = pending.Calls.find(key)) {
        const std::shared_ptr<Call> other = found->second;
        if (other->IsGivenUp) {
            return Outcome::kStillPending;
        }
        if (!pending.Ended.wait_until(lock, deadline, [&] { return other->IsEnded; })) {
            return Outcome::kTimeOut;
        }
    }
    const auto record = std::make_shared<Call>();
    pending.Calls.emplace(key, record);
    if (!StartThread(key, record, std::move(call))) {
        pending.Calls.erase(key);
        return Outcome::kNoThread;
    }
    const CGiveUpMark mark(record);
    const bool isDone = pending.Ended.wait_until(lock, deadline, [&] { return record->IsEnded; });
    return isDone ? Outcome::kDone : Outcome::kTimeOut;
}

const char* Reason(Outcome outcome) {
    switch (outcome) {
    case Outcome::kDone: break;
    case Outcome::kTimeOut: return "no answer in time";
    case Outcome::kStillPending: return "an earlier question is still without answer";
    case Outcome::kNoThread: return "no thread to ask with";
    }
    return "";
}

}  // namespace bounded_call
