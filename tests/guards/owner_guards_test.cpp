#include "quillet/guards/owner_guards.hpp"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace kelvor {
namespace {

TEST(OwnerGuards, EveryRowIsOneOwnerThatSomethingCanMatchButNoSharedSystemFolder) {
    std::set<std::string_view> seen;
    for (const OwnerGuard& row : OWNER_GUARDS) {
        EXPECT_TRUE(seen.insert(row.owner).second) << "twice: " << row.owner;
        EXPECT_EQ(ownerGuard(row.owner), &row);
        EXPECT_FALSE(row.appFragments.empty() && row.linuxAppFragments.empty() && row.toolNames.empty() &&
                     row.libraryTokens.empty())
            << row.owner << " can never match a process";
        for (const auto* list : {&row.appFragments, &row.linuxAppFragments, &row.toolNames, &row.libraryTokens})
            for (std::string_view entry : *list) EXPECT_FALSE(entry.empty()) << row.owner;
        // A fragment like "/usr/bin/" would make every program on the machine an owner's app.
        for (std::string_view fragment : row.linuxAppFragments)
            for (std::string_view shared : {"/usr/bin/", "/usr/lib/", "/usr/share/", "/opt/", "/snap/", "/app/", "/bin/"})
                EXPECT_NE(fragment, shared) << row.owner;
    }
    EXPECT_EQ(ownerGuard("Nobody's Tool"), nullptr);
}

}  // namespace
}  // namespace kelvor
