#include "tests/trace_reader/ring_model.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "tests/trace_reader/numbered_entries.h"
#include "trace/entry_format.h"
#include "trace_reader/entry_header.h"

namespace {

constexpr std::size_t kMark = trace_reader::kEndMarker.size();

}  // namespace

CRingModel::CRingModel(std::uint64_t seed, std::size_t size)
    : m_Ring(size, '_'), m_Random(seed), m_Haste(std::size_t{1} << Random(10)) {
    m_Milliseconds = Random(3'600'000);
    for (std::size_t line = 0; line < size; line += trace::kPrefillLineSize) {
        const std::string header = Header();
        m_Ring.replace(line, header.size(), header);
        m_Ring[line + trace::kPrefillLineSize - 1] = '\n';
    }
    WriteHeader();
    m_Position = trace::FirstEntryPosition(m_Position);
    Compose("### Begin of RingBuffer. ###");
    m_Restart = m_Position;
    Compose("### Start of initialization. ###");
    Advance(m_Stores.size());
}

// The clock goes on by parts of a millisecond, and now and then by some seconds.
std::string CRingModel::Header() {
    m_Milliseconds += Random(2) + (Random(50) == 0 ? Random(10'000) : 0);
    char text[64];
    std::snprintf(text, sizeof text, "2026-11-%02u %02u:%02u:%02u.%03u [1234ABCD] zentd         ",
                  static_cast<unsigned int>(m_Milliseconds / 86'400'000 % 30 + 1),
                  static_cast<unsigned int>(m_Milliseconds / 3'600'000 % 24),
                  static_cast<unsigned int>(m_Milliseconds / 60'000 % 60),
                  static_cast<unsigned int>(m_Milliseconds / 1000 % 60),
                  static_cast<unsigned int>(m_Milliseconds % 1000));
    return text;
}

// Copies in stores of up to 32 bytes, upwards.
void CRingModel::Put(std::size_t offset, const std::string& bytes) {
    for (std::size_t done = 0; done < bytes.size();) {
        const std::size_t length = std::min(bytes.size() - done, std::size_t{8} << Random(3));
        m_Stores.push_back({offset + done, bytes.substr(done, length)});
        done += length;
    }
}

// The rest of an entry, the next end marker, and last the first bytes in place of the old marker.
void CRingModel::Publish(const std::string& entry) {
    Put(m_Position + entry.size(), std::string(trace_reader::kEndMarker));
    Put(m_Position, entry.substr(0, kMark));
    m_Position += entry.size();
}

void CRingModel::Compose(const std::string& text) {
    const std::string entry = Header() + text + '\n';
    if (m_Position + trace::kEntryBufferSize <= m_Ring.size()) {
        // In place, and ended by a zero byte first; of a long one, its begin only.
        std::string inPlace = entry.substr(kMark, trace::kMessageSize);
        inPlace.back() = '\0';
        Put(m_Position + kMark, inPlace);
    }
    if (m_Position + entry.size() + kMark > m_Ring.size()) {
        Put(m_Position, std::string(m_Ring.size() - m_Position, '.'));
        m_Position = 0;
        WriteHeader();
        m_Position = m_Restart;
    }
    Put(m_Position + kMark, entry.substr(kMark));
    Publish(entry);
}

void CRingModel::WriteHeader() {
    for (const char* const line :
         {"Oskaria Environment:", "HX_SYSTEM=NotSet", "# End of header."}) {
        Compose(line);
    }
}

void CRingModel::NextEntry() {
    m_Stores.clear();
    m_Done = 0;
    Compose(NumberedText(++m_Number));
}

void CRingModel::Advance(std::size_t stores) {
    for (; stores > 0; --stores) {
        if (m_Done == m_Stores.size()) {
            if (m_IsStopped) {
                return;
            }
            NextEntry();
        }
        const Store& store = m_Stores[m_Done++];
        std::memcpy(m_Ring.data() + store.Offset, store.Bytes.data(), store.Bytes.size());
    }
}

void CRingModel::AdvanceSomewhat() {
    const std::size_t kind = Random(16);
    if (kind == 0 && Random(8) == 0) {
        Advance(Random(m_Ring.size() / 8));
    } else if (kind < 8) {
        Advance(Random(2 * m_Haste));
    }
}

std::size_t CRingModel::Read(std::uint64_t offset, char* buffer, std::size_t length) const {
    // Only the writer changes the ring, and it is no concern of the reader's.
    auto& self = const_cast<CRingModel&>(*this);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
    const std::size_t end = std::min<std::size_t>(offset + length, m_Ring.size());
    std::size_t at = std::min<std::size_t>(offset, end);
    const std::size_t got = end - at;
    while (at < end) {
        self.AdvanceSomewhat();
        const std::size_t piece = std::min(end - at, std::size_t{1} << Random(16));
        std::memcpy(buffer, m_Ring.data() + at, piece);
        buffer += piece;
        at += piece;
    }
    return got;
}

void CRingModel::Stop() {
    m_IsStopped = true;
    Advance(SIZE_MAX);
}

void CRingModel::Write(unsigned long entries) {
    for (const unsigned long end = m_Number + entries; m_Number < end;) {
        Advance(1);
    }
}
