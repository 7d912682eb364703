#include "quillet/scan/harness.hpp"

namespace kelvor {

int runScanSpeed(const Settings&, const std::vector<std::string>&) { return 0; }

}  // namespace kelvor
