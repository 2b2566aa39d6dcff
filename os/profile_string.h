// The two profile operations: read from and write to an INI file by its path.
//
// Nothing is cached: every read opens, scans and closes the file, every write edits it in place.
// There is no lock; one thread at a time uses a file. The format and its oddities are described in
// docs/services.md. A thread cancellation takes effect after the operation.
#pragma once

#include "base/export.h"

// Reads into `buffer`, `size` characters with the terminator, and returns the number of characters
// placed there:
//   section and key given  the key's value, or `defaultValue` (null: an empty text) when the file,
//                          the section or the key is missing or the value is empty;
//   section null           the names of all sections, each with a terminator, one more at the end;
//                          the last terminator is not counted;
//   key null               the keys of the section, likewise.
// A value that does not fit is cut and gives size - 1, a list size - 2: a caller takes either as
// perhaps cut. 0 at once when `buffer` or `fileName` is null.
MORLA_API unsigned int GetPrivateProfileString(const char* section, const char* key,
                                               const char* defaultValue, char* buffer,
                                               unsigned int size, const char* fileName);

// Sets the key; with `value` null deletes the key, with `key` null the whole section. A file that
// is missing is made for a set. False when there is nothing to delete in the file, or when it
// cannot be read or changed; a missing file has nothing to delete and gives true.
MORLA_API bool WritePrivateProfileString(const char* section, const char* key, const char* value,
                                         const char* fileName);
