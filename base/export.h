// Marks what a user of the host-services library sees; everything else is hidden.
#pragma once

// On a class: all its operations are exported from libmorla_host.so, those of private sections too.
// The headers of sdk/, which stand alone, have the same under the name MORLA_EXPORT.
#define MORLA_API __attribute__((visibility("default")))
