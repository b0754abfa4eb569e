#include "bench/case_state.h"

namespace bench {

namespace detail {

std::unique_ptr<CaseState>& ActiveState() {
    static std::unique_ptr<CaseState> state;
    return state;
}

std::string& ActiveCase() {
    static std::string name;
    return name;
}

}  // namespace detail

void ReleaseCaseState() {
    detail::ActiveState().reset();
    detail::ActiveCase().clear();
}

}  // namespace bench
