#include "quillet/platform/result.hpp"

#include <cstring>

namespace kelvor {

std::string Error::describe() const {
    if (code == 0) return context;
    return context + ": " + std::strerror(code);
}

Error errnoError(std::string context, int code) { return Error{code, std::move(context)}; }

}  // namespace kelvor
