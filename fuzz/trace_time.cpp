// Times as people type them, and the header of an entry.
//
// Input: a line for the time; then the entry.
#include <string>

#include "fuzz/input.h"
#include "trace_reader/entry_header.h"
#include "trace_reader/time_argument.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace trace_reader;
    constexpr std::time_t kNow = 1'700'000'000;
    std::string_view rest = fuzz::Text(data, size);
    const auto time = ParseTimeArgument(fuzz::TakeLine(rest), kNow);
    if (time && time->What == TimeArgument::Kind::kTime) {
        fuzz::Require(time->Text.size() == 19 || time->Text.size() == kTimeLength,
                      "a time has seconds, or milliseconds");
        fuzz::Require(Milliseconds(time->Text +
                                   std::string(".000").substr(0, kTimeLength - time->Text.size()))
                          .has_value(),
                      "a time is one that an entry may have");
    }
    if (const auto header = ParseEntryHeader(rest)) {
        fuzz::Require(header->Length <= rest.size() && header->Length <= 128,
                      "a header has its limit");
        for (const std::string_view part :
             {header->Time, header->Thread, header->Memory, header->Source}) {
            fuzz::Require(fuzz::IsInside(part, rest.substr(0, header->Length)),
                          "a part stands in its header");
        }
    }
    return 0;
}
