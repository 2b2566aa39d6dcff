// The SMBIOS tables out of a device's stream that comes in pieces, ends, fails or never ends.
//
// Input: a line of words, one for each read and then again from the first: the most bytes that the
// read gives, "!" for one that fails; "*" anywhere makes the device begin anew behind its last
// byte. Then the device's bytes.
#include "hardware/hypervisor_stream.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <optional>
#include <vector>

#include "fuzz/input.h"
#include "hardware/dmi_records.h"

namespace {

constexpr std::size_t kReadMax = 0xFFFF + 32;  // the largest table and what may follow it
// The entry point, what is read in search of its end, and the table, by single bytes.
constexpr std::size_t kReadsMax = 1 + (0xFF + 0x10000 + 1) + (kReadMax + 1);

class CDevice {
public:
    CDevice(std::string_view line, std::string_view bytes) : m_Bytes(bytes) {
        while (!line.empty()) {
            const std::string_view word = line.substr(0, line.find(' '));
            line.remove_prefix(std::min(word.size() + 1, line.size()));
            std::size_t size = 0;
            if (word == "*") {
                m_IsEndless = !bytes.empty();
            } else if (word == "!") {
                m_Pieces.emplace_back();
            } else if (std::from_chars(word.data(), word.data() + word.size(), size).ec ==
                       std::errc()) {
                m_Pieces.emplace_back(size);
            }
        }
    }

    ReadResult Read(void* buffer, std::size_t size) {
        fuzz::Require(size <= kReadMax, "no read is larger than a table");
        fuzz::Require(m_Reads < kReadsMax, "reads have an end");
        const std::size_t read = m_Reads++;
        const std::optional<std::size_t> piece =
            m_Pieces.empty() ? std::optional(size) : m_Pieces[read % m_Pieces.size()];
        if (!piece) {
            return {0, EIO};
        }
        std::size_t done = 0;
        for (const std::size_t wanted = std::min(*piece, size); done < wanted;) {
            const std::string_view part = From(m_Position).substr(0, wanted - done);
            if (part.empty()) {
                break;
            }
            part.copy(static_cast<char*>(buffer) + done, part.size());
            done += part.size();
            m_Position += part.size();
        }
        return {done, 0};
    }
    void Rewind() {
        m_Position = 0;
        ++m_Rewinds;
    }
    [[nodiscard]] int Rewinds() const { return m_Rewinds; }
    // Whether `text` is what the device gives from `position`.
    [[nodiscard]] bool Holds(std::string_view text, std::size_t position) const {
        while (!text.empty()) {
            const std::string_view part = From(position).substr(0, text.size());
            if (part.empty() || !text.starts_with(part)) {
                return false;
            }
            text.remove_prefix(part.size());
            position += part.size();
        }
        return true;
    }

private:
    // Up to the last byte before the device ends or begins anew.
    [[nodiscard]] std::string_view From(std::size_t position) const {
        const std::size_t offset = m_IsEndless ? position % m_Bytes.size() : position;
        return m_Bytes.substr(std::min(offset, m_Bytes.size()));
    }

    std::string_view m_Bytes;
    std::vector<std::optional<std::size_t>> m_Pieces;
    bool m_IsEndless = false;
    std::size_t m_Position = 0;
    std::size_t m_Reads = 0;
    int m_Rewinds = 0;
};

void CheckTables(const CDevice& device, CByteView header, CByteView table) {
    _DMI_21_EPS entryPoint{};
    fuzz::Require(header.Size() == sizeof entryPoint && header.Copy(0, entryPoint),
                  "the header is an entry point");
    fuzz::Require(device.Holds(header.Text(), 0), "the header is the device's first bytes");
    fuzz::Require(
        table.Size() >= entryPoint.TableLength && table.Size() <= entryPoint.TableLength + 32U,
        "the table is as long as the entry point says");
    fuzz::Require(device.Holds(table.Text(), entryPoint.Length),
                  "the table is what stands behind the entry point");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input = fuzz::Text(data, size);
    const std::string_view line = fuzz::TakeLine(input);
    CDevice device(line, input);
    const CDataStream before(CByteView(std::string_view("before")));
    CDataStream header = before;
    CDataStream table = before;
    const bool isRead = hypervisor_stream::ReadTables(
        [&](void* buffer, std::size_t wanted) { return device.Read(buffer, wanted); },
        [&] { device.Rewind(); }, header, table);
    fuzz::Require(device.Rewinds() <= 1, "the device is put back once");
    if (isRead) {
        CheckTables(device, header.View(), table.View());
    } else {
        fuzz::Require(header.View().Text() == "before" && table.View().Text() == "before",
                      "a failure changes nothing");
    }
    return 0;
}
