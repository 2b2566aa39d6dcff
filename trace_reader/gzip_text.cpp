#include "trace_reader/gzip_text.h"

#include <archive.h>
#include <archive_entry.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>

#include "trace_reader/header_settings.h"

namespace trace_reader {

namespace {

constexpr std::size_t kBlock = std::size_t{1} << 20U;
constexpr std::size_t kLimitMax = std::size_t{640} << 20U;  // the largest rings have 512 MB
constexpr std::size_t kLimitUnknown = std::size_t{64} << 20U;

struct ArchiveCloser {
    void operator()(archive* reader) const { (void)archive_read_free(reader); }
};

// What the ring's header says about its size, once the text holds the line.
std::optional<std::size_t> RecordedSize(std::string_view text) {
    constexpr std::string_view kLine = "Ring Buffer Size           : ";
    const std::size_t found = text.find(kLine);
    const std::size_t end = text.find('\n', found);
    if (found == std::string_view::npos || end == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t begin = found + kLine.size();
    return std::min<std::size_t>(RingSizeOf(text.substr(begin, end - begin)), kLimitMax);
}

}  // namespace

std::string UnpackGzip(int fd, std::string& text) {
    text.clear();
    const std::unique_ptr<archive, ArchiveCloser> reader(archive_read_new());
    archive_entry* entry = nullptr;
    if (reader == nullptr || archive_read_support_filter_gzip(reader.get()) != ARCHIVE_OK ||
        archive_read_support_format_raw(reader.get()) != ARCHIVE_OK ||
        archive_read_open_fd(reader.get(), fd, kBlock) != ARCHIVE_OK ||
        archive_read_next_header(reader.get(), &entry) != ARCHIVE_OK) {
        return "it cannot be unpacked";
    }
    std::optional<std::size_t> limit;
    for (;;) {
        const std::size_t before = text.size();
        if (!limit) {
            limit = RecordedSize(text);
            text.reserve(limit.value_or(0) + kBlock);  // once; pages count when they are written
        }
        if (before > limit.value_or(kLimitUnknown)) {
            text.resize(limit.value_or(kLimitUnknown));
            return limit == kLimitMax ? "it holds more than 640 MiB"
                                      : "it holds more than a ring of its size";
        }
        text.resize(before + kBlock);
        const la_ssize_t got = archive_read_data(reader.get(), text.data() + before, kBlock);
        text.resize(before + static_cast<std::size_t>(std::max<la_ssize_t>(got, 0)));
        if (got < 0) {
            const char* const why = archive_error_string(reader.get());
            return std::string("it is damaged: ") + (why != nullptr ? why : "unknown");
        }
        if (got == 0) {
            return {};
        }
    }
}

}  // namespace trace_reader
