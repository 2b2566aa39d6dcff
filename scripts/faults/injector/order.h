// What the injector is to do: its command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The fault at one call of one kind.
struct Fault {
    enum class Kind : std::uint8_t {
        kFail,   // the call is not made, and returns -1 with the errno number
        kShort,  // a read or a write is made with a smaller size
        kKill,   // the process is killed as it enters the call
    };
    Kind What = Kind::kFail;
    long Call = -1;          // the system call's number; -1: of any kind
    std::uint64_t At = 0;    // which one of those, from 1
    int Error = 0;           // 0: the call "succeeds" without being made
    std::uint64_t Size = 0;  // of a short read or write, in bytes
};

struct Order {
    std::string Report;              // the file that tells what happened
    unsigned int LimitSeconds = 10;  // then everything is killed and counts as a hang
    bool IsList = false;             // the report lists every call
    bool IsWindow = false;           // only calls between the program's own marks count
    int StopSignal = 0;              // sent when the program waits for a signal
    std::optional<Fault> Injected;
    char** Command = nullptr;
};

// Nothing, with a line on standard error, when the arguments are not of that form.
[[nodiscard]] std::optional<Order> ParseOrder(char** arguments);
