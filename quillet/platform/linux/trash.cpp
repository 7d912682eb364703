#include "quillet/platform/trash.hpp"

#include "quillet/platform/home.hpp"

namespace kelvor {

std::string homeTrashFolder() {
    std::string dataHome = environment("XDG_DATA_HOME");
    // The freedesktop.org rule: an unset or relative XDG_DATA_HOME means the default.
    if (dataHome.empty() || dataHome.front() != '/') dataHome = homeDir() + "/.local/share";
    return dataHome + "/Trash";
}

}  // namespace kelvor
