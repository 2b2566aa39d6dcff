// Whole files and folders for tests. A failure that a test does not ask about fails that test.
#pragma once

#include <string>
#include <string_view>

// The whole file, also of /proc and /sys; empty when it cannot be read.
[[nodiscard]] std::string ReadFile(const std::string& path);

// Makes the file, or empties it first, and the folders above it.
void WriteFile(const std::string& path, std::string_view text);

// Makes `path` and every folder above it that is missing.
void MakeDirectories(const std::string& path);

// Whether anything stands at `path`, a dangling link included.
[[nodiscard]] bool Exists(const std::string& path);

// Removes the file, link or whole folder at `path`, if any.
void Remove(const std::string& path);
