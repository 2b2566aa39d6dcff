#include "trace_reader/merge.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "trace_reader/time_argument.h"

namespace trace_reader {

namespace {

constexpr std::size_t kKnownMax = 100'000;

// The log file cuts a message at this length, without a note.
constexpr std::size_t kLogMessageMax = 1024;

std::size_t HashOf(const Entry& entry) {
    const std::hash<std::string_view> hash;
    constexpr std::size_t kFactor = 1'000'003;
    return (hash(entry.Header.Thread) * kFactor + hash(entry.Header.Source)) * kFactor +
           hash(entry.Text().substr(0, kLogMessageMax));
}

}  // namespace

void CCopyFilter::AddFromRing(const Entry& entry) {
    const auto time = Milliseconds(entry.Header.Time);
    if (!time) {
        return;
    }
    while (!m_Known.empty() &&
           (m_Known.size() > kKnownMax || *time - m_Known.front().Time > kCopyMilliseconds)) {
        m_Known.pop_front();
    }
    m_Known.push_back({*time, HashOf(entry)});
}

bool CCopyFilter::IsCopy(const Entry& entry) {
    const auto time = Milliseconds(entry.Header.Time);
    const std::size_t hash = HashOf(entry);
    const auto known = std::find_if(m_Known.begin(), m_Known.end(), [&](const Known& ring) {
        return ring.Hash == hash && time && *time >= ring.Time &&
               *time - ring.Time <= kCopyMilliseconds;
    });
    if (known == m_Known.end()) {
        return false;
    }
    m_Known.erase(known);
    return true;
}

void CMerge::Add(CEntryReader reader, bool isRing) {
    m_Sources.push_back({std::move(reader), isRing, nullptr});
}

CMerge::Item CMerge::Oldest() {
    Item item;
    for (std::size_t number = 0; number < m_Sources.size(); ++number) {
        const Entry* const head = m_Sources[number].Head;
        if (head == nullptr) {
            continue;
        }
        if (!IsReadableTime(head->Header.Time)) {
            return {head, number};  // whatever it is, it must not hold up what follows it
        }
        if (item.Record == nullptr || head->Header.Time < item.Record->Header.Time) {
            item = {head, number};
        }
    }
    return item;
}

CMerge::Item CMerge::Next() {
    for (;;) {
        for (std::size_t number = 0; number < m_Sources.size(); ++number) {
            if (!m_IsStarted || number == m_Taken) {
                m_Sources[number].Head = m_Sources[number].Reader.Next();
            }
        }
        m_IsStarted = true;
        const Item item = Oldest();
        m_Taken = item.Source;
        if (item.Record == nullptr) {
            m_Taken = SIZE_MAX;
            return item;
        }
        if (m_Sources.size() == 1) {
            return item;
        }
        if (m_Sources[item.Source].IsRing) {
            m_Copies.AddFromRing(*item.Record);
        } else if (m_Copies.IsCopy(*item.Record)) {
            continue;
        }
        return item;
    }
}

}  // namespace trace_reader
