// The bytes of a trace file, read at offsets: from a file that may be written meanwhile, or memory.
//
// Nothing is mapped. A mapping of a file that its writer cuts to nothing at the next start would be
// a signal at the next look; a read is only shorter. The writer does not notice either.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "base/unique_fd.h"

namespace trace_reader {

class CTraceBytes {
public:
    CTraceBytes() = default;
    CTraceBytes(const CTraceBytes&) = delete;
    CTraceBytes& operator=(const CTraceBytes&) = delete;
    virtual ~CTraceBytes() = default;

    // The present size.
    [[nodiscard]] virtual std::uint64_t Size() const = 0;
    // Fills `buffer` from `offset` on; returns how many bytes there were, fewer also after an
    // error.
    [[nodiscard]] virtual std::size_t Read(std::uint64_t offset, char* buffer,
                                           std::size_t length) const = 0;
    // The first error, as an errno number: what was read is not all that there is. Else 0.
    [[nodiscard]] virtual int Error() const { return 0; }

    // Replaces `text` by at most `length` bytes from `offset`.
    void Read(std::uint64_t offset, std::size_t length, std::string& text) const;
};

class CTraceMemory : public CTraceBytes {
public:
    explicit CTraceMemory(std::string text) : m_Text(std::move(text)) {}
    [[nodiscard]] std::uint64_t Size() const override { return m_Text.size(); }
    using CTraceBytes::Read;
    [[nodiscard]] std::size_t Read(std::uint64_t offset, char* buffer,
                                   std::size_t length) const override;

private:
    std::string m_Text;
};

class CTraceFileBytes : public CTraceBytes {
public:
    // Opens a regular file, never for writing. 0, or an errno number (EINVAL: no regular file).
    [[nodiscard]] int Open(const std::string& path);
    [[nodiscard]] int Descriptor() const { return m_File.Get(); }
    // As it is now; zeros when it cannot be asked.
    [[nodiscard]] struct stat Status() const;
    [[nodiscard]] std::uint64_t Size() const override;
    using CTraceBytes::Read;
    [[nodiscard]] std::size_t Read(std::uint64_t offset, char* buffer,
                                   std::size_t length) const override;

    [[nodiscard]] int Error() const override { return m_Error; }

private:
    CUniqueFd m_File;
    mutable int m_Error = 0;  // of all that was asked so far
};

}  // namespace trace_reader
