#include "shell/log.h"

#include <cstdarg>
#include <cstdio>

#include "shell/module.h"

void LogToHost(const char* format, ...) {
    char text[1024];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    auto hostLog = reinterpret_cast<HostLogFn>(GetHostFunction(kHostLog));
    if (hostLog) hostLog(text);
}

void LogToConsole(const char* format, ...) {
    va_list args;
    va_start(args, format);
    vprintf(format, args);
    va_end(args);
}
