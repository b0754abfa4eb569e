#include <windows.h>

#include <string>

#include "host/shared_library.h"

namespace fxhost {

namespace {

std::string LastErrorText() {
    const DWORD code = GetLastError();
    char* text = nullptr;
    const DWORD length = FormatMessageA(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
        0, reinterpret_cast<char*>(&text), 0, nullptr);
    std::string message = length ? std::string(text, length) : "error " + std::to_string(code);
    if (text) LocalFree(text);
    while (!message.empty() && (message.back() == '\n' || message.back() == '\r' || message.back() == ' '))
        message.pop_back();
    return message;
}

}  // namespace

void* OpenLibrary(const std::string& path, bool keep, std::string& why) {
    HMODULE library = LoadLibraryExA(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!library) {
        why = path + ": " + LastErrorText();
        return nullptr;
    }
    if (keep) {
        // Pinned: FreeLibrary no longer unloads it.
        HMODULE pinned = nullptr;
        GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                           reinterpret_cast<LPCSTR>(library), &pinned);
    }
    return reinterpret_cast<void*>(library);
}

void* FindFunction(void* library, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}

void CloseLibrary(void* library) { FreeLibrary(static_cast<HMODULE>(library)); }

std::string RunningProgramPath() {
    std::string path(MAX_PATH, '\0');
    for (;;) {
        const DWORD length = GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) return "";
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

unsigned long ProcessId() { return GetCurrentProcessId(); }

}  // namespace fxhost
