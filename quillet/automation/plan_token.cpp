#include "quillet/automation/plan_token.hpp"

#include <random>

#include "quillet/log/log.hpp"
#include "quillet/platform/random.hpp"

namespace kelvor {

std::string planTokenFromBytes(const unsigned char (&bytes)[16]) {
    static constexpr char HEX[] = "0123456789abcdef";
    std::string token = "plan_";
    for (unsigned char byte : bytes) {
        token += HEX[byte >> 4];
        token += HEX[byte & 0x0f];
    }
    return token;
}

std::string newPlanToken() {
    unsigned char bytes[16] = {};
    Result<void> filled = secureRandomBytes(bytes, sizeof bytes);
    if (!filled) {
        KelvorLog::write("mcp", "the secure random source failed, plan token drawn from the general generator: " +
                                    filled.error().describe());
        std::random_device seed;
        std::mt19937_64 generator(seed());
        std::uniform_int_distribution<int> byte(0, 255);
        for (unsigned char& value : bytes) value = static_cast<unsigned char>(byte(generator));
    }
    return planTokenFromBytes(bytes);
}

}  // namespace kelvor
