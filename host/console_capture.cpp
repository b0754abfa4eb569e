#include "host/console_capture.h"

#ifdef _WIN32
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#else
#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/mman.h>
#include <unistd.h>
#endif

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/host_error.h"

namespace fxhost {

namespace {

[[noreturn]] void Fail(int error) {
    throw HostError(std::string("cannot capture the module's console output: ") + std::strerror(error));
}

#ifdef _WIN32

// The C library drops a buffer it fails to write, so a failed flush leaves
// nothing to reach the capture later; the stream's error flag stays set.
void FlushStandardOutput() { std::fflush(stdout); }

// An empty file in the temporary directory, deleted when its last handle
// closes; a descriptor in binary mode, or -1 with errno set.
int OpenCaptureFile() {
    char dir[MAX_PATH + 1];
    char name[MAX_PATH];
    const DWORD length = GetTempPathA(sizeof dir, dir);
    if (length == 0 || length > sizeof dir || GetTempFileNameA(dir, "fxc", 0, name) == 0) {
        errno = length > sizeof dir ? ENAMETOOLONG : EACCES;
        return -1;
    }
    const int file = ::_open(name, _O_RDWR | _O_BINARY | _O_TEMPORARY | _O_NOINHERIT);
    if (file < 0) {
        const int error = errno;
        DeleteFileA(name);
        errno = error;
    }
    return file;
}

// Whether descriptor fd is open.
bool IsOpen(int fd) { return ::_get_osfhandle(fd) != -1; }

void CloseFd(int fd) { ::_close(fd); }
void Dup2(int from, int to) { ::_dup2(from, to); }

#else

// A flush that fails may leave its text in the stream's buffer, from where
// the next flush would put it into the capture (or the capture's text into
// standard output); it is dropped. The stream's error flag stays set, so the
// failure is still reported.
void FlushStandardOutput() {
    if (std::fflush(stdout) != 0) __fpurge(stdout);
}

void CloseFd(int fd) { ::close(fd); }
void Dup2(int from, int to) { ::dup2(from, to); }

#endif

}  // namespace

#ifdef _WIN32

ConsoleCapture::ConsoleCapture() {
    int file = OpenCaptureFile();
    if (file < 0) Fail(errno);
    // Above the standard descriptors, so that putting 1 back never closes it.
    int held[3];
    int count = 0;
    while (file >= 0 && file <= 2 && count < 3) {
        held[count++] = file;
        file = ::_dup(file);
    }
    const int error = errno;
    for (int i = 0; i < count; ++i) ::_close(held[i]);
    if (file < 0) Fail(error);
    capture_ = file;
    FlushStandardOutput();
    if (IsOpen(1)) {
        saved_ = ::_dup(1);
        if (saved_ < 0) {
            const int dupError = errno;
            ::_close(capture_);
            capture_ = -1;
            Fail(dupError);
        }
    }
    if (::_dup2(capture_, 1) != 0) {
        const int dupError = errno;
        if (saved_ >= 0) ::_close(saved_);
        saved_ = -1;
        ::_close(capture_);
        capture_ = -1;
        Fail(dupError);
    }
    active_ = true;
}

std::string ConsoleCapture::finish() {
    if (capture_ < 0) return {};
    restore();
    std::string text;
    // Descriptor 1 shared the file position; read from the start.
    if (::_lseeki64(capture_, 0, SEEK_SET) == 0) {
        char block[4096];
        for (;;) {
            const int got = ::_read(capture_, block, sizeof block);
            if (got <= 0) break;
            text.append(block, static_cast<size_t>(got));
        }
    }
    ::_close(capture_);
    capture_ = -1;
    return text;
}

bool HoldClosedStandardDescriptors() {
    bool outputClosed = false;
    for (int fd = 0; fd <= 2; ++fd) {
        if (IsOpen(fd)) continue;
        if (fd == 1) outputClosed = true;
        const int null = ::_open("NUL", (fd == 2 ? _O_WRONLY : _O_RDONLY) | _O_BINARY);
        if (null >= 0 && null != fd) {
            ::_dup2(null, fd);
            ::_close(null);
        }
    }
    return outputClosed;
}

#else

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

#endif

ConsoleCapture::~ConsoleCapture() {
    restore();
    if (capture_ >= 0) CloseFd(capture_);
}

void ConsoleCapture::restore() {
    if (!active_) return;
    active_ = false;
    FlushStandardOutput();
    if (saved_ >= 0) {
        Dup2(saved_, 1);
        CloseFd(saved_);
        saved_ = -1;
    } else {
        CloseFd(1);
    }
}

std::string LastLine(const std::string& text) {
    const size_t end = text.find_last_not_of(" \t\r\n");
    if (end == std::string::npos) return {};
    const size_t newline = text.rfind('\n', end);
    const size_t start = newline == std::string::npos ? 0 : newline + 1;
    return text.substr(start, end + 1 - start);
}

}  // namespace fxhost
