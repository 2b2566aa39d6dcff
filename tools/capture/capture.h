// Writes a captured tree as a .tar.gz file.
#pragma once

#include <string>

#include "base/unique_fd.h"
#include "inventory/snapshot.h"

namespace tools {

// The file to be written. It gets its name when it is whole; until then it is NAME.partial. Its
// folder is opened once, so the process may change its root in between.
class CCaptureFile {
public:
    CCaptureFile() = default;
    CCaptureFile(const CCaptureFile&) = delete;
    CCaptureFile& operator=(const CCaptureFile&) = delete;
    // Removes what is not whole.
    ~CCaptureFile();

    // Each returns 0, or an exit code with the reason reported.
    [[nodiscard]] int Open(const std::string& path);
    [[nodiscard]] int Finish();

    [[nodiscard]] int Descriptor() const { return m_File.Get(); }

private:
    [[nodiscard]] int FailWith(int error) const;

    std::string m_Path;  // as it was given, for messages
    std::string m_Name;
    CUniqueFd m_Folder;
    CUniqueFd m_File;
};

// Captures what an inventory reads. 0, or an exit code with the reason reported; reports what could
// not be read.
[[nodiscard]] int WriteCapture(CCaptureFile& file, const inventory::Snapshot& snapshot,
                               bool isAnonymous);

}  // namespace tools
