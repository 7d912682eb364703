#include <gtest/gtest.h>

#include "quillet/platform/path_inside.hpp"

namespace kelvor {
namespace {

TEST(PathInside, ComparesWholeComponents) {
    EXPECT_TRUE(pathInside("/home/ada", "/home/ada"));
    EXPECT_TRUE(pathInside("/home/ada/x/y", "/home/ada"));
    EXPECT_FALSE(pathInside("/home/ada2", "/home/ada")) << "a longer name is a sibling";
    EXPECT_FALSE(pathInside("/home/ad", "/home/ada"));
    EXPECT_FALSE(pathInside("/home", "/home/ada"));
}

TEST(PathInside, TheRootHoldsEveryAbsolutePath) {
    EXPECT_TRUE(pathInside("/", "/"));
    EXPECT_TRUE(pathInside("/etc/passwd", "/"));
    EXPECT_FALSE(pathInside("relative", "/"));
    EXPECT_FALSE(pathInside("/", "/home"));
}

}  // namespace
}  // namespace kelvor
