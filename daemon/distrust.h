// Names at level 1 what decides how the daemon runs and can be changed by others than root.
#pragma once

#include "base/trusted_path.h"

// Looks at the file and at every directory above it; `what` says whose path it is. Silent when all
// is root's, when it is not there, and while tracing is off.
void WarnOfWriters(const char* what, const char* path, PathKind kind);

// The trace configuration: the directory, and each file in it that the trace may take.
void WarnOfConfigurationWriters();
