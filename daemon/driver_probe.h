// Asks the hardware-access kernel driver to describe itself, and reports the answer.
#pragma once

#include <cstdint>

#include "daemon/smbus_driver_info.h"
#include "daemon/version_record.h"

// Only reports: nothing depends on the answer, and a missing driver is no error. A driver that is
// newer than the daemon gives a warning.
void DiscoverSmbusDriverInfo();

// What the daemon says about itself in the request; an identity that is null or empty stays zero.
struct RequestorIdentity {
    ProgramVersion Version;
    const char* System;    // HX_SYSTEM
    const char* Os;        // HX_OS
    const char* Nickname;  // HX_NICKNAME
};
// `info` must be zero before.
void FillRequest(SmbusDriverInfo& info, const RequestorIdentity& identity);
