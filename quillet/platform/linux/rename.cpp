#include "quillet/platform/rename.hpp"

#include <fcntl.h>
#include <stdio.h>

namespace kelvor {

Result<void> renameNoReplace(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) != 0)
        return errnoError("rename " + from + " to " + to);
    return {};
}

}  // namespace kelvor
