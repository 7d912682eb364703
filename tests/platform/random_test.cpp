// The secure random source against the real backend.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "quillet/platform/random.hpp"

namespace kelvor {
namespace {

TEST(SecureRandom, FillsEveryByteAndTwoDrawsDiffer) {
    // 4096 bytes all left at one value would mean the buffer was never written.
    std::array<unsigned char, 4096> first{}, second{};
    ASSERT_TRUE(secureRandomBytes(first.data(), first.size()));
    ASSERT_TRUE(secureRandomBytes(second.data(), second.size()));
    EXPECT_NE(first, second);
    EXPECT_FALSE(std::all_of(first.begin(), first.end(), [](unsigned char b) { return b == 0; }));
    EXPECT_TRUE(secureRandomBytes(first.data(), 0));
}

}  // namespace
}  // namespace kelvor
