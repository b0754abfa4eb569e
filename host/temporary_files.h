// Files and directories being written under temporary names, and the child
// processes writing them: removed and stopped when a signal ends the process.
#pragma once

#include <cstddef>
#include <string>

namespace fxhost {

// Installs handlers for SIGINT, SIGTERM, SIGHUP and SIGQUIT that kill and reap
// the watched child processes, remove the pending temporary files and
// directories (WritePng's, a video writer's), then end the process as the
// signal would have. Signals the process ignores stay ignored.
void RemoveTemporaryFilesOnSignals();

// Temporary names that a writer fills and then renames into place. Up to 8
// may be pending at once; each is removed by the handlers above until it is
// committed or discarded.

// Creates an empty file beside path that no one else uses, NAME.tmp-PID-N
// followed by extension (".mp4", so that a program choosing a format by the
// name still sees it; or ""). Returns a descriptor (close-on-exec) or -1 with
// errno set.
int CreateTemporaryFile(const std::string& path, const std::string& extension, std::string& tempPath);
// Creates an empty directory: in dir when given, else in $TMPDIR or /tmp.
// Returns false with errno set on failure.
bool CreateTemporaryDirectory(const std::string& dir, std::string& tempPath);
// Renames a temporary file over path and forgets it; on failure removes it.
// 0 on success, -1 with errno set.
int CommitTemporary(const std::string& tempPath, const std::string& path);
// Removes a temporary file, or a directory with the files in it, and forgets it.
void DiscardTemporary(const std::string& tempPath);
// A child the handlers kill (SIGKILL) and reap before removing the files it
// may still be writing; at most 8 at once.
void WatchChild(int pid);
void UnwatchChild(int pid);

// The N-th temporary name for path: NAME.tmp-PID-N + extension beside it, or
// .fxhost.tmp-PID-N + extension there when that name would pass nameMax
// characters although NAME does not. nameStart is where NAME begins.
inline std::string TemporaryName(const std::string& path, size_t nameStart, unsigned long pid, unsigned n,
                                 const std::string& extension, size_t nameMax) {
    const std::string suffix = ".tmp-" + std::to_string(pid) + "-" + std::to_string(n) + extension;
    return path.size() - nameStart + suffix.size() <= nameMax ? path + suffix
                                                               : path.substr(0, nameStart) + ".fxhost" + suffix;
}

}  // namespace fxhost
