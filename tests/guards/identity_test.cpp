#include <gtest/gtest.h>

#include "quillet/guards/guards.hpp"

namespace kelvor {
namespace {

TEST(ClaimedByAnother, AClaimCoversItselfAndWhatLiesBelowItCaseIgnored) {
    const std::set<std::string> claims = {"com.google.Chrome", "org.mozilla"};
    EXPECT_TRUE(claimedByAnother("com.google.chrome", claims));
    EXPECT_TRUE(claimedByAnother("com.google.Chrome.helper", claims));
    EXPECT_TRUE(claimedByAnother("ORG.MOZILLA.firefox", claims));
    EXPECT_FALSE(claimedByAnother("com.google.Chromecast", claims)) << "a longer name is another app";
    EXPECT_FALSE(claimedByAnother("com.google", claims)) << "a parent of a claim is not claimed";
    EXPECT_FALSE(claimedByAnother("anything", {""}));
}

TEST(IdentityChangedNote, SaysWhatChangedSinceTheConfirmation) {
    const PathIdentity folder{.dev = 1, .ino = 42, .isDir = true};
    EXPECT_EQ(identityChangedNote("/opt/App", folder, "/opt/App", folder), std::nullopt);
    EXPECT_EQ(identityChangedNote("/opt/App", folder, "/opt/App", std::nullopt),
              "it is no longer where it was when you confirmed — nothing was touched");
    EXPECT_EQ(identityChangedNote("/opt/App", folder, "/opt/App2", folder),
              "it is no longer where it was when you confirmed — nothing was touched");
    EXPECT_EQ(identityChangedNote("/opt/App", folder, "/opt/App", PathIdentity{.dev = 1, .ino = 43, .isDir = true}),
              "this is a different copy than the one you confirmed — it was replaced in the meantime, so nothing was "
              "touched");
    EXPECT_EQ(identityChangedNote("/opt/App", folder, "/opt/App", PathIdentity{.dev = 1, .ino = 42, .isDir = false}),
              "this is a different app than the one you confirmed — nothing was touched");
}

}  // namespace
}  // namespace kelvor
