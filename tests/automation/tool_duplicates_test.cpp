#include <gtest/gtest.h>

#include "quillet/automation/tool_duplicates.hpp"
#include "quillet/i18n/text.hpp"
#include "tests/automation/automation_fixture.hpp"
#include "tests/support/model_server_stand_in.hpp"

namespace kelvor {
namespace {

constexpr std::uint64_t MIB = 1 << 20;

TEST(ToolDuplicates, ReportsIdenticalCopiesWithTheirKeeperAndMovesNothing) {
    testing::TempHome home;
    const std::string first = home / "Downloads/llama-3.2-3b-q4.gguf";
    const std::string second = home / "projects/bot/models/llama-3.2-3b-q4.gguf";
    const std::string sameSizeOtherBytes = home / "projects/bot/models/other.gguf";
    testing::writeWeightsFile(first, 2 * MIB);
    testing::writeWeightsFile(second, 2 * MIB);
    testing::writeFile(sameSizeOtherBytes, "GGUF" + std::string(2 * MIB - 4, 'q'));
    testing::writeWeightsFile(home / "small/tiny.gguf", MIB / 2);
    testing::writeWeightsFile(home / "small/tiny-copy.gguf", MIB / 2);

    std::vector<OperationProgress> progress;
    OperationContext context([&](const OperationProgress& each) { progress.push_back(each); });
    Json payload = duplicatesReport(home.path(), 1, context);

    EXPECT_EQ(payload["candidates"]["sweep"], 3) << "files under the minimum are not candidates";
    ASSERT_EQ(payload["groups"].size(), 1u) << payload.dump(1);
    const Json& group = payload["groups"][0];
    EXPECT_EQ(group["bytes"], 2 * MIB);
    EXPECT_EQ(group["keeper"], first) << "the byte-wise smaller path stays";
    ASSERT_EQ(group["copies"].size(), 2u);
    EXPECT_EQ(group["copies"][1]["path"], second);
    EXPECT_EQ(payload["total_reclaimable"], 2 * MIB);
    // Report only: every copy is where it was.
    for (const std::string& path : {first, second, sameSizeOtherBytes})
        EXPECT_TRUE(std::filesystem::exists(path)) << path;

    ASSERT_GE(progress.size(), 2u);
    for (std::size_t i = 1; i < progress.size(); ++i) EXPECT_GT(progress[i].progress, progress[i - 1].progress);
    EXPECT_EQ(progress.back().progress, progress.back().total.value_or(-1)) << "the last report says it is done";
}

TEST(ToolDuplicates, AMinimumBelowOneMegabyteIsRaisedSoEmptyFilesAreNeverDuplicates) {
    testing::TempHome home;
    testing::writeFile(home / "a/empty.bin", "");
    testing::writeFile(home / "b/empty.bin", "");
    testing::writeFile(home / "a/small.pt", std::string(1000, 'p'));
    testing::writeFile(home / "b/small.pt", std::string(1000, 'p'));
    for (double asked : {0.0, -5.0, 0.001, std::nan("")}) {
        OperationContext context;
        Json payload = duplicatesReport(home.path(), asked, context);
        EXPECT_EQ(payload["min_mb"], 1.0) << asked;
        EXPECT_TRUE(payload["groups"].empty()) << asked;
        EXPECT_EQ(payload["for_the_assistant"], trf(S::dupesToolNoneBriefing)) << asked;
    }
}

TEST(ToolDuplicatesThroughTheServer, FindsTheCopiesUnderTheHomeFolderAndReportsProgressFirst) {
    testing::TempHome home;
    testing::writeWeightsFile(home / "models/a.safetensors", 3 * MIB);
    testing::writeWeightsFile(home / "backup/a.safetensors", 3 * MIB);
    std::vector<Json> lines = testing::callThroughMode(
        {{"name", "kelvor_duplicates"}, {"arguments", {{"min_mb", "2"}}}, {"_meta", {{"progressToken", "dupes-1"}}}});
    ASSERT_GE(lines.size(), 2u);
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
        EXPECT_EQ(lines[i]["method"], "notifications/progress") << lines[i].dump();
        EXPECT_EQ(lines[i]["params"]["progressToken"], "dupes-1");
    }
    ASSERT_EQ(lines.back()["result"]["isError"], false) << lines.back();
    Json payload = testing::toolPayload(lines.back());
    EXPECT_EQ(payload["min_mb"], 2.0) << "a number sent as text";
    ASSERT_EQ(payload["groups"].size(), 1u) << payload.dump(1);
    EXPECT_EQ(payload["groups"][0]["keeper"], home / "backup/a.safetensors");
    EXPECT_TRUE(payload.contains("_trust"));
}

}  // namespace
}  // namespace kelvor
