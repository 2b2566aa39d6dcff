// Log files of any bytes: the wrap line, the layout and the entries.
//
// Input: the file.
#include <memory>
#include <string>

#include "fuzz/input.h"
#include "trace_reader/trace_file.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace trace_reader;
    const std::string_view text = fuzz::Text(data, size);
    const CTraceMemory bytes{std::string(text)};
    const LogLayout log = FindLogLayout(bytes);
    fuzz::Require(log.WrapOffset <= log.NewBegin && log.NewBegin <= log.NewEnd &&
                      log.NewEnd <= log.OldBegin && log.OldBegin <= text.size(),
                  "the parts of a log file follow each other");
    if (log.Wrap) {
        fuzz::Require(ParseWrapLine(text.substr(log.WrapOffset)).has_value(),
                      "the wrap line stands where it says");
    }
    const TraceFile file = LayOut(std::make_shared<CTraceMemory>(std::string(text)));
    CEntryReader reader = file.Entries();
    while (const Entry* const entry = reader.Next()) {
        fuzz::Require(text.substr(entry->Offset, entry->Bytes.size()) == entry->Bytes,
                      "an entry stands in the file where it says");
        fuzz::Require(entry->Text().size() <= entry->Bytes.size(), "a text is in its entry");
    }
    return 0;
}
