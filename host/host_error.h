// The one exception type of the reference host: a message fit to show a user.
#pragma once

#include <stdexcept>
#include <string>

namespace fxhost {

class HostError : public std::runtime_error {
public:
    explicit HostError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace fxhost
