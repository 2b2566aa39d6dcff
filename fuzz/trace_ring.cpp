// Rings of any bytes: layout, entries forward and back, and a follower that meets two states.
//
// Input: the length of the first state, in a line; then the bytes of both.
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "trace_reader/ring_follower.h"
#include "trace_reader/trace_file.h"

namespace {

using namespace trace_reader;

// Bytes that another state replaces.
class CChangingBytes : public CTraceBytes {
public:
    explicit CChangingBytes(std::string_view text) : m_Text(text) {}
    void Change(std::string_view text) { m_Text = text; }
    [[nodiscard]] std::uint64_t Size() const override { return m_Text.size(); }
    using CTraceBytes::Read;
    [[nodiscard]] std::size_t Read(std::uint64_t offset, char* buffer,
                                   std::size_t length) const override {
        const std::string_view part =
            offset < m_Text.size() ? m_Text.substr(offset, length) : std::string_view();
        part.copy(buffer, part.size());
        return part.size();
    }

private:
    std::string_view m_Text;
};

void CheckEntry(const Entry& entry, std::string_view file) {
    fuzz::Require(file.substr(entry.Offset, entry.Bytes.size()) == entry.Bytes,
                  "an entry stands in the file where it says");
    const auto header = ParseEntryHeader(entry.Bytes);
    fuzz::Require(header && header->Length <= entry.Bytes.size(), "an entry begins with a header");
    fuzz::Require(fuzz::IsInside(entry.Header.Source, entry.Bytes), "a header is in its entry");
}

void CheckFile(std::string_view text) {
    const TraceFile file = LayOut(std::make_shared<CTraceMemory>(std::string(text)));
    std::vector<std::uint64_t> places;
    CEntryReader reader = file.Entries();
    while (const Entry* const entry = reader.Next()) {
        CheckEntry(*entry, text);
        places.push_back(entry->Offset);
    }
    fuzz::Require(reader.LostBytes() == 0, "nothing is lost of a file that stands still");
    std::vector<std::uint64_t> back;
    (void)FindPlaceBack(*file.Bytes, file.Regions, [&](const Entry& entry) {
        back.insert(back.begin(), entry.Offset);
        return false;
    });
    fuzz::Require(places == back, "backwards gives the same entries");
    std::uint64_t before = 0;
    for (const Region& region : file.Regions) {
        fuzz::Require(region.Begin < region.End && region.End <= text.size(),
                      "a region is in its file");
        before += region.End - region.Begin;
    }
    fuzz::Require(before <= text.size(), "regions do not overlap");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view rest = fuzz::Text(data, size);
    const std::size_t length = std::strtoul(std::string(fuzz::TakeLine(rest)).c_str(), nullptr, 10);
    const std::string_view first = rest.substr(0, length);
    const std::string_view second = rest.substr(first.size());
    CheckFile(first);
    CChangingBytes bytes(first);
    for (const auto from : {CRingFollower::From::kOldest, CRingFollower::From::kNewest}) {
        bytes.Change(first);
        CRingFollower follower(bytes, from);
        for (const std::string_view state : {first, second}) {
            bytes.Change(state);
            int looks = 0;
            constexpr int kLooksMax = 100;
            while (looks++ < kLooksMax && follower.Look([&](const Entry& entry) {
                CheckEntry(entry, state);
            }) != CRingFollower::Result::kNothing) {
            }
            fuzz::Require(looks < kLooksMax, "a file that stands still has an end");
        }
    }
    return 0;
}
