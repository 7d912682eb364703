// The duplicate finder as a person runs it: the real binary on a home folder made by the test, and
// on a loop-mounted XFS with reflinks and a tmpfs without clones.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>
#include <thread>

#include "quillet/dupes/collectors.hpp"
#include "quillet/dupes/find_duplicates.hpp"
#include "quillet/dupes/run_dupes.hpp"
#include "quillet/platform/clone.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/run_program.hpp"
#include "tests/support/scoped_mount.hpp"
#include "tests/support/temp_home.hpp"
#include "tests/support/xfs_mount.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;

const std::vector<std::string> ENGLISH = {"LANG=C", "LANGUAGE=", "LC_ALL=", "SHELL=/nonexistent", "HF_HOME=",
                                          "HF_HUB_CACHE=", "XDG_CACHE_HOME=", "OLLAMA_MODELS="};

// `bytes` of random content, the same for the same seed.
std::string content(std::size_t bytes, unsigned seed) {
    std::mt19937 random(seed);
    std::string text(bytes, '\0');
    for (char& c : text) c = static_cast<char>(random());
    return text;
}

// Writes `bytes` at `path` three hours old, so the recent-write guard leaves it alone.
void writeModel(const std::string& path, const std::string& bytes) {
    testing::writeFile(path, bytes);
    fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(3));
}

std::uint64_t inode(const std::string& path) {
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0 ? st.st_ino : 0;
}

// The rows of the newest undo record in `home`.
nlohmann::json newestUndoRows(const TempHome& home) {
    std::string newest;
    for (const auto& entry : fs::directory_iterator(home / ".kelvor/undo"))
        if (entry.path().extension() == ".json" && entry.path().string() > newest) newest = entry.path().string();
    if (newest.empty()) return nlohmann::json::array();
    nlohmann::json record = nlohmann::json::parse(testing::readFile(newest), nullptr, false);
    if (record.is_object() && record.contains("items")) return record["items"];
    return record.is_array() ? record : nlohmann::json::array();
}

// `kelvor --mode dupes --root <root> --min-mb 1` and `extra`.
testing::RunOutput dupes(const std::string& root, std::vector<std::string> extra = {},
                         std::vector<std::string> environment = ENGLISH) {
    std::vector<std::string> args = {"--mode", "dupes", "--root", root, "--min-mb", "1"};
    args.insert(args.end(), extra.begin(), extra.end());
    return testing::runKelvorBinary(args, environment);
}

// Two Ollama blobs of the same `size` random bytes below `root` (the keeper's name sorts first),
// and the environment that makes `root`/ollama the Ollama store.
struct BlobPair {
    std::string keeper, copy, bytes;
    std::vector<std::string> environment = ENGLISH;
    BlobPair(const std::string& root, std::size_t size, unsigned seed)
        : keeper(root + "/ollama/blobs/sha256-" + std::string(64, '1')),
          copy(root + "/ollama/blobs/sha256-" + std::string(64, '2')),
          bytes(content(size, seed)) {
        writeModel(keeper, bytes);
        writeModel(copy, bytes);
        environment.push_back("OLLAMA_MODELS=" + root + "/ollama");
    }
};

TEST(RunDupes, StoreCopyStaysAndTheWildCopyGoesToTheTrashWithAnUndoRow) {
    TempHome home;
    std::string bytes = content(1'500'000, 2);
    std::string blob = home / ".ollama/models/blobs/sha256-0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";
    writeModel(blob, bytes);
    writeModel(home / "Downloads/llama.gguf", bytes);
    testing::writeFile(home / ".kelvor/digests.json", "{\"/x\": [1, 2, {{{ not json");
    auto report = dupes(home.path());
    EXPECT_EQ(report.status, 0) << report.err;
    EXPECT_NE(report.out.find("(unreferenced blob)"), std::string::npos) << report.out;
    EXPECT_NE(report.out.find("fully hashed 2/"), std::string::npos) << "a corrupt digest cache is ignored: " << report.out;
    EXPECT_NE(report.out.find("report only"), std::string::npos) << report.out;
    EXPECT_TRUE(fs::exists(home / "Downloads/llama.gguf")) << "a report moves nothing";
    auto apply = dupes(home.path(), {"--apply"});
    EXPECT_EQ(apply.status, 0) << apply.out << apply.err;
    EXPECT_NE(apply.out.find("fully hashed 0/"), std::string::npos) << "and rewritten for the next run: " << apply.out;
    EXPECT_TRUE(fs::exists(blob));
    EXPECT_FALSE(fs::exists(home / "Downloads/llama.gguf")) << apply.out;
    EXPECT_EQ(testing::readFile(home / ".local/share/Trash/files/llama.gguf"), bytes);
    nlohmann::json rows = newestUndoRows(home);
    ASSERT_EQ(rows.size(), 1u) << rows.dump();
    EXPECT_EQ(rows[0]["action"], "trash");
    EXPECT_EQ(rows[0]["originalPath"], home / "Downloads/llama.gguf");
    EXPECT_EQ(rows[0]["pending"], false);
    auto undo = testing::runKelvorBinary({"--undo"}, ENGLISH);
    EXPECT_EQ(testing::readFile(home / "Downloads/llama.gguf"), bytes) << undo.out;
}

TEST(RunDupes, AFreshlyWrittenCopyIsGuardedUnlessForced) {
    TempHome home;
    std::string bytes = content(1'050'000, 12);
    writeModel(home / "a/m.ckpt", bytes);
    testing::writeFile(home / "b/m.ckpt", bytes);  // written just now
    auto guarded = dupes(home.path(), {"--apply"});
    EXPECT_NE(guarded.out.find("— skipped: " + home / "b/m.ckpt"), std::string::npos) << guarded.out;
    EXPECT_TRUE(fs::exists(home / "b/m.ckpt"));
    EXPECT_FALSE(fs::exists(home / ".kelvor/undo") && !newestUndoRows(home).empty()) << "no move, no record";
    auto forced = dupes(home.path(), {"--apply", "--force"});
    EXPECT_FALSE(fs::exists(home / "b/m.ckpt")) << forced.out;
}

TEST(RunDupes, StoreCopiesAreNotTouchedWithoutDedupe) {
    TempHome home;
    std::string bytes = content(1'100'000, 4);
    std::string blob = home / ".ollama/models/blobs/sha256-" + std::string(64, '1');
    std::string hf = home / ".cache/huggingface/hub/models--org--name/blobs/" + std::string(64, '2');
    writeModel(blob, bytes);
    writeModel(hf, bytes);
    auto apply = dupes(home.path(), {"--apply"});
    EXPECT_NE(apply.out.find("every copy lives inside a tool store"), std::string::npos) << apply.out;
    EXPECT_NE(apply.out.find("org/name"), std::string::npos) << apply.out;
    EXPECT_TRUE(fs::exists(blob));
    EXPECT_TRUE(fs::exists(hf));
}

TEST(RunDupes, AFileChangedAfterTheComparisonLeavesItsWholeGroupAlone) {
    TempHome home;
    std::string bytes = content(1'100'000, 6);
    writeModel(home / "a/m.gguf", bytes);
    writeModel(home / "b/m.gguf", bytes);
    writeModel(home / "c/m.gguf", bytes);
    DigestCache cache(home / "cache.json");
    int hashed = 0;
    std::uint64_t hashedBytes = 0;
    std::vector<DupeGroup> groups =
        findDuplicates(collectWildCopies(home.path(), 1, [](std::string_view) { return false; }), cache, hashed,
                       hashedBytes);
    ASSERT_EQ(groups.size(), 1u);
    std::string changed = bytes;
    changed[500] ^= 1;
    writeModel(home / "c/m.gguf", changed);  // same size, other bytes
    DupesApplied applied = applyDupes(groups, Dedupe::no, GuardMode::force);
    ASSERT_EQ(applied.lines.size(), 1u);
    EXPECT_NE(applied.lines[0].find("changed since it was compared — group left alone:"), std::string::npos)
        << applied.lines[0];
    EXPECT_TRUE(fs::exists(home / "b/m.gguf")) << "the unchanged redundant copy stays too";
    EXPECT_TRUE(fs::exists(home / "c/m.gguf"));
    EXPECT_EQ(applied.trashed, 0);
}

TEST(RunDupes, DedupeOnXfsClonesTheStoreCopyAndUndoPutsBackEveryOriginalThatStillMatches) {
    TempHome home;
    testing::XfsMount xfs(home / "xfs.img", home / "xfs");
    if (!xfs.mounted()) GTEST_SKIP() << xfs.reason();
    BlobPair overwritten(home / "xfs", 2'000'000, 9);
    std::string bytes = content(4'000'000, 8);
    // Both are store copies: the byte-wise smaller path stays.
    std::string keeper = home / "xfs/hf/models--org--m/blobs/" + std::string(64, '4');
    std::string copy = home / "xfs/ollama/blobs/sha256-" + std::string(64, '3');
    writeModel(keeper, bytes);
    writeModel(copy, bytes);
    std::uint64_t originalInode = inode(copy);
    std::vector<std::string> environment = overwritten.environment;
    environment.push_back("HF_HUB_CACHE=" + home / "xfs/hf");
    auto apply = dupes(home / "xfs", {"--apply", "--dedupe"}, environment);
    EXPECT_NE(apply.out.find("clone-merged: " + copy), std::string::npos) << apply.out;
    EXPECT_EQ(testing::readFile(copy), bytes);
    EXPECT_EQ(testing::readFile(keeper), bytes);
    EXPECT_NE(inode(copy), originalInode);
    EXPECT_TRUE(sharesExtents(keeper, copy, bytes.size())) << "the copy's blocks are the keeper's now";
    nlohmann::json rows = newestUndoRows(home);
    ASSERT_EQ(rows.size(), 2u) << rows.dump();
    const nlohmann::json& row = rows[0]["originalPath"] == copy ? rows[0] : rows[1];
    EXPECT_EQ(row["action"], "clone-merge");
    EXPECT_EQ(row["cloneSource"], keeper);
    auto again = dupes(home / "xfs", {}, environment);
    EXPECT_NE(again.out.find("No byte-identical duplicates."), std::string::npos) << "clones share their blocks: "
                                                                                  << again.out;
    std::string mine = content(2'000'000, 10);
    testing::writeFile(overwritten.copy, mine);  // the person wrote over that clone
    auto undo = testing::runKelvorBinary({"--undo"}, environment);
    EXPECT_EQ(inode(copy), originalInode) << undo.out;
    EXPECT_EQ(testing::readFile(copy), bytes);
    EXPECT_FALSE(sharesExtents(keeper, copy, bytes.size()));
    EXPECT_NE(undo.out.find("no longer matches the record"), std::string::npos) << undo.out;
    EXPECT_EQ(testing::readFile(overwritten.copy), mine);
}

// Bytes free for anyone on the file system holding `path`.
std::uint64_t freeBytes(const std::string& path) {
    ::sync();
    struct statvfs st {};
    return ::statvfs(path.c_str(), &st) == 0 ? std::uint64_t{st.f_bavail} * st.f_frsize : 0;
}

TEST(RunDupes, ACloneMergedCopyFreesItsBlocksOnceTheTrashIsEmptied) {
    TempHome home;
    testing::XfsMount xfs(home / "xfs.img", home / "xfs");
    if (!xfs.mounted()) GTEST_SKIP() << xfs.reason();
    BlobPair pair(home / "xfs", 8'000'000, 13);
    const std::uint64_t before = freeBytes(home / "xfs");
    auto apply = dupes(home / "xfs", {"--apply", "--dedupe"}, pair.environment);
    EXPECT_NE(apply.out.find("clone-merged: " + pair.copy), std::string::npos) << apply.out;
    nlohmann::json rows = newestUndoRows(home);
    ASSERT_EQ(rows.size(), 1u) << rows.dump();
    std::string trashed = rows[0]["trashedTo"].get<std::string>();
    ASSERT_NE(trashed, pair.copy);
    EXPECT_EQ(testing::readFile(trashed), pair.bytes) << "until the Trash is emptied the original still holds its blocks";
    fs::remove(trashed);
    // The Trash's own folders and records take a little room of their own. XFS frees a deleted
    // file's blocks in the background, so the free space is watched for a while.
    const std::uint64_t expected = before + pair.bytes.size() - 1'048'576;
    std::uint64_t after = freeBytes(home / "xfs");
    for (int wait = 0; wait < 100 && after < expected; ++wait) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        after = freeBytes(home / "xfs");
    }
    EXPECT_GE(after, expected) << apply.out;
    EXPECT_EQ(testing::readFile(pair.copy), pair.bytes);
}

TEST(RunDupes, WithoutClonesTheCopyIsRestoredInPlaceAndTheRunSaysSo) {
    TempHome home;
    fs::create_directories(home / "tmpfs");
    testing::ScopedMount mount = testing::ScopedMount::tmpfs(home / "tmpfs");
    if (!mount.mounted()) GTEST_SKIP() << "mounting a tmpfs needs root";
    BlobPair pair(home / "tmpfs", 1'300'000, 11);
    std::uint64_t originalInode = inode(pair.copy);
    auto apply = dupes(home / "tmpfs", {"--apply", "--dedupe"}, pair.environment);
    EXPECT_NE(apply.out.find("clone failed (errno "), std::string::npos) << apply.out;
    EXPECT_NE(apply.out.find("restored in place: " + pair.copy), std::string::npos) << apply.out;
    EXPECT_EQ(inode(pair.copy), originalInode);
    EXPECT_EQ(testing::readFile(pair.copy), pair.bytes);
    auto undo = testing::runKelvorBinary({"--undo"}, pair.environment);
    EXPECT_EQ(testing::readFile(pair.copy), pair.bytes) << undo.out;
}

}  // namespace
}  // namespace kelvor
