#include <gtest/gtest.h>

#include "quillet/rules/catalog.hpp"
#include "quillet/rules/owners.hpp"

namespace kelvor {
namespace {

const char* kindName(OwnerKind kind) {
    switch (kind) {
        case OwnerKind::myFiles: return "my files";
        case OwnerKind::app: return "app";
        case OwnerKind::tool: return "tool";
    }
    return "?";
}

TEST(OwnerKind, DecidedInTableOrder) {
    struct Case {
        const char* owner;
        OwnerKind kind;
    };
    const Case cases[] = {
        {"Build artifacts", OwnerKind::myFiles},  // also a dynamic tool owner: my files wins
        {"iOS", OwnerKind::myFiles},              // also a catalog owner
        {"Slack", OwnerKind::app},
        {"Google Chrome", OwnerKind::app},
        {"macOS Caches", OwnerKind::app},
        {"HuggingFace", OwnerKind::tool},
        {"Xcode", OwnerKind::tool},
        {"Kelvor", OwnerKind::tool},
        {"conda", OwnerKind::tool},
        {"Nobody Knows This", OwnerKind::myFiles},
        {"", OwnerKind::myFiles},
        {"slack", OwnerKind::myFiles},  // names are exact
    };
    for (const Case& c : cases) EXPECT_STREQ(kindName(ownerKind(c.owner)), kindName(c.kind)) << c.owner;
}

TEST(OwnerTables, SizesAndEntries) {
    EXPECT_EQ(OWNER_APP_IDS.size(), 18u);
    EXPECT_EQ(APP_OWNERS.size(), 8u);
    EXPECT_EQ(DYNAMIC_TOOL_OWNERS.size(), 9u);
    EXPECT_EQ(MY_FILE_OWNERS.size(), 9u);
    EXPECT_EQ(OWNER_APP_IDS->at("Cursor"), "com.todesktop.230313mzl4w4u92");
    EXPECT_EQ(OWNER_APP_IDS->at("OrbStack"), "dev.kdrag0n.MacVirt");
    // Every owner with a bundle identifier owns catalog rows, so the guard can find its app.
    for (const auto& [owner, bundle] : OWNER_APP_IDS) EXPECT_TRUE(CATALOG_OWNERS.contains(owner)) << owner;
}

}  // namespace
}  // namespace kelvor
