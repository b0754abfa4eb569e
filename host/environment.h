// Setting and removing an environment variable, on Linux and Windows.
#pragma once

#include <cstdlib>

namespace fxhost {

inline void SetEnvironment(const char* name, const char* value) {
#ifdef _WIN32
    _putenv_s(name, value);
#else
    setenv(name, value, 1);
#endif
}

inline void UnsetEnvironment(const char* name) {
#ifdef _WIN32
    _putenv_s(name, "");  // an empty value removes it
#else
    unsetenv(name);
#endif
}

}  // namespace fxhost
