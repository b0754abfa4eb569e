#include "host/ffmpeg_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/host_error.h"
#include "host/picture_io.h"

extern char** environ;

namespace fxhost {

namespace {

// Standard error read so far is given back to the system in steps of this,
// so that a long clip's log does not pile up in memory.
constexpr off_t kReleaseStep = off_t(1) << 20;

class SpawnSetup {
public:
    SpawnSetup() {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attr);
    }
    ~SpawnSetup() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attr);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attr;
};

}  // namespace

void Fd::reset(int fd) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
}

void MakePipe(Fd& readEnd, Fd& writeEnd) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) throw HostError(std::string("cannot make a pipe: ") + std::strerror(errno));
    readEnd.reset(fds[0]);
    writeEnd.reset(fds[1]);
}

ChildProcess::ChildProcess(const std::vector<std::string>& argv, int in, int out) {
    err_.reset(::memfd_create("ffmpeg-log", MFD_CLOEXEC));
    if (err_.get() < 0) throw HostError(std::string("cannot run ") + argv[0] + ": " + std::strerror(errno));
    SpawnSetup setup;
    if (in >= 0) posix_spawn_file_actions_adddup2(&setup.actions, in, 0);
    else posix_spawn_file_actions_addopen(&setup.actions, 0, "/dev/null", O_RDONLY, 0);
    if (out >= 0) posix_spawn_file_actions_adddup2(&setup.actions, out, 1);
    else posix_spawn_file_actions_addopen(&setup.actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&setup.actions, err_.get(), 2);
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigmask(&setup.attr, &none);
    posix_spawnattr_setsigdefault(&setup.attr, &defaults);
    posix_spawnattr_setpgroup(&setup.attr, 0);
    posix_spawnattr_setflags(&setup.attr, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    const int error = ::posix_spawnp(&pid_, args[0], &setup.actions, &setup.attr, args.data(), environ);
    if (error != 0) {
        pid_ = -1;
        throw HostError(std::string("cannot run ") + argv[0] + ": " + std::strerror(error));
    }
    WatchChild(pid_);
}

ChildProcess::~ChildProcess() { kill(); }

int ChildProcess::wait() {
    if (pid_ < 0) return status_;
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    UnwatchChild(pid_);
    pid_ = -1;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : WIFSIGNALED(status) ? 128 + WTERMSIG(status) : 255;
    return status_;
}

void ChildProcess::kill() {
    if (pid_ < 0) return;
    ::kill(pid_, SIGKILL);
    wait();
}

std::vector<std::string> ChildProcess::newLines(bool all) {
    std::vector<std::string> lines;
    char buffer[16384];
    for (;;) {
        const ssize_t got = ::pread(err_.get(), buffer, sizeof buffer, readTo_);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        readTo_ += got;
        for (ssize_t i = 0; i < got; ++i) {
            if (buffer[i] == '\n' || buffer[i] == '\r') {
                if (!partial_.empty()) lines.push_back(std::move(partial_));
                partial_.clear();
            } else {
                partial_ += buffer[i];
            }
        }
    }
    if (all && !partial_.empty()) {
        lines.push_back(std::move(partial_));
        partial_.clear();
    }
    // The child keeps writing at the end; what lies before is read and can go.
    if (readTo_ - released_ >= kReleaseStep) {
        const off_t upTo = readTo_ / kReleaseStep * kReleaseStep;
        if (::fallocate(err_.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, released_, upTo - released_) == 0)
            released_ = upTo;
    }
    return lines;
}

int RunCommand(const std::vector<std::string>& argv, std::string& out, std::vector<std::string>& err) {
    Fd readEnd, writeEnd;
    MakePipe(readEnd, writeEnd);
    ChildProcess child(argv, -1, writeEnd.get());
    writeEnd.reset();
    char buffer[16384];
    for (;;) {
        const ssize_t got = ::read(readEnd.get(), buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        out.append(buffer, size_t(got));
    }
    const int status = child.wait();
    err = child.newLines(true);
    return status;
}

}  // namespace fxhost
