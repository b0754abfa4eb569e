// The module's two log sinks: the host's log and the standard output stream.
#pragma once

// Formats into 1024 bytes (longer texts are cut to 1023 characters) and hands
// the text to host function 18. Adds no line end.
void LogToHost(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Plain formatted print to standard output.
void LogToConsole(const char* format, ...) __attribute__((format(printf, 1, 2)));
