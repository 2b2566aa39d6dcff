// Which entries of a trace are shown.
#pragma once

#include <regex.h>

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "trace_reader/entry_reader.h"

namespace tools {

// A POSIX extended expression; it works on any bytes, and on long texts without a deep stack.
class CPattern {
public:
    CPattern() = default;
    CPattern(const CPattern&) = delete;
    CPattern& operator=(const CPattern&) = delete;
    ~CPattern();
    // An empty text, or what is wrong with the expression.
    [[nodiscard]] std::string Compile(const std::string& expression);
    [[nodiscard]] bool IsIn(std::string_view text) const;
    [[nodiscard]] bool IsSet() const { return m_IsSet; }

private:
    regex_t m_Expression{};
    bool m_IsSet = false;
};

// What --thread, --source, --since, --until and --grep ask for.
class CTraceSelection {
public:
    std::string Since;  // texts of times; empty: no limit
    std::string Until;
    std::vector<std::string> Threads;  // eight upper-case digits
    std::vector<std::string> Sources;
    CPattern Pattern;

    // Everything but the pattern.
    [[nodiscard]] bool IsInRange(const trace_reader::Entry& entry) const;
    [[nodiscard]] bool IsMatch(const trace_reader::Entry& entry) const {
        return !Pattern.IsSet() || Pattern.IsIn(entry.Text());
    }
    [[nodiscard]] bool IsWanted(const trace_reader::Entry& entry) const {
        return IsInRange(entry) && IsMatch(entry);
    }
};

// The thread's number as entries write it; empty when it is none.
[[nodiscard]] std::string ThreadText(std::string text);

// Lets matches through with their neighbours, and keeps the last ones where only those are wanted.
class CContext {
public:
    using Print = std::function<void(const std::string&)>;

    // `last` 0: all.
    CContext(std::size_t neighbours, std::size_t last, Print print)
        : m_Neighbours(neighbours), m_Last(last), m_Print(std::move(print)) {}
    void Add(std::string text, bool isMatch);
    // What was kept comes out.
    void Finish();

private:
    struct Item {
        std::string Text;
        bool IsMatch;
    };
    void Put(Item item);
    void Emit(const Item& item);

    std::size_t m_Neighbours;
    std::size_t m_Last;
    Print m_Print;
    std::deque<std::string> m_Before;  // the neighbours of a match that may come
    std::size_t m_After = 0;           // neighbours that the last match has still to get
    bool m_HasGap = false;             // something was left out since the last one
    bool m_IsFirst = true;
    std::deque<Item> m_Kept;
    std::size_t m_KeptMatches = 0;
};

}  // namespace tools
