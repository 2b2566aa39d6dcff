// The file that tells other programs the daemon's process id.
#pragma once

// Writes the calling process's id, decimal, and a newline. A file that cannot be written is no
// error.
void WritePidFile();
void RemovePidFile();
