// The restore centre as a person uses it: real cleans on stores the test builds, then
// `kelvor --mode restore` over what they left, with the Trash of the temporary home.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <thread>

#include <nlohmann/json.hpp>

#include "tests/clean/clean_fixture.hpp"
#include "tests/support/aged_tree.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/run_program.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::ageTree;
namespace fs = std::filesystem;
using namespace testing;

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

RunOutput restore(const std::vector<std::string>& extra = {}) { return runKelvorMode("restore", extra); }

std::string today() {
    std::time_t now = std::time(nullptr);
    char text[16];
    std::strftime(text, sizeof text, "%Y-%m-%d", std::gmtime(&now));
    return text;
}

// Sets every time in the tree three hours back, so the recent-write guard leaves it alone.
// The number of the listed row whose line names `path`, or 0.
int rowNumber(const std::string& listing, const std::string& path) {
    std::size_t at = listing.find("] " + path + "  (");
    if (at == std::string::npos) return 0;
    std::size_t start = listing.rfind('\n', at) + 1;
    return std::stoi(listing.substr(start, at - start));
}

// The lines of the row numbered `number`: its head and its way back.
std::string rowText(const std::string& listing, int number) {
    std::size_t start = listing.find("  " + std::to_string(number) + ". [");
    if (start == std::string::npos) return "";
    std::size_t end = listing.find("\n  " + std::to_string(number + 1) + ". [", start);
    return listing.substr(start, end == std::string::npos ? std::string::npos : end - start);
}

// Two cleans: the first moves two verified caches to the Trash, the second (a second later, so
// the two are told apart by time) quarantines two unverified ones.
struct TwoCleans {
    TempHome home;
    std::string hub = home / ".cache/huggingface/hub";
    std::string npm = home / ".npm/_cacache";
    std::string deno = home / ".cache/deno";
    std::string coursier = home / ".cache/coursier/v1";
    std::string trash = home / ".local/share/Trash/files";
    std::map<std::string, TreeState> before;
    std::string listing;

    TwoCleans() {
        writeFile(hub + "/models--tiny/blobs/b", std::string("weights\0\x01\x02", 10) + std::string(5000, 'w'));
        writeFile(npm + "/content-v2/sha512/x", std::string(12345, 'n'));
        ::chmod((npm + "/content-v2/sha512/x").c_str(), 0640);
        writeFile(deno + "/deps/https/mod.ts", "export {}\n");
        writeFile(coursier + "/https/repo/lib.jar", std::string("PK\0\x03", 4) + std::string(700, 'c'));
        for (const std::string& store : {hub, npm, deno, coursier}) {
            ageTree(store);
            before[store] = snapshotTree(store);
        }
        RunOutput first = runKelvorMode("clean", {"--apply", "--yes"});
        EXPECT_EQ(first.status, 0) << first.out << first.err;
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        RunOutput second = runKelvorMode("clean", {"--apply", "--yes", "--include-unverified"});
        EXPECT_EQ(second.status, 0) << second.out << second.err;
        listing = restore().out;
    }
};

TEST(RestoreCentre, ListsEachItemOnceRefusesAnAmbiguousFragmentAndRestoresByteForByteButNeverThroughALink) {
    TwoCleans cleans;
    const std::string& out = cleans.listing;
    EXPECT_TRUE(out.starts_with("Restore centre — recorded ways back (these outlive the Trash)\n")) << out;
    for (const std::string& store : {cleans.hub, cleans.npm, cleans.deno, cleans.coursier}) {
        std::size_t first = out.find(store + "  (");
        ASSERT_NE(first, std::string::npos) << store << "\n" << out;
        EXPECT_EQ(out.find(store + "  (", first + 1), std::string::npos) << "listed twice: " << store << "\n" << out;
    }
    for (const std::string& held : {cleans.deno, cleans.coursier}) {
        int number = rowNumber(out, held);
        EXPECT_LE(number, 2) << "the newer clean comes first\n" << out;
        std::string row = rowText(out, number);
        EXPECT_TRUE(contains(row, "[Quarantined] ")) << row;
        EXPECT_TRUE(contains(row, "restores in place · moves to the Trash in 7 days")) << row;
    }
    for (const std::string& trashed : {cleans.hub, cleans.npm}) {
        std::string row = rowText(out, rowNumber(out, trashed));
        EXPECT_TRUE(contains(row, "[In Trash] ")) << row;
        EXPECT_TRUE(contains(row, "one undo puts it back")) << row;
        EXPECT_TRUE(contains(row, " · " + today())) << row;
    }

    std::vector<int> rows;
    for (const std::string& store : {cleans.deno, cleans.coursier, cleans.hub}) rows.push_back(rowNumber(out, store));
    std::sort(rows.begin(), rows.end());
    RunOutput ambiguous = restore({"--path", "/.cache/"});
    EXPECT_EQ(ambiguous.status, 2);
    EXPECT_EQ(ambiguous.err, "✗ /.cache/ names 3 rows — use the number shown: " + std::to_string(rows[0]) + ", " +
                                 std::to_string(rows[1]) + ", " + std::to_string(rows[2]) + "\n");
    for (const std::string& store : {cleans.hub, cleans.deno, cleans.coursier}) EXPECT_FALSE(fs::exists(store));

    std::string secondPath = rowNumber(out, cleans.deno) == 2 ? cleans.deno : cleans.coursier;
    RunOutput held = restore({"--path", "2"});
    EXPECT_EQ(held.status, 0) << held.out << held.err;
    EXPECT_TRUE(contains(held.out, "  restored 1, failed 0\n")) << held.out;
    EXPECT_EQ(snapshotTree(secondPath), cleans.before[secondPath]);
    RunOutput fromTrash = restore({"--path", "_cacache"});
    EXPECT_EQ(fromTrash.status, 0) << fromTrash.out << fromTrash.err;
    EXPECT_EQ(snapshotTree(cleans.npm), cleans.before[cleans.npm]);
    // Each row comes back once: it leaves the list, the others stay.
    std::string after = restore().out;
    EXPECT_FALSE(contains(after, secondPath + "  (")) << after;
    EXPECT_FALSE(contains(after, cleans.npm + "  (")) << after;
    EXPECT_TRUE(contains(after, cleans.hub + "  (")) << after;

    // Never into a folder that became a link: the one the hub came out of now leads elsewhere.
    const std::string elsewhere = cleans.home / "elsewhere";
    fs::create_directories(elsewhere);
    fs::remove_all(cleans.home / ".cache/huggingface");
    fs::create_directory_symlink(elsewhere, cleans.home / ".cache/huggingface");
    RunOutput linked = restore({"--path", "huggingface"});
    EXPECT_EQ(linked.status, 1);
    EXPECT_TRUE(contains(linked.err, "is now a link")) << linked.err;
    EXPECT_TRUE(fs::is_empty(elsewhere));
    EXPECT_TRUE(fs::exists(cleans.trash + "/hub"));
}

TEST(RestoreCentre, DiscardEmptiesExactlyItsRowAndNeverATrashEntryKelvorDidNotMove) {
    TwoCleans cleans;
    writeFile(cleans.trash + "/other.txt", "someone else's");
    RunOutput run = restore({"--path", std::to_string(rowNumber(cleans.listing, cleans.hub)), "--discard"});
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_FALSE(fs::exists(cleans.trash + "/hub")) << run.out;
    EXPECT_TRUE(fs::exists(cleans.trash + "/_cacache/content-v2/sha512/x"));
    EXPECT_EQ(readFile(cleans.trash + "/other.txt"), "someone else's");
    std::string after = restore().out;
    EXPECT_FALSE(contains(after, cleans.hub)) << after;
    EXPECT_TRUE(contains(after, cleans.npm)) << after;
    EXPECT_TRUE(contains(after, cleans.deno)) << after;

    // Another program emptied the npm entry and the person trashed something else of that name:
    // neither discarding nor restoring that row touches it.
    const std::string entry = cleans.trash + "/_cacache";
    fs::remove_all(entry);
    writeFile(entry, "not Kelvor's");
    RunOutput discard = restore({"--path", std::to_string(rowNumber(after, cleans.npm)), "--discard"});
    EXPECT_EQ(discard.status, 1) << discard.out;
    EXPECT_TRUE(contains(discard.err, "✗ " + cleans.npm + " — ")) << discard.err;
    EXPECT_EQ(readFile(entry), "not Kelvor's");
    RunOutput back = restore({"--path", "_cacache"});
    EXPECT_EQ(back.status, 1);
    EXPECT_TRUE(contains(back.err, "the Trash entry is not the one Kelvor moved")) << back.err;
    EXPECT_FALSE(fs::exists(cleans.npm));

}

TEST(RestoreCentre, ARowEmptiedFromTheTrashByAnotherProgramIsShownGoneWithTheDateFirstSeen) {
    TwoCleans cleans;
    RunOutput emptied = runProgram({"/usr/bin/trash-empty"}, "y\n");
    ASSERT_EQ(emptied.status, 0) << emptied.err;
    ASSERT_FALSE(fs::exists(cleans.trash + "/hub"));
    std::string out = restore().out;
    std::string row = rowText(out, rowNumber(out, cleans.hub));
    EXPECT_TRUE(contains(row, "gone — not where the record says since " + today())) << out;
    // The first sighting is kept, not replaced by a later listing's date.
    nlohmann::json seen = nlohmann::json::parse(readFile(cleans.home / ".kelvor/gone-seen.json"));
    ASSERT_EQ(seen.size(), 2u) << seen.dump();
    for (auto& [id, when] : seen.items()) when = "2026-02-03T04:05:06Z";
    writeFile(cleans.home / ".kelvor/gone-seen.json", seen.dump());
    out = restore().out;
    EXPECT_TRUE(contains(rowText(out, rowNumber(out, cleans.hub)), "since 2026-02-03")) << out;
    RunOutput run = restore({"--path", "huggingface"});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(contains(run.err, "not in the Trash any more")) << run.err;
    EXPECT_TRUE(contains(run.out, "  restored 0, failed 1\n")) << run.out;
    // The held items are Kelvor's own and no Trash program reaches them.
    EXPECT_TRUE(contains(out, "[Quarantined] " + cleans.deno)) << out;
}

TEST(RestoreCentre, DiscardWithoutARowSaysHowToNameOne) {
    TempHome home;
    RunOutput run = restore({"--discard"});
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(run.err.starts_with("usage: kelvor --mode restore --path ")) << run.err;
}

TEST(RestoreCentre, AGoneRowComesBackByItsRecordedCommandAndOnlyWhenItIsReallyBack) {
    TempHome home;
    const std::string hub = home / ".cache/huggingface/hub";
    writeFile(hub + "/models--tiny/blobs/b", "weights");
    ageTree(hub);
    RunOutput clean = runKelvorMode("clean", {"--apply", "--yes"});
    ASSERT_EQ(clean.status, 0) << clean.out << clean.err;
    // The hub row records the command that fetches it again, and is emptied from the Trash since.
    for (const auto& file : fs::directory_iterator(home / ".kelvor/undo")) {
        if (file.path().extension() != ".json") continue;
        nlohmann::json record = nlohmann::json::parse(readFile(file.path()));
        for (auto& row : record["items"]) row["undoCmd"] = {"hf", "download", "tiny"};
        writeFile(file.path(), record.dump());
    }
    fs::remove_all(home / ".local/share/Trash/files/hub");

    RunOutput listed = restore();
    EXPECT_TRUE(contains(listed.out, "[Gone] " + hub)) << listed.out;
    EXPECT_TRUE(contains(listed.out, "the recorded command brings it back: hf download tiny")) << listed.out;
    EXPECT_TRUE(contains(listed.out, "first seen missing " + today())) << listed.out;

    home.setEnv("PATH", "/nonexistent");
    RunOutput missing = restore({"--path", "1"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(contains(missing.err, "hf is not installed here")) << missing.err;

    // A stand-in for the `hf` tool, first on PATH, that runs each script in turn.
    const std::string bin = home / "bin";
    home.setEnv("PATH", bin + ":/usr/bin:/bin");
    const std::string fetch = "[ \"$1 $2\" = 'download tiny' ] && mkdir -p '" + hub + "/models--tiny'\n";
    const std::pair<std::string, std::string> runs[] = {
        {"exit 0\n", "exited 0 but nothing is back at " + hub + " — record kept"},
        {"exit 3\n", "the command failed"},
        {fetch, ""}};
    for (const auto& [script, refusal] : runs) {
        writeFile(bin + "/hf", "#!/bin/sh\n" + script);
        ::chmod(bin.c_str(), 0755);
        ::chmod((bin + "/hf").c_str(), 0755);
        RunOutput run = restore({"--path", "1"});
        EXPECT_EQ(run.status, refusal.empty() ? 0 : 1) << script << run.err;
        EXPECT_TRUE(contains(run.err, refusal)) << script << run.err;
    }
    EXPECT_TRUE(fs::is_directory(hub + "/models--tiny"));
    EXPECT_TRUE(contains(restore().out, "nothing to restore"));
}

}  // namespace
}  // namespace kelvor
