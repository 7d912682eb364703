#include "quillet/platform/desktop.hpp"

namespace kelvor {

Desktop thisDesktop() { return Desktop::linuxDesktop; }

}  // namespace kelvor
