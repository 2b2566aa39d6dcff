#include "trace_reader/time_argument.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <utility>

#include "trace_reader/entry_header.h"

namespace trace_reader {

namespace {

constexpr std::time_t kMinute = 60;
constexpr std::time_t kHour = 60 * kMinute;
constexpr std::time_t kDay = 24 * kHour;

// Takes a number of exactly `digits` digits off the text.
bool TakeDigits(std::string_view& text, std::size_t digits, int& number) {
    const std::string_view part = text.substr(0, digits);
    if (part.size() < digits || part.find_first_not_of("0123456789") != std::string_view::npos) {
        return false;
    }
    (void)std::from_chars(part.data(), part.data() + part.size(), number);
    text.remove_prefix(digits);
    return true;
}

bool TakeCharacter(std::string_view& text, char c) {
    if (!text.starts_with(c)) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

bool IsDay(int year, int month, int day) {
    constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12 || day < 1) {
        return false;
    }
    const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return day <= kDays.at(static_cast<std::size_t>(month) - 1) + (month == 2 && isLeap ? 1 : 0);
}

// Takes "yyyy-mm-dd" off the text; empty when it is no date.
std::string TakeDate(std::string_view& text) {
    const std::string date(text.substr(0, 10));
    int year = 0;
    int month = 0;
    int day = 0;
    const bool isDate = TakeDigits(text, 4, year) && TakeCharacter(text, '-') &&
                        TakeDigits(text, 2, month) && TakeCharacter(text, '-') &&
                        TakeDigits(text, 2, day) && IsDay(year, month, day);
    return isDate ? date : std::string();
}

// Completes "hh:mm", "hh:mm:ss" or "hh:mm:ss.mmm" to seconds; empty when it is no time of day.
std::string TimeOfDay(std::string_view text) {
    std::string time(text);
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
    if (!TakeDigits(text, 2, hour) || !TakeCharacter(text, ':') || !TakeDigits(text, 2, minute)) {
        return {};
    }
    if (text.empty()) {
        time += ":00";
    } else if (!TakeCharacter(text, ':') || !TakeDigits(text, 2, second) ||
               (!text.empty() && (!TakeCharacter(text, '.') || !TakeDigits(text, 3, millisecond) ||
                                  !text.empty()))) {
        return {};
    }
    return hour < 24 && minute < 60 && second < 61 ? time : std::string();
}

// The unit of "10 min ago" in seconds; 0 when it is none.
std::time_t UnitSeconds(std::string_view unit) {
    struct Unit {
        std::string_view Name;
        std::time_t Seconds;
    };
    constexpr std::array<Unit, 16> kUnits = {{{"s", 1},
                                              {"sec", 1},
                                              {"second", 1},
                                              {"seconds", 1},
                                              {"min", kMinute},
                                              {"mins", kMinute},
                                              {"minute", kMinute},
                                              {"minutes", kMinute},
                                              {"h", kHour},
                                              {"hour", kHour},
                                              {"hours", kHour},
                                              {"d", kDay},
                                              {"day", kDay},
                                              {"days", kDay},
                                              {"week", 7 * kDay},
                                              {"weeks", 7 * kDay}}};
    for (const Unit& known : kUnits) {
        if (known.Name == unit) {
            return known.Seconds;
        }
    }
    return 0;
}

void SkipBlanks(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
}

// "10 min ago"
std::optional<std::string> ParseAgo(std::string_view text, std::time_t now) {
    constexpr std::string_view kAgo = " ago";
    if (!text.ends_with(kAgo)) {
        return std::nullopt;
    }
    text.remove_suffix(kAgo.size());
    std::uint32_t count = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    SkipBlanks(text);
    const std::time_t unit = UnitSeconds(text.substr(0, text.find_last_not_of(' ') + 1));
    if (error != std::errc() || unit == 0) {
        return std::nullopt;
    }
    std::string time = LocalTimeText(now - static_cast<std::time_t>(count) * unit);
    // Before the first year there are no four digits for it.
    return Milliseconds(time + ".000") ? std::optional(std::move(time)) : std::nullopt;
}

// Midnight before `days` days.
std::string DayText(std::time_t now, int days) {
    tm local{};
    (void)localtime_r(&now, &local);
    local.tm_mday -= days;
    local.tm_hour = 12;  // whatever the change of daylight saving time does to midnight
    local.tm_isdst = -1;
    return LocalTimeText(std::mktime(&local)).substr(0, 10) + " 00:00:00";
}

}  // namespace

std::string LocalTimeText(std::time_t time) {
    tm local{};
    std::array<char, 32> text{};
    if (localtime_r(&time, &local) == nullptr ||
        std::strftime(text.data(), text.size(), "%F %H:%M:%S", &local) == 0) {
        return {};
    }
    return text.data();
}

std::time_t BootTime() {
    timespec sinceBoot{};
    (void)clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
    return std::time(nullptr) - sinceBoot.tv_sec;
}

std::optional<TimeArgument> ParseTimeArgument(std::string_view text, std::time_t now) {
    using Kind = TimeArgument::Kind;
    if (text == "boot" || text == "start") {
        return TimeArgument{text == "boot" ? Kind::kBoot : Kind::kStart, {}};
    }
    if (text == "now") {
        return TimeArgument{Kind::kTime, LocalTimeText(now)};
    }
    if (text == "today" || text == "yesterday") {
        return TimeArgument{Kind::kTime, DayText(now, text == "today" ? 0 : 1)};
    }
    if (const auto ago = ParseAgo(text, now)) {
        return TimeArgument{Kind::kTime, *ago};
    }
    std::string_view rest = text;
    std::string date = TakeDate(rest);
    if (date.empty()) {
        rest = text;
        date = LocalTimeText(now).substr(0, 10);
    } else if (rest.empty()) {
        return TimeArgument{Kind::kTime, date + " 00:00:00"};
    } else if (!TakeCharacter(rest, ' ') && !TakeCharacter(rest, 'T')) {
        return std::nullopt;
    }
    const std::string time = TimeOfDay(rest);
    return time.empty() ? std::nullopt
                        : std::optional(TimeArgument{Kind::kTime, date + " " + time});
}

std::optional<std::int64_t> Milliseconds(std::string_view text) {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
    const bool isRead =
        text.size() >= kTimeLength && TakeDigits(text, 4, year) && TakeCharacter(text, '-') &&
        TakeDigits(text, 2, month) && TakeCharacter(text, '-') && TakeDigits(text, 2, day) &&
        TakeCharacter(text, ' ') && TakeDigits(text, 2, hour) && TakeCharacter(text, ':') &&
        TakeDigits(text, 2, minute) && TakeCharacter(text, ':') && TakeDigits(text, 2, second) &&
        TakeCharacter(text, '.') && TakeDigits(text, 3, millisecond);
    if (!isRead || !IsDay(year, month, day)) {
        return std::nullopt;
    }
    const std::chrono::sys_days date = std::chrono::year_month_day(
        std::chrono::year(year), std::chrono::month(static_cast<unsigned int>(month)),
        std::chrono::day(static_cast<unsigned int>(day)));
    const std::int64_t days = date.time_since_epoch().count();
    constexpr std::int64_t kSecond = 1000;
    return ((days * 24 + hour) * 60 + minute) * 60 * kSecond + second * kSecond + millisecond;
}

}  // namespace trace_reader
