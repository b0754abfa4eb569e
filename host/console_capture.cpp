#include "host/console_capture.h"

#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/host_error.h"

namespace fxhost {

namespace {

[[noreturn]] void Fail(int error) {
    throw HostError(std::string("cannot capture the module's console output: ") + std::strerror(error));
}

// A flush that fails may leave its text in the stream's buffer, from where
// the next flush would put it into the capture (or the capture's text into
// standard output); it is dropped. The stream's error flag stays set, so the
// failure is still reported.
void FlushStandardOutput() {
    if (std::fflush(stdout) != 0) __fpurge(stdout);
}

}  // namespace

ConsoleCapture::ConsoleCapture() {
    int file = ::memfd_create("fxhost-console", MFD_CLOEXEC);
    if (file < 0) Fail(errno);
    // Above the standard descriptors, so that putting 1 back never closes it.
    if (file <= 2) {
        const int moved = ::fcntl(file, F_DUPFD_CLOEXEC, 3);
        const int error = errno;
        ::close(file);
        if (moved < 0) Fail(error);
        file = moved;
    }
    capture_ = file;
    // A stream not written yet takes its buffering from the file it first
    // writes to; it is settled by the real standard output, so that a
    // terminal still gets whole lines as they come.
    if (__fbufsize(stdout) == 0 && ::isatty(STDOUT_FILENO)) std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    FlushStandardOutput();
    saved_ = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if ((saved_ < 0 && errno != EBADF) || ::dup2(capture_, STDOUT_FILENO) < 0) {
        const int error = errno;
        if (saved_ >= 0) ::close(saved_);
        ::close(capture_);
        Fail(error);
    }
    active_ = true;
}

ConsoleCapture::~ConsoleCapture() {
    restore();
    if (capture_ >= 0) ::close(capture_);
}

void ConsoleCapture::restore() {
    if (!active_) return;
    active_ = false;
    FlushStandardOutput();
    if (saved_ >= 0) {
        ::dup2(saved_, STDOUT_FILENO);
        ::close(saved_);
        saved_ = -1;
    } else {
        ::close(STDOUT_FILENO);
    }
}

std::string ConsoleCapture::finish() {
    if (capture_ < 0) return {};
    restore();
    std::string text;
    char block[4096];
    for (off_t at = 0;;) {
        const ssize_t got = ::pread(capture_, block, sizeof block, at);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        text.append(block, static_cast<size_t>(got));
        at += got;
    }
    ::close(capture_);
    capture_ = -1;
    return text;
}

std::string LastLine(const std::string& text) {
    const size_t end = text.find_last_not_of(" \t\r\n");
    if (end == std::string::npos) return {};
    const size_t newline = text.rfind('\n', end);
    const size_t start = newline == std::string::npos ? 0 : newline + 1;
    return text.substr(start, end + 1 - start);
}

bool HoldClosedStandardDescriptors() {
    bool outputClosed = false;
    for (int fd = 0; fd <= 2; ++fd) {
        if (::fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
        if (fd == STDOUT_FILENO) outputClosed = true;
        const int null = ::open("/dev/null", fd == STDERR_FILENO ? O_WRONLY : O_RDONLY);
        if (null >= 0 && null != fd) {
            ::dup2(null, fd);
            ::close(null);
        }
    }
    return outputClosed;
}

}  // namespace fxhost
