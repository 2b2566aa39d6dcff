// Opens files to be written, without being led to another file by what somebody planted there.
#pragma once

#include <sys/types.h>

#include "base/unique_fd.h"

// Both open as open(2) does, close-on-exec, but never wait for the other end of a FIFO. A symbolic
// link in the last place is followed when root or this process's user made it, as administrators
// do; anybody else's is refused, whatever the kernel's fs.protected_* settings say. Directories on
// the way are not looked at: who can rename them decides where the path leads.
// 0, or an errno number: EISDIR for a directory, EACCES for what belongs to others, EMLINK for what
// has a second name.

// For a file of the caller's choice, which may be anybody's. EINVAL for what is no regular file.
[[nodiscard]] int OpenRegularFile(const char* path, int flags, mode_t mode, CUniqueFd& file);

// For a file that this process makes and overwrites: it must be root's or this process's user's, or
// its owner could read and cut it; and a second name of it would be somebody's other file. With
// O_TRUNC in the flags it is emptied once it is known to be so. It may be a FIFO or a device that
// root put there.
[[nodiscard]] int OpenOwnFile(const char* path, int flags, mode_t mode, CUniqueFd& file);
