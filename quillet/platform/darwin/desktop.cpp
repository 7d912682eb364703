#include "quillet/platform/desktop.hpp"

namespace kelvor {

Desktop thisDesktop() { return Desktop::mac; }

}  // namespace kelvor
