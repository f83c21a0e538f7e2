// Questions about a path. Symbolic links are followed; what cannot be looked at counts as not there. Nothing is logged.
#pragma once

// True when there is anything at this path.
[[nodiscard]] bool orin_fileExists(const char* path);

// True for a regular file; not for a directory, device, socket or pipe.
[[nodiscard]] bool orin_isRegularFile(const char* path);

[[nodiscard]] bool orin_isDirectory(const char* path);
