#include "modules/inventory/stored_inventory.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/file_io.h"
#include "base/kernel_file.h"
#include "base/paths.h"
#include "base/unique_fd.h"

namespace {

constexpr char kLast[] = "last.json";
constexpr char kPrevious[] = "previous.json";
constexpr char kNew[] = "new.json";

// An errno number.
int OpenFolder(CUniqueFd& folder) {
    constexpr mode_t kParentMode = 0755;
    constexpr mode_t kMode = 0700;
    for (const auto& [path, mode] : {std::pair(paths::kStateDirectory, kParentMode),
                                     std::pair(paths::kInventoryState, kMode)}) {
        if (mkdir(path, mode) != 0 && errno != EEXIST) {
            return errno;
        }
    }
    folder.Reset(open(paths::kInventoryState, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder.IsValid() ? 0 : errno;
}

int WriteNew(int folder, const std::string& text) {
    constexpr mode_t kMode = 0600;
    (void)unlinkat(folder, kNew, 0);  // what an ended process left there, or somebody planted
    const CUniqueFd file(openat(folder, kNew, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode));
    if (!file.IsValid()) {
        return errno;
    }
    const int error = WriteFully(file.Get(), text);
    if (error != 0) {
        return error;
    }
    return fsync(file.Get()) == 0 ? 0 : errno;
}

int Rename(int folder, const char* from, const char* to) {
    return renameat(folder, from, folder, to) == 0 ? 0 : errno;
}

// A second name first: the file is never without one.
int KeepLast(int folder) {
    constexpr char kSecondName[] = "kept.json";
    (void)unlinkat(folder, kSecondName, 0);
    if (linkat(folder, kLast, folder, kSecondName, 0) != 0) {
        return errno == ENOENT ? 0 : errno;
    }
    return Rename(folder, kSecondName, kPrevious);
}

}  // namespace

std::string LoadLastInventory() {
    constexpr std::size_t kLimit = std::size_t{64} * 1024 * 1024;
    std::string text;
    const std::string path = std::string(paths::kInventoryState) + '/' + kLast;
    return ReadKernelFile(path.c_str(), text, kLimit) == 0 ? text : std::string();
}

int StoreInventory(const std::string& text, bool keepsLast) {
    CUniqueFd folder;
    int error = OpenFolder(folder);
    if (error == 0) {
        error = WriteNew(folder.Get(), text);
    }
    if (error == 0 && keepsLast) {
        error = KeepLast(folder.Get());
    }
    if (error != 0) {
        return error;
    }
    error = Rename(folder.Get(), kNew, kLast);
    if (error != 0) {
        return error;
    }
    return fsync(folder.Get()) == 0 ? 0 : errno;
}
