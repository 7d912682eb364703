#include "quillet/platform/trash.hpp"

#include "quillet/platform/home.hpp"

namespace kelvor {

std::string homeTrashFolder() { return homeDir() + "/.Trash"; }

}  // namespace kelvor
