#include "quillet/platform/path_inside.hpp"

#include <gtest/gtest.h>

#include <string>

namespace kelvor {
namespace {

TEST(PathInside, ComparesWholeComponents) {
    struct Case {
        std::string path;
        std::string folder;
        bool inside;
    };
    const Case cases[] = {
        {"/a/b", "/a/b", true},    {"/a/b/c", "/a/b", true},   {"/a/bc", "/a/b", false},
        {"/a", "/a/b", false},     {"/x", "/", true},          {"/", "/", true},
        {"/a/b-c", "/a/b", false}, {"/a/b/", "/a/b", true},    {"/a/b/c", "/a/b/", true},
        {"/ab", "/a", false},      {"relative", "/", false},   {"/a", "", false},
    };
    for (const Case& c : cases) EXPECT_EQ(pathInside(c.path, c.folder), c.inside) << c.path << " in " << c.folder;
}

}  // namespace
}  // namespace kelvor
