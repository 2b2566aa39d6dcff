// How private_root ends when it cannot build the root.
#pragma once

#include <string_view>

// Exit codes of private_root itself; every other code is the command's.
inline constexpr int kExitUsage = 64;
inline constexpr int kExitBroken = 70;
inline constexpr int kExitForbidden = 77;  // ctest counts it as skipped
inline constexpr int kExitNotExecutable = 126;
inline constexpr int kExitNotFound = 127;

// Ends the process with one line on standard error: kExitForbidden where `error` says that the
// machine does not allow this caller to have namespaces, kExitBroken otherwise.
[[noreturn]] void Refuse(std::string_view step, int error);

// Refuses with errno when a step was not done.
void Demand(bool isDone, std::string_view step);
