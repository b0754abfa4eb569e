#include "host/temporary_files.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace fxhost {

namespace {

constexpr int kCleanupSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr int kSlots = 8;

// What the signal handler cleans up. Slots are filled and emptied with the
// handled signals blocked, so the handler sees each whole.
struct PendingPath {
    std::atomic<bool> used{false};
    char path[PATH_MAX];
};
PendingPath g_pending[kSlots];
std::atomic<int> g_children[kSlots];
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

// Removes a file, or a directory and the files in it, with async-signal-safe
// calls only (getdents64 rather than readdir, which allocates).
void RemovePath(const char* path) {
    if (::unlink(path) == 0 || (errno != EISDIR && errno != EPERM)) return;
    const int dir = ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        alignas(8) char buffer[4096];
        for (;;) {
            const long got = ::syscall(SYS_getdents64, dir, buffer, sizeof buffer);
            if (got <= 0) break;
            for (long at = 0; at < got;) {
                struct Entry {
                    uint64_t inode;
                    int64_t offset;
                    unsigned short length;
                    unsigned char type;
                };
                Entry entry;
                std::memcpy(&entry, buffer + at, sizeof entry);
                const char* name = buffer + at + offsetof(Entry, type) + 1;
                if (std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0) ::unlinkat(dir, name, 0);
                at += entry.length;
            }
        }
        ::close(dir);
    }
    ::rmdir(path);
}

void OnCleanupSignal(int sig) {
    for (auto& child : g_children) {
        const int pid = child.load();
        if (pid > 0) {
            ::kill(pid, SIGKILL);
            ::waitpid(pid, nullptr, 0);
        }
    }
    for (auto& slot : g_pending)
        if (slot.used.load()) RemovePath(slot.path);
    // Blocked while this handler runs, the signal is delivered again on
    // return, now with the default action.
    ::signal(sig, SIG_DFL);
    ::raise(sig);
}

class SignalsHeld {
public:
    SignalsHeld() {
        sigset_t set;
        sigemptyset(&set);
        for (int sig : kCleanupSignals) sigaddset(&set, sig);
        pthread_sigmask(SIG_BLOCK, &set, &old_);
    }
    ~SignalsHeld() { pthread_sigmask(SIG_SETMASK, &old_, nullptr); }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t old_;
};

// A free slot, or nullptr; called with the signals held.
PendingPath* FreeSlot() {
    for (auto& slot : g_pending)
        if (!slot.used.load()) return &slot;
    return nullptr;
}

void Forget(const std::string& tempPath) {
    for (auto& slot : g_pending) {
        if (slot.used.load() && tempPath == slot.path) {
            slot.used.store(false);
            return;
        }
    }
}

// Makes NAME.tmp-PID-N + extension beside path with make, which returns a
// descriptor, 1 for a directory, or -1 with errno set; records it for the
// signal handler.
template <class Make>
int MakeTemporary(const std::string& path, const std::string& extension, std::string& tempPath, Make make) {
    static std::atomic<unsigned> counter{0};
    const size_t slash = path.rfind('/');
    const size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
    for (int attempt = 0; attempt < 100; ++attempt) {
        tempPath = TemporaryName(path, nameStart, static_cast<unsigned long>(::getpid()), counter++, extension, NAME_MAX);
        if (tempPath.size() >= PATH_MAX) {
            errno = ENAMETOOLONG;
            return -1;
        }
        SignalsHeld held;
        PendingPath* slot = FreeSlot();
        if (!slot) {
            errno = EMFILE;
            return -1;
        }
        const int result = make(tempPath);
        if (result >= 0) {
            std::memcpy(slot->path, tempPath.c_str(), tempPath.size() + 1);
            slot->used.store(true);
            return result;
        }
        if (errno != EEXIST) return -1;
    }
    errno = EEXIST;
    return -1;
}

}  // namespace

void RemoveTemporaryFilesOnSignals() {
    for (int sig : kCleanupSignals) {
        struct sigaction old {};
        if (::sigaction(sig, nullptr, &old) != 0 || old.sa_handler == SIG_IGN) continue;
        struct sigaction action {};
        action.sa_handler = OnCleanupSignal;
        sigemptyset(&action.sa_mask);
        ::sigaction(sig, &action, nullptr);
    }
}

int CreateTemporaryFile(const std::string& path, const std::string& extension, std::string& tempPath) {
    return MakeTemporary(path, extension, tempPath, [](const std::string& name) {
        return ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    });
}

bool CreateTemporaryDirectory(const std::string& dir, std::string& tempPath) {
    std::string base = dir;
    if (base.empty()) {
        const char* tmp = std::getenv("TMPDIR");
        base = tmp && *tmp ? tmp : "/tmp";
    }
    return MakeTemporary(base + "/.fxhost", "", tempPath, [](const std::string& name) {
        return ::mkdir(name.c_str(), 0700) == 0 ? 1 : -1;
    }) >= 0;
}

int CommitTemporary(const std::string& tempPath, const std::string& path) {
    SignalsHeld held;
    const int result = std::rename(tempPath.c_str(), path.c_str());
    const int error = errno;
    if (result != 0) ::unlink(tempPath.c_str());
    Forget(tempPath);
    errno = error;
    return result;
}

void DiscardTemporary(const std::string& tempPath) {
    SignalsHeld held;
    RemovePath(tempPath.c_str());
    Forget(tempPath);
}

void WatchChild(int pid) {
    SignalsHeld held;
    for (auto& child : g_children) {
        if (child.load() == 0) {
            child.store(pid);
            return;
        }
    }
}

void UnwatchChild(int pid) {
    SignalsHeld held;
    for (auto& child : g_children)
        if (child.load() == pid) child.store(0);
}

}  // namespace fxhost
