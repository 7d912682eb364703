#include "quillet/rules/owners.hpp"

#include <gtest/gtest.h>

#include "quillet/rules/catalog.hpp"

namespace kelvor {
namespace {

TEST(OwnerKind, DecidedInTableOrder) {
    const std::pair<const char*, OwnerKind> cases[] = {
        {"Build artifacts", OwnerKind::myFiles},  // also a dynamic tool owner: my files wins
        {"iOS", OwnerKind::myFiles},              // also a catalog owner
        {"Slack", OwnerKind::app},       {"macOS Caches", OwnerKind::app}, {"HuggingFace", OwnerKind::tool},
        {"Kelvor", OwnerKind::tool},     {"conda", OwnerKind::tool},       {"Nobody Knows This", OwnerKind::myFiles},
        {"", OwnerKind::myFiles},        {"slack", OwnerKind::myFiles},  // names are exact
    };
    for (const auto& [owner, kind] : cases) EXPECT_EQ(int(ownerKind(owner)), int(kind)) << owner;
}

TEST(OwnerKind, EveryOwnerWithABundleIdentifierOwnsCatalogRowsForTheGuardToFindItsApp) {
    for (const auto& [owner, bundle] : OWNER_APP_IDS) EXPECT_TRUE(CATALOG_OWNERS.contains(owner)) << owner;
}

}  // namespace
}  // namespace kelvor
