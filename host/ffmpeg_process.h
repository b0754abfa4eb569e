// Child processes for the ffmpeg and ffprobe commands: descriptors that close
// themselves, a child that is killed and reaped if it is not waited for, and
// its standard error kept in memory and read back line by line as it grows.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace fxhost {

// An owned descriptor.
class Fd {
public:
    Fd() = default;
    explicit Fd(int fd) : fd_(fd) {}
    ~Fd() { reset(); }
    Fd(Fd&& other) noexcept : fd_(other.release()) {}
    Fd& operator=(Fd&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;

    int get() const { return fd_; }
    int release() {
        const int fd = fd_;
        fd_ = -1;
        return fd;
    }
    void reset(int fd = -1);

private:
    int fd_ = -1;
};

// A pipe, both ends close-on-exec. Throws HostError.
void MakePipe(Fd& readEnd, Fd& writeEnd);

// One line of ffmpeg's log as printed with -loglevel level+...:
// "[context @ 0x...] [level] text" or "[level] text".
struct LogLine {
    std::string context;  // e.g. "Parsed_showinfo_0", "libx264"; empty when none
    std::string level;    // "error", "warning", "info" ...; empty when not marked
    std::string text;
};
LogLine ParseLogLine(const std::string& line);
bool IsErrorLevel(const std::string& level);  // error, fatal or panic

class ChildProcess {
public:
    // Starts argv[0] from PATH in a process group of its own (so that a
    // terminal's ^C reaches only this process, which ends the child), with
    // standard input and output on in and out (-1: /dev/null), SIGPIPE at
    // its default and no signals blocked. Throws HostError when it cannot run.
    ChildProcess(const std::vector<std::string>& argv, int in, int out);
    ~ChildProcess();  // kills and reaps the child unless wait() has
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Waits for the child's end: its exit code, or 128 + the signal that ended it.
    int wait();
    // Ends the child now (SIGKILL) and reaps it.
    void kill();
    // The lines of standard error completed since the last call, without
    // their newlines. With all, also a last line without a newline (use once
    // the child has ended).
    std::vector<std::string> newLines(bool all = false);

private:
    pid_t pid_ = -1;
    int status_ = -1;
    Fd err_;
    off_t readTo_ = 0;    // bytes of err_ taken as lines so far
    off_t released_ = 0;  // bytes of err_ given back to the system
    std::string partial_;
};

// Runs argv to its end with standard output collected into out; standard
// error's lines go to err. Returns the exit code as wait() does. Throws HostError.
int RunCommand(const std::vector<std::string>& argv, std::string& out, std::vector<std::string>& err);

// The text of the most telling error line of a log: the last at error level
// or above from a component, else the last at error level, else the last
// line at all; empty when there is none.
std::string LastError(const std::vector<std::string>& lines);

}  // namespace fxhost
