#pragma once
// One-time plan tokens: unguessable names for the plans the automation server writes.
#include <string>

namespace kelvor {

// "plan_" and 32 lowercase hex digits encoding 16 bytes from the secure random source; should that
// source fail, each byte comes from the general generator instead, so a plan can still be offered.
std::string newPlanToken();

// The token for 16 given bytes.
std::string planTokenFromBytes(const unsigned char (&bytes)[16]);

}  // namespace kelvor
