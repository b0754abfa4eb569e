// The state of the case being measured. The library calls a case's function
// several times while it settles on an iteration count; the state outlives
// those calls and is released when another case starts, so each case builds
// its frames and instances once and only one case holds memory at a time.
#pragma once

#include <memory>
#include <string>

namespace bench {

class CaseState {
public:
    virtual ~CaseState() = default;
};

namespace detail {
std::unique_ptr<CaseState>& ActiveState();
std::string& ActiveCase();
}  // namespace detail

// The state of caseName, made by make() (which returns std::unique_ptr<T>)
// when the case is not the active one. Exceptions from make() pass through.
template <class T, class Make>
T& StateFor(const std::string& caseName, Make make) {
    if (detail::ActiveCase() != caseName || !detail::ActiveState()) {
        detail::ActiveState().reset();  // the previous case's memory goes first
        detail::ActiveCase() = caseName;
        detail::ActiveState() = make();
    }
    return static_cast<T&>(*detail::ActiveState());
}

// Drops the active state; due before the libraries it uses are unloaded.
void ReleaseCaseState();

}  // namespace bench
