#include "host/temporary_files.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <atomic>
#include <cerrno>
#include <cstring>

namespace fxhost {

namespace {

constexpr int kSlots = 8;
// The longest name the ANSI file functions take, with its terminating null.
constexpr size_t kPathMax = MAX_PATH;
constexpr size_t kNameMax = 255;

// What the console control handler cleans up. The handler runs on a thread
// of its own, so the slots are guarded by a lock; a lock that needs no
// destructor, as the handler may run while the process is ending.
struct PendingPath {
    bool used = false;
    char path[kPathMax];
};
PendingPath g_pending[kSlots];
SRWLOCK g_lock = SRWLOCK_INIT;
// Set by the handler: the process is ending, no new temporaries are made.
bool g_ending = false;

class LockHeld {
public:
    LockHeld() { AcquireSRWLockExclusive(&g_lock); }
    ~LockHeld() { ReleaseSRWLockExclusive(&g_lock); }
    LockHeld(const LockHeld&) = delete;
    LockHeld& operator=(const LockHeld&) = delete;
};

int ErrnoFor(DWORD error) {
    switch (error) {
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
        return EEXIST;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
        return ENOENT;
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_CURRENT_DIRECTORY:
        return EACCES;
    case ERROR_WRITE_PROTECT:
        return EROFS;
    case ERROR_FILENAME_EXCED_RANGE:
        return ENAMETOOLONG;
    case ERROR_INVALID_NAME:
        return EINVAL;
    case ERROR_DIRECTORY:
        return ENOTDIR;
    case ERROR_DIR_NOT_EMPTY:
        return ENOTEMPTY;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
        return ENOSPC;
    case ERROR_TOO_MANY_OPEN_FILES:
        return EMFILE;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
        return ENOMEM;
    case ERROR_NOT_SAME_DEVICE:
        return EXDEV;
    default:
        return EIO;
    }
}

// Removes a file, or a directory and the files in it.
void RemovePath(const char* path) {
    if (DeleteFileA(path)) return;
    const DWORD attributes = GetFileAttributesA(path);
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_DIRECTORY)) return;
    const std::string dir(path);
    WIN32_FIND_DATAA entry;
    const HANDLE find = FindFirstFileA((dir + "\\*").c_str(), &entry);
    if (find != INVALID_HANDLE_VALUE) {
        do {
            if (std::strcmp(entry.cFileName, ".") != 0 && std::strcmp(entry.cFileName, "..") != 0)
                DeleteFileA((dir + "\\" + entry.cFileName).c_str());
        } while (FindNextFileA(find, &entry));
        FindClose(find);
    }
    RemoveDirectoryA(path);
}

// Ctrl+C, Ctrl+Break or the console closing: removes the pending temporaries
// and lets the next handler, in the end the default one, end the process. A
// file still open is deleted when the process's handles close.
BOOL WINAPI OnConsoleControl(DWORD event) {
    if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT || event == CTRL_CLOSE_EVENT) {
        LockHeld held;
        g_ending = true;
        for (auto& slot : g_pending) {
            if (slot.used) RemovePath(slot.path);
            slot.used = false;
        }
    }
    return FALSE;
}

// A free slot, or nullptr; called with the lock held.
PendingPath* FreeSlot() {
    for (auto& slot : g_pending)
        if (!slot.used) return &slot;
    return nullptr;
}

void Forget(const std::string& tempPath) {
    for (auto& slot : g_pending) {
        if (slot.used && tempPath == slot.path) {
            slot.used = false;
            return;
        }
    }
}

bool IsSeparator(char c) { return c == '/' || c == '\\'; }

// Makes NAME.tmp-PID-N + extension beside path with make, which returns a
// descriptor, 1 for a directory, or -1 with errno set; records it for the
// control handler.
template <class Make>
int MakeTemporary(const std::string& path, const std::string& extension, std::string& tempPath, Make make) {
    static std::atomic<unsigned> counter{0};
    const size_t slash = path.find_last_of("/\\");
    const size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
    for (int attempt = 0; attempt < 100; ++attempt) {
        tempPath = TemporaryName(path, nameStart, GetCurrentProcessId(), counter++, extension, kNameMax);
        if (tempPath.size() >= kPathMax) {
            errno = ENAMETOOLONG;
            return -1;
        }
        LockHeld held;
        if (g_ending) {
            errno = EINTR;
            return -1;
        }
        PendingPath* slot = FreeSlot();
        if (!slot) {
            errno = EMFILE;
            return -1;
        }
        const int result = make(tempPath);
        if (result >= 0) {
            std::memcpy(slot->path, tempPath.c_str(), tempPath.size() + 1);
            slot->used = true;
            return result;
        }
        if (errno != EEXIST) return -1;
    }
    errno = EEXIST;
    return -1;
}

}  // namespace

void RemoveTemporaryFilesOnSignals() {
    // With Ctrl+C ignored (SetConsoleCtrlHandler(NULL, TRUE) by this process
    // or its parent) the handler never sees it, so it stays ignored.
    static const bool installed = SetConsoleCtrlHandler(OnConsoleControl, TRUE) != 0;
    (void)installed;
}

int CreateTemporaryFile(const std::string& path, const std::string& extension, std::string& tempPath) {
    return MakeTemporary(path, extension, tempPath, [](const std::string& name) {
        // Shared for deletion, so that the control handler can remove the
        // file while a writer still has it open. Not inherited by children.
        const HANDLE handle = CreateFileA(name.c_str(), GENERIC_WRITE,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                          CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (handle == INVALID_HANDLE_VALUE) {
            errno = ErrnoFor(GetLastError());
            return -1;
        }
        const int fd = _open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_WRONLY | _O_BINARY | _O_NOINHERIT);
        if (fd < 0) {
            const int error = errno;
            CloseHandle(handle);
            DeleteFileA(name.c_str());
            errno = error;
        }
        return fd;
    });
}

bool CreateTemporaryDirectory(const std::string& dir, std::string& tempPath) {
    std::string base = dir;
    if (base.empty()) {
        char buffer[MAX_PATH + 1];
        const DWORD length = GetTempPathA(sizeof buffer, buffer);
        if (length == 0 || length > sizeof buffer) {
            errno = length == 0 ? ErrnoFor(GetLastError()) : ENAMETOOLONG;
            return false;
        }
        base.assign(buffer, length);
    }
    if (!IsSeparator(base.back())) base += '\\';
    return MakeTemporary(base + ".fxhost", "", tempPath, [](const std::string& name) {
        if (CreateDirectoryA(name.c_str(), nullptr)) return 1;
        errno = ErrnoFor(GetLastError());
        return -1;
    }) >= 0;
}

int CommitTemporary(const std::string& tempPath, const std::string& path) {
    LockHeld held;
    int result = 0;
    int error = 0;
    if (!MoveFileExA(tempPath.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING)) {
        result = -1;
        error = ErrnoFor(GetLastError());
        DeleteFileA(tempPath.c_str());
    }
    Forget(tempPath);
    errno = error;
    return result;
}

void DiscardTemporary(const std::string& tempPath) {
    LockHeld held;
    RemovePath(tempPath.c_str());
    Forget(tempPath);
}

// No child processes are started on Windows.
void WatchChild(int) {}
void UnwatchChild(int) {}

}  // namespace fxhost
