// What the module prints on standard output, caught around a call. The
// module prints with the C library's printf into the process's own standard
// output; while a capture lives, descriptor 1 leads to an anonymous file in
// memory (a temporary file on Windows), and the text is read back when the
// capture ends.
#pragma once

#include <string>

namespace fxhost {

class ConsoleCapture {
public:
    // Flushes standard output and turns descriptor 1 to the capture. Throws
    // HostError when no capture file can be made; standard output is then
    // as it was.
    ConsoleCapture();
    // Puts descriptor 1 back, if finish() has not.
    ~ConsoleCapture();
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;

    // Flushes, puts descriptor 1 back exactly as it was (closed, if it was)
    // and returns what was written meanwhile. Once only; later calls give "".
    std::string finish();

private:
    void restore();

    int saved_ = -1;        // the original descriptor 1, or -1 when it was closed
    int capture_ = -1;      // the capture file
    bool active_ = false;   // descriptor 1 leads to the capture
};

// With a standard descriptor closed, the next file opened would take its
// number and get what was meant for it. /dev/null holds each closed one
// instead, read-only for standard output so that writing there still fails
// (EBADF) and is reported. True when standard output was closed.
bool HoldClosedStandardDescriptors();

// The last line of text that holds anything, without its line end; "" when
// there is none.
std::string LastLine(const std::string& text);

}  // namespace fxhost
