// Growable byte buffer for firmware data, with reading from a file and a hexadecimal dump.
#pragma once

#include <string>
#include <vector>

#include "base/byte_view.h"
#include "base/export.h"

// A value: copies and assignments copy the bytes. Not thread-safe.
class MORLA_API CDataStream {
public:
    static constexpr unsigned long kInitialCapacity = 32;              // bytes
    static constexpr unsigned long kFileMax = 64UL * 1024UL * 1024UL;  // bytes, far above any table

    CDataStream() { m_Bytes.reserve(kInitialCapacity); }
    // Copies `size` bytes at `data`.
    CDataStream(const unsigned char* data, unsigned long size);
    explicit CDataStream(CByteView bytes) : CDataStream(bytes.Data(), bytes.Size()) {}

    [[nodiscard]] const unsigned char* Data() const { return m_Bytes.data(); }
    [[nodiscard]] unsigned long Size() const { return m_Bytes.size(); }
    [[nodiscard]] bool IsEmpty() const { return m_Bytes.empty(); }
    // Valid as long as the buffer is not changed.
    [[nodiscard]] CByteView View() const { return {m_Bytes.data(), m_Bytes.size()}; }
    void Clear() { m_Bytes.clear(); }

    // Reads the whole file into `out`; an empty one gives an empty buffer and true. False, with
    // `out` unchanged, when it cannot be read or is larger than kFileMax.
    [[nodiscard]] static bool ReadFromFile(const std::string& path, CDataStream& out);

    // Sets `out` to a dump of `size` bytes at `data`, or to "(null)" when that is null. Items of
    // `itemWidth` bytes (1, 2 or 4; any other counts as 1), `itemsPerLine` on a line (0: all),
    // little-endian; of a last item that is cut the missing bytes count as 0. Each line begins with
    // `text`, unless that is null. No newline stands behind the last line.
    // `withOffset`: the line's offset in bytes; left out when `size` is at most `itemsPerLine`.
    // `withAscii`: the bytes as characters; left out with items of 4 bytes.
    // NOLINTNEXTLINE(readability-function-size): the operation's given parameters
    static void DumpHex(std::string& out, const unsigned char* data, unsigned long size,
                        bool withOffset, bool withAscii, unsigned long itemsPerLine, int itemWidth,
                        const char* text);

private:
    std::vector<unsigned char> m_Bytes;
};
