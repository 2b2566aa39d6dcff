// Calls that the system may never finish, made in threads that can be given up.
//
// A system call on a dead network mount or a dead drive sleeps in the kernel, where neither a
// signal nor a cancellation reaches it. So it is made in a detached thread; the caller waits for a
// limited time and goes on without it. What is left behind is one thread for each key at most: as
// long as the call given up has not ended, no other is started under its key. When it ends at last,
// it ends its thread and frees the key.
#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace bounded_call {

enum class Outcome {
    kDone,
    kTimeOut,       // the call goes on, given up
    kStillPending,  // a call that was given up earlier under this key goes on; nothing was started
    kNoThread       // the system refuses a thread
};

// Runs `call` and waits at most `limit` for its end. `key` names what the call touches ("statvfs
// /mnt"); while another thread's call under the same key goes on, that one is awaited first.
// `call` must not throw, must own whatever it uses (it may outlive the caller) and may only be
// relied upon to have been carried out after kDone. It runs with all signals blocked.
// May be called from any thread; the wait is a cancellation point, where the call is given up.
[[nodiscard]] Outcome Run(const std::string& key, std::chrono::milliseconds limit,
                          std::function<void()> call);

// The outcome that is not kDone, as a reason for people.
[[nodiscard]] const char* Reason(Outcome outcome);

}  // namespace bounded_call
