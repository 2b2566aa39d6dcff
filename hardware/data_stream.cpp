#include "hardware/data_stream.h"

#include <cstdio>

#include "base/kernel_file.h"
#include "trace/debug.h"

namespace {

void AppendItem(std::string& out, CByteView item, unsigned long width) {
    constexpr unsigned int kByteBits = 8;
    unsigned int value = 0;
    for (std::size_t i = item.Size(); i > 0; --i) {
        value = value << kByteBits | item.Data()[i - 1];
    }
    char text[16];
    switch (width) {
    case 4: (void)std::snprintf(text, sizeof text, "%08X ", value); break;
    case 2: (void)std::snprintf(text, sizeof text, "%04X ", value); break;
    default: (void)std::snprintf(text, sizeof text, "%02X ", value); break;
    }
    out += text;
}

void AppendOffset(std::string& out, std::size_t offset) {
    char text[24];
    (void)std::snprintf(text, sizeof text, "%04X: ", static_cast<unsigned int>(offset));
    out += text;
}

void AppendAscii(std::string& out, CByteView bytes) {
    out += "  ";
    for (const char byte : bytes.Text()) {
        out += byte >= ' ' && byte <= '~' ? byte : '.';
    }
}

}  // namespace

CDataStream::CDataStream(const unsigned char* data, unsigned long size) {
    if (data != nullptr && size != 0) {
        m_Bytes.assign(data, data + size);
    }
}

bool CDataStream::ReadFromFile(const std::string& path, CDataStream& out) {
    if (path.empty()) {
        Debug.Print(5, "\nCDataStream::ReadFromFile() : Argument file path is empty!");
        return false;
    }
    Debug.Print(5, "\nCDataStream::ReadFromFile() : '%s'", path.c_str());
    std::string bytes;
    if (ReadKernelFile(path.c_str(), bytes, kFileMax + 1) != 0 || bytes.size() > kFileMax) {
        Debug.Print(1, "\nCDataStream::ReadFromFile() : Could not read file : '%s'", path.c_str());
        return false;
    }
    out = CDataStream(CByteView(bytes));
    Debug.Print(3, "\nCDataStream::ReadFromFile() : Read %u bytes.",
                static_cast<unsigned int>(bytes.size()));
    return true;
}

// NOLINTNEXTLINE(readability-function-size): as declared
void CDataStream::DumpHex(std::string& out, const unsigned char* data, unsigned long size,
                          bool withOffset, bool withAscii, unsigned long itemsPerLine,
                          int itemWidth, const char* text) {
    out.clear();
    if (data == nullptr) {
        out = "(null)";
        return;
    }
    const unsigned long width = itemWidth == 2 ? 2 : itemWidth == 4 ? 4 : 1;
    const unsigned long items = (size + width - 1) / width;
    const unsigned long perLine = itemsPerLine != 0 ? itemsPerLine : items;
    const CByteView bytes(data, size);
    for (unsigned long first = 0; first < items; first += perLine) {
        out += first == 0 ? "" : "\n";
        out += text != nullptr ? text : "";
        if (withOffset && size > perLine) {
            AppendOffset(out, first * width);
        }
        const CByteView line = bytes.Part(first * width, perLine * width);
        for (unsigned long item = 0; item < perLine; ++item) {
            if (first + item < items) {
                AppendItem(out, line.Part(item * width, width), width);
            } else {
                // Deliberate: three blanks, also where items are wider.
                out += "   ";
            }
        }
        if (withAscii && width != 4) {
            AppendAscii(out, line);
        }
    }
}
