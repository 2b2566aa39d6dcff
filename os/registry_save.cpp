// Saving the tree: written beside the file, on the disk before it takes the file's place.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>

#include "base/cancellation.h"
#include "base/error_text.h"
#include "base/unique_fd.h"
#include "os/registry.h"
#include "os/registry_file.h"
#include "os/registry_state.h"
#include "trace/debug.h"

namespace {

constexpr mode_t kNewFileMode = 0600;  // until it is complete

// What a killed process left there, or somebody planted, is not written to but replaced.
CUniqueFd MakeNewFile() {
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
    CUniqueFd file(open(CRegistry::MPRegistryTemp, kFlags, kNewFileMode));
    if (!file.IsValid() && errno == EEXIST) {
        (void)unlink(CRegistry::MPRegistryTemp);
        file.Reset(open(CRegistry::MPRegistryTemp, kFlags, kNewFileMode));
    }
    return file;
}

// Writes the whole tree to the file beside. False: there is no complete new file.
bool WriteNewTree() {
    CUniqueFd file = MakeNewFile();
    if (!file.IsValid()) {
        Debug.Print(1, "CRegistry: ERROR: Cannot open \"%s\" for writing\n",
                    CRegistry::MPRegistryTemp);
        return false;
    }
    std::string text;
    RegistryState.Root().dumpNode(text);
    const int error = WriteRegistryFile(file.Get(), text);
    if (error != 0) {
        Debug.Print(1, "CRegistry: ERROR: Cannot write \"%s\" (errno=%d: %s), tree not saved\n",
                    CRegistry::MPRegistryTemp, error, CErrorText(error).Get());
        (void)unlink(CRegistry::MPRegistryTemp);
        return false;
    }
    return true;
}

bool Rename(const char* from, const char* to) {
    if (std::rename(from, to) == 0) {
        return true;
    }
    const int error = errno;
    Debug.Print(1, "CRegistry: ERROR: Cannot rename \"%s\" to \"%s\" (errno=%d: %s)\n", from, to,
                error, CErrorText(error).Get());
    return false;
}

// Puts the new file in place. Between the two renames there is only the backup, which the next
// set-up falls back to.
void ReplaceTree() {
    struct stat status {};
    const bool hasBackup = stat(CRegistry::MPRegistry, &status) == 0 && status.st_size > 0 &&
                           Rename(CRegistry::MPRegistry, CRegistry::MPRegistryOld);
    if (!Rename(CRegistry::MPRegistryTemp, CRegistry::MPRegistry)) {
        if (hasBackup) {
            (void)Rename(CRegistry::MPRegistryOld, CRegistry::MPRegistry);
        }
        return;
    }
    const int error = SyncDirectory(paths::kRegistryDirectory);
    if (error != 0) {
        Debug.Print(1, "CRegistry: WARNING: Cannot flush \"%s\" (errno=%d: %s)\n",
                    paths::kRegistryDirectory, error, CErrorText(error).Get());
    }
    Debug.Print(2, "\nCRegistry::SaveTree MPRegistryTemp[%s] \t MPRegistry[%s]",
                CRegistry::MPRegistryTemp, CRegistry::MPRegistry);
}

}  // namespace

void CRegistry::SaveTree() {
    CRegistryState& state = RegistryState;
    if (!state.MIsDirty()) {
        return;
    }
    const CCancellationHold hold;  // destructors save
    const CCriticalSectionGuard guard(state.Lock());
    const std::uint64_t changes = state.Changes();
    if (!state.MIsDirty()) {
        return;  // another thread's save took this one's changes with it
    }
    if (!state.MIsSetup) {
        Debug.Print(1, "CRegistry: ERROR: Tree not saved, because it could not be read\n");
        return;
    }
    try {
        if (WriteNewTree()) {
            ReplaceTree();
        }
    } catch (const std::exception& failure) {
        Debug.Print(1, "CRegistry: ERROR: Cannot write \"%s\" (%s), tree not saved\n",
                    MPRegistryTemp, failure.what());
    }
    // Deliberate: also after a failure. The changes are then in memory only, until the next one.
    state.MarkSaved(changes);
}
