#include "quillet/platform/rename.hpp"

#include <stdio.h>

namespace kelvor {

Result<void> renameNoReplace(const std::string& from, const std::string& to) {
    if (::renamex_np(from.c_str(), to.c_str(), RENAME_EXCL) != 0) return errnoError("rename " + from + " to " + to);
    return {};
}

}  // namespace kelvor
