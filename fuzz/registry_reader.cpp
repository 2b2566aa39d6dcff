// The text of a registry's tree file: whatever is read is written as a text that reads the same.
//
// Input: the file.
#include <string>

#include "fuzz/input.h"
#include "os/registry_node.h"

namespace {

std::string ReadAndWrite(std::string_view text, bool& isAnythingStored) {
    CRegistryNode root;
    isAnythingStored = root.restoreNode(text);
    std::string written;
    root.dumpNode(written);
    return written;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    bool isAnythingStored = false;
    bool isStoredAgain = false;
    const std::string first = ReadAndWrite(fuzz::Text(data, size), isAnythingStored);
    fuzz::Require(isAnythingStored == (first != "\n"), "what is stored is written");
    // Bytes may be written longer than they were read (a digit becomes two and a blank), so that
    // their line no longer fits.
    for (std::size_t begin = 0; begin < first.size();) {
        const std::size_t end = first.find('\n', begin);
        if (end - begin >= 1023) {
            return 0;
        }
        begin = end + 1;
    }
    const std::string second = ReadAndWrite(first, isStoredAgain);
    fuzz::Require(first == second, "a written tree reads back the same");
    fuzz::Require(isAnythingStored == isStoredAgain, "and counts as read");
    return 0;
}
