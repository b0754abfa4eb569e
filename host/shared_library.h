// Loading a shared library and finding a function in it, and where the
// running program lives: dlopen on Linux, LoadLibrary on Windows.
#pragma once

#include <string>

namespace fxhost {

// The module's file name on this system.
#ifdef _WIN32
inline constexpr const char* kModuleFileName = "effects.dll";
#else
inline constexpr const char* kModuleFileName = "libeffects.so";
#endif

// Null with why filled in when the library cannot be loaded. With keep, the
// library's code stays mapped until the process ends, whatever CloseLibrary
// is asked.
void* OpenLibrary(const std::string& path, bool keep, std::string& why);
void* FindFunction(void* library, const char* name);
void CloseLibrary(void* library);

// The running program's file, or "" when the system does not say.
std::string RunningProgramPath();
// This process's id, to keep names of different processes apart.
unsigned long ProcessId();

}  // namespace fxhost
