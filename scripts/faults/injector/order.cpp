#include "scripts/faults/injector/order.h"

#include <charconv>
#include <csignal>
#include <cstdio>
#include <string_view>

#include "scripts/faults/injector/call_names.h"

namespace {

constexpr char kUsage[] =
    "usage: fault_injector --report=FILE [--limit=SECONDS] [--list] [--window] [--stop]\n"
    "           [--fail=CALL:N:ERRNO | --short=CALL:N:BYTES | --kill=N] -- COMMAND...\n";

template <typename Number>
bool ParseNumber(std::string_view text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

// The part before the first ":", which is taken away with it.
std::string_view TakePart(std::string_view& text) {
    const std::size_t colon = text.find(':');
    const std::string_view part = text.substr(0, colon);
    text.remove_prefix(colon == std::string_view::npos ? text.size() : colon + 1);
    return part;
}

std::optional<Fault> ParseFault(std::string_view name, std::string_view text) {
    Fault fault;
    if (name == "--kill") {
        fault.What = Fault::Kind::kKill;
        return ParseNumber(text, fault.At) ? std::optional(fault) : std::nullopt;
    }
    fault.Call = CallNumber(TakePart(text));
    if (fault.Call < 0 || !ParseNumber(TakePart(text), fault.At)) {
        return std::nullopt;
    }
    if (name == "--short") {
        fault.What = Fault::Kind::kShort;
        return ParseNumber(text, fault.Size) ? std::optional(fault) : std::nullopt;
    }
    return ParseNumber(text, fault.Error) ? std::optional(fault) : std::nullopt;
}

bool TakeOption(std::string_view argument, Order& order) {
    const std::size_t equals = argument.find('=');
    const std::string_view name = argument.substr(0, equals);
    const std::string_view value =
        equals == std::string_view::npos ? std::string_view() : argument.substr(equals + 1);
    if (name == "--report") {
        order.Report = value;
    } else if (name == "--limit") {
        return ParseNumber(value, order.LimitSeconds);
    } else if (name == "--list") {
        order.IsList = true;
    } else if (name == "--window") {
        order.IsWindow = true;
    } else if (name == "--stop") {
        order.StopSignal = SIGTERM;
    } else if (name == "--fail" || name == "--short" || name == "--kill") {
        order.Injected = ParseFault(name, value);
        return order.Injected.has_value();
    } else {
        return false;
    }
    return true;
}

}  // namespace

std::optional<Order> ParseOrder(char** arguments) {
    Order order;
    for (; *arguments != nullptr && std::string_view(*arguments) != "--"; ++arguments) {
        if (!TakeOption(*arguments, order)) {
            (void)std::fprintf(stderr, "fault_injector: %s?\n%s", *arguments, kUsage);
            return std::nullopt;
        }
    }
    if (*arguments == nullptr || arguments[1] == nullptr || order.Report.empty()) {
        (void)std::fputs(kUsage, stderr);
        return std::nullopt;
    }
    order.Command = arguments + 1;
    return order;
}
