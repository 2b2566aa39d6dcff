// The present bytes of a file that another process writes, also through a mapping of its own.
#pragma once

#include <string>
#include <string_view>

#include "base/file_mapping.h"
#include "base/unique_fd.h"

// Opens the file when it appears and holds on to it when its name goes.
class CFileView {
public:
    explicit CFileView(std::string path) : m_Path(std::move(path)) {}

    // The whole file as it is now; empty while there is none. The bytes change under the view as
    // the file does, which must not be cut short: true of a log and of a ring, once they are there.
    // Valid until the next call.
    [[nodiscard]] std::string_view Look();

private:
    std::string m_Path;
    CUniqueFd m_File;
    CFileMapping m_Mapping;
};
