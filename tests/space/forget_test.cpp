#include "quillet/space/forget.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "quillet/quarantine/ledger.hpp"
#include "quillet/platform/time_stamps.hpp"
#include "quillet/quarantine/quarantine_store.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::TempHome;
using testing::writeFile;

testing::RunOutput forget(const std::vector<std::string>& extra = {}) { return testing::runKelvorMode("forget", extra); }

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(Forget, OnlyTheExclusionListAndTheQuarantineLeaveNothingToClear) {
    TempHome home;
    fs::create_directories(home / "Models");
    writeFile(home / ".kelvor/excluded.json", nlohmann::json::array({home / "Models"}).dump());
    QuarantineEntry held;
    held.originalPath = home / "project/build";
    held.quarantinePath = QUARANTINE_DIR() + "/build";
    held.owner = "Tool";
    held.component = "build output";
    held.bytes = 5;
    held.when = isoStamp(WallClock::now());
    writeFile(held.quarantinePath + "/a.o", "bytes");
    writeFile(LEDGER_PATH(), ledgerLine(held) + "\n");
    const std::string ledgerBefore = readFile(LEDGER_PATH());
    for (const std::vector<std::string>& extra : {std::vector<std::string>{}, std::vector<std::string>{"--apply"}}) {
        auto run = forget(extra);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(run.out, "What Kelvor keeps about itself\n"
                           "  Kept, and not offered here:\n"
                           "    1 path(s) you asked never to be offered — that decision is yours, not a trace of "
                           "ours — edit it with --mode exclude\n"
                           "    1 item(s) in quarantine — they and their ledger are the way back to removed data\n"
                           "  Nothing to clear.\n");
    }
    EXPECT_TRUE(fs::exists(home / ".kelvor/excluded.json"));
    EXPECT_EQ(readFile(LEDGER_PATH()), ledgerBefore);
    EXPECT_EQ(readFile(QUARANTINE_DIR() + "/build/a.o"), "bytes");
}

TEST(Forget, OnlyAFinishedUndoRecordIsOffered) {
    TempHome home;
    writeFile(home / ".kelvor/undo/20261101-100000-aaaa.done.json", "[]");
    writeFile(home / ".kelvor/undo/20261102-100000-bbbb.json", "[]");
    auto listed = forget();
    EXPECT_EQ(listed.status, 0) << listed.err;
    EXPECT_TRUE(contains(listed.out, "  1 finished undo record(s)  (")) << listed.out;
    EXPECT_TRUE(contains(listed.out, "    1 unfinished undo record(s) — still needed to undo those cleans\n")) << listed.out;
    EXPECT_TRUE(contains(listed.out, " would be cleared. Add --apply to do it.\n")) << listed.out;
    EXPECT_TRUE(fs::exists(home / ".kelvor/undo/20261101-100000-aaaa.done.json"));
    auto applied = forget({"--apply"});
    EXPECT_EQ(applied.status, 0) << applied.err;
    EXPECT_TRUE(contains(applied.out, "  cleared ")) << applied.out;
    EXPECT_FALSE(fs::exists(home / ".kelvor/undo/20261101-100000-aaaa.done.json"));
    EXPECT_EQ(readFile(home / ".kelvor/undo/20261102-100000-bbbb.json"), "[]");
}

TEST(Forget, ApplyDeletesExactlyWhatWasListed) {
    TempHome home;
    const std::string data = home / ".kelvor";
    const std::vector<std::string> records = {"history.jsonl", "kelvor.log",   "kelvor.log.1",  "index.json",
                                              "apps.json",     "digests.json", "gone-seen.json"};
    for (const std::string& name : records) writeFile(data + "/" + name, "record");
    // The person's and the program's other files sit beside them and must survive.
    const std::vector<std::string> others = {"defaults.json", "archives/photos.tar.zst", "moved-marks.jsonl", "notes.txt"};
    for (const std::string& name : others) writeFile(data + "/" + name, "{}\n");
    Forgettable found = forgettable();
    std::vector<std::string> listed;
    for (const ForgettableItem& item : found.items) listed.insert(listed.end(), item.files.begin(), item.files.end());
    for (const std::string& name : records)
        EXPECT_NE(std::find(listed.begin(), listed.end(), data + "/" + name), listed.end()) << name;
    ASSERT_EQ(found.keeping.size(), 1u);
    EXPECT_EQ(found.keeping[0].why, "your data, compressed — nothing else holds it");
    auto applied = forget({"--apply"});
    EXPECT_EQ(applied.status, 0) << applied.err;
    for (const std::string& name : records) EXPECT_FALSE(fs::exists(data + "/" + name)) << name;
    for (const std::string& name : others) EXPECT_EQ(readFile(data + "/" + name), "{}\n") << name;
    EXPECT_TRUE(contains(forget().out, "  Nothing to clear.\n"));
}

TEST(Forget, ALinkUnderARecordNameIsNeitherOfferedNorFollowed) {
    TempHome home;
    writeFile(home / "precious.txt", "keep me");
    fs::create_directories(home / ".kelvor");
    ASSERT_EQ(::symlink((home / "precious.txt").c_str(), (home / ".kelvor/digests.json").c_str()), 0);
    EXPECT_TRUE(forgettable().items.empty());
    EXPECT_EQ(forget({"--apply"}).status, 0);
    EXPECT_EQ(readFile(home / "precious.txt"), "keep me");
}

TEST(Forget, AFileReplacedByAFolderBeforeClearingIsReportedAndTheRestCleared) {
    TempHome home;
    writeFile(home / ".kelvor/index.json", "index");
    writeFile(home / ".kelvor/apps.json", "apps");
    Forgettable found = forgettable();
    ASSERT_EQ(found.items.size(), 2u);
    fs::remove(home / ".kelvor/index.json");
    writeFile(home / ".kelvor/index.json/inside", "not ours");
    ForgetOutcome outcome = clearForgetItems(found.items);
    ASSERT_EQ(outcome.failed.size(), 1u);
    EXPECT_EQ(outcome.failed[0].path, home / ".kelvor/index.json");
    EXPECT_EQ(readFile(home / ".kelvor/index.json/inside"), "not ours");
    EXPECT_FALSE(fs::exists(home / ".kelvor/apps.json"));
    EXPECT_GT(outcome.freed, 0u);
}

}  // namespace
}  // namespace kelvor
