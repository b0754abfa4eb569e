#include <dlfcn.h>
#include <unistd.h>

#include <filesystem>

#include "host/shared_library.h"

namespace fxhost {

void* OpenLibrary(const std::string& path, bool keep, std::string& why) {
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | (keep ? RTLD_NODELETE : 0));
    if (!library) why = dlerror();
    return library;
}

void* FindFunction(void* library, const char* name) { return dlsym(library, name); }

void CloseLibrary(void* library) { dlclose(library); }

std::string RunningProgramPath() {
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : self.string();
}

unsigned long ProcessId() { return static_cast<unsigned long>(getpid()); }

}  // namespace fxhost
