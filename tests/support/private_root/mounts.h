// Mounts and directories of the tree that is being built: each call works or ends the process.
#pragma once

#include <string>

void MakeDirectory(const std::string& path, unsigned mode = 0755);
// Makes `path` and every directory above it that is missing.
void MakeDirectories(const std::string& path);
void MakeEmptyFile(const std::string& path);
// What stands at `path` already stays.
void MakeLink(const std::string& target, const std::string& path);

void MountTmpfs(const std::string& path, const std::string& data = "mode=755");
// `source` appears at `target` too, with all that is mounted below it.
void Bind(const std::string& source, const std::string& target);
// The mount at `path` and all below it; flags that are set already stay.
void MakeReadOnly(const std::string& path);
