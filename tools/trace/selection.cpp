#include "tools/trace/selection.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tools {

using trace_reader::Entry;

namespace {

constexpr char kSeparator[] = "--\n";

bool Holds(const std::vector<std::string>& wanted, std::string_view value) {
    return wanted.empty() || std::find(wanted.begin(), wanted.end(), value) != wanted.end();
}

}  // namespace

CPattern::~CPattern() {
    if (m_IsSet) {
        regfree(&m_Expression);
    }
}

std::string CPattern::Compile(const std::string& expression) {
    const int error = regcomp(&m_Expression, expression.c_str(), REG_EXTENDED | REG_NOSUB);
    if (error != 0) {
        std::array<char, 256> text{};
        (void)regerror(error, &m_Expression, text.data(), text.size());
        return text.data();
    }
    m_IsSet = true;
    return {};
}

bool CPattern::IsIn(std::string_view text) const {
    regmatch_t range{};
    range.rm_eo = static_cast<regoff_t>(text.size());
    return regexec(&m_Expression, text.empty() ? "" : text.data(), 1, &range, REG_STARTEND) == 0;
}

bool CTraceSelection::IsInRange(const Entry& entry) const {
    const std::string_view time = entry.Header.Time;
    const bool isTime = trace_reader::IsReadableTime(time) || (Since.empty() && Until.empty());
    // A limit in whole seconds takes the milliseconds of its last second in.
    return isTime && time >= Since && (Until.empty() || time.substr(0, Until.size()) <= Until) &&
           Holds(Threads, entry.Header.Thread) && Holds(Sources, entry.Header.Source);
}

std::string ThreadText(std::string text) {
    constexpr std::size_t kDigits = 8;
    if (text.starts_with("0x")) {
        text.erase(0, 2);
    }
    std::transform(text.begin(), text.end(), text.begin(), [](char c) {
        return c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    if (text.empty() || text.size() > kDigits ||
        text.find_first_not_of("0123456789ABCDEF") != std::string::npos) {
        return {};
    }
    return std::string(kDigits - text.size(), '0') + text;
}

void CContext::Add(std::string text, bool isMatch) {
    if (isMatch) {
        for (std::string& neighbour : m_Before) {
            Put({std::move(neighbour), false});
        }
        m_Before.clear();
        Put({std::move(text), true});
        m_After = m_Neighbours;
    } else if (m_After > 0) {
        --m_After;
        Put({std::move(text), false});
    } else {
        m_Before.push_back(std::move(text));
        if (m_Before.size() > m_Neighbours) {
            m_Before.pop_front();
            m_HasGap = true;
        }
    }
}

void CContext::Put(Item item) {
    if (std::exchange(m_HasGap, false) && m_Neighbours > 0 && !m_IsFirst) {
        const Item separator{kSeparator, false};
        m_Last != 0 ? m_Kept.push_back(separator) : Emit(separator);
    }
    m_IsFirst = false;
    if (m_Last == 0) {
        Emit(item);
        return;
    }
    m_KeptMatches += item.IsMatch ? 1U : 0U;
    m_Kept.push_back(std::move(item));
    // Without the oldest match its neighbours go, too, up to the separator or the next one's.
    while (m_KeptMatches > m_Last) {
        m_KeptMatches -= m_Kept.front().IsMatch ? 1U : 0U;
        m_Kept.pop_front();
    }
}

void CContext::Emit(const Item& item) {
    m_Print(item.Text);
}

void CContext::Finish() {
    if (!m_Kept.empty() && m_Kept.front().Text == kSeparator) {
        m_Kept.pop_front();
    }
    for (const Item& item : m_Kept) {
        Emit(item);
    }
    m_Kept.clear();
}

}  // namespace tools
