#include "quillet/scan/fmt_bytes.hpp"

#include <gtest/gtest.h>

namespace kelvor {
namespace {

TEST(FmtBytes, DecimalUnitsWithOneDigit) {
    struct Case {
        std::uint64_t input;
        const char* expected;
    };
    const Case cases[] = {
        {0, "0.0 B"},
        {999, "999.0 B"},
        {1000, "1.0 KB"},
        {1536000, "1.5 MB"},
        {999950, "1000.0 KB"},  // the unit is chosen before rounding
        {999999999, "1000.0 MB"},
        {1000000000, "1.0 GB"},
        {123456789012, "123.5 GB"},
        {1000000000000, "1.0 TB"},
        {1000000000000000, "1000.0 TB"},
        {1500000000000000, "1500.0 TB"},
        {UINT64_MAX, "18446744.1 TB"},
    };
    for (const Case& c : cases) EXPECT_EQ(fmtBytes(c.input), c.expected) << c.input;
}

}  // namespace
}  // namespace kelvor
