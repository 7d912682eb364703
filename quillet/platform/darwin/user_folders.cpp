#include "quillet/platform/user_folders.hpp"

namespace kelvor {

// The Mac's own folders (Desktop, Documents, Library, the Trash...) sit at the top of the home
// folder under fixed names, which the survey already leaves out by name.
std::vector<std::string> personalFolders(const std::string&) { return {}; }

}  // namespace kelvor
