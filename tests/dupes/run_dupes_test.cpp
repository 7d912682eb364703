// The duplicate finder as a person runs it: the real binary on a home folder made by the test,
// and on real file systems (a loop-mounted XFS with reflinks, a tmpfs without clones) where only
// the real thing shows the behaviour.
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

// Writes `bytes` at `path` (its folders made) and sets its times three hours back, so the
// recent-write guard leaves it alone.
void writeModel(const std::string& path, const std::string& bytes) {
    fs::create_directories(fs::path(path).parent_path());
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

using testing::firstExisting;
using testing::XfsMount;

TEST(RunDupes, TwoHardLinksAreOneCopyNeverAGroup) {
    TempHome home;
    writeModel(home / "models/a.gguf", content(2'000'000, 1));
    fs::create_hard_link(home / "models/a.gguf", home / "models/b.gguf");
    auto run = testing::runKelvorBinary({"--mode", "dupes", "--root", home.path(), "--min-mb", "1"}, ENGLISH);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("No byte-identical duplicates."), std::string::npos) << run.out;
}

TEST(RunDupes, StoreCopyStaysAndTheWildCopyGoesToTheTrashWithAnUndoRow) {
    TempHome home;
    std::string bytes = content(1'500'000, 2);
    std::string blob = home / ".ollama/models/blobs/sha256-0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";
    writeModel(blob, bytes);
    writeModel(home / "Downloads/llama.gguf", bytes);
    auto report = testing::runKelvorBinary({"--mode", "dupes", "--root", home.path(), "--min-mb", "1"}, ENGLISH);
    EXPECT_NE(report.out.find("(unreferenced blob)"), std::string::npos) << report.out;
    EXPECT_NE(report.out.find("report only"), std::string::npos) << report.out;
    EXPECT_TRUE(fs::exists(home / "Downloads/llama.gguf")) << "a report moves nothing";

    auto apply =
        testing::runKelvorBinary({"--mode", "dupes", "--root", home.path(), "--min-mb", "1", "--apply"}, ENGLISH);
    EXPECT_EQ(apply.status, 0) << apply.out << apply.err;
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

TEST(RunDupes, OfTwoWildCopiesTheBytewiseSmallerPathStays) {
    TempHome home;
    std::string bytes = content(1'200'000, 3);
    writeModel(home / "b/model.safetensors", bytes);
    writeModel(home / "a/model.safetensors", bytes);
    auto apply =
        testing::runKelvorBinary({"--mode", "dupes", "--root", home.path(), "--min-mb", "1", "--apply"}, ENGLISH);
    EXPECT_TRUE(fs::exists(home / "a/model.safetensors")) << apply.out;
    EXPECT_FALSE(fs::exists(home / "b/model.safetensors")) << apply.out;
}

TEST(RunDupes, AFreshlyWrittenCopyIsGuardedUnlessForced) {
    TempHome home;
    std::string bytes = content(1'050'000, 12);
    writeModel(home / "a/m.ckpt", bytes);
    fs::create_directories(home / "b");
    testing::writeFile(home / "b/m.ckpt", bytes);  // written just now
    auto guarded =
        testing::runKelvorBinary({"--mode", "dupes", "--root", home.path(), "--min-mb", "1", "--apply"}, ENGLISH);
    EXPECT_NE(guarded.out.find("— skipped: " + home / "b/m.ckpt"), std::string::npos) << guarded.out;
    EXPECT_TRUE(fs::exists(home / "b/m.ckpt"));
    EXPECT_FALSE(fs::exists(home / ".kelvor/undo") && !newestUndoRows(home).empty()) << "no move, no record";
    auto forced = testing::runKelvorBinary(
        {"--mode", "dupes", "--root", home.path(), "--min-mb", "1", "--apply", "--force"}, ENGLISH);
    EXPECT_FALSE(fs::exists(home / "b/m.ckpt")) << forced.out;
}

TEST(RunDupes, StoreCopiesAreNotTouchedWithoutDedupe) {
    TempHome home;
    std::string bytes = content(1'100'000, 4);
    std::string blob = home / ".ollama/models/blobs/sha256-1111111111111111111111111111111111111111111111111111111111111111";
    std::string hf = home / ".cache/huggingface/hub/models--org--name/blobs/2222222222222222222222222222222222222222222222222222222222222222";
    writeModel(blob, bytes);
    writeModel(hf, bytes);
    auto apply =
        testing::runKelvorBinary({"--mode", "dupes", "--root", home.path(), "--min-mb", "1", "--apply"}, ENGLISH);
    EXPECT_NE(apply.out.find("every copy lives inside a tool store"), std::string::npos) << apply.out;
    EXPECT_NE(apply.out.find("org/name"), std::string::npos) << apply.out;
    EXPECT_TRUE(fs::exists(blob));
    EXPECT_TRUE(fs::exists(hf));
}

TEST(RunDupes, ACorruptDigestCacheMeansHashingEverythingAgain) {
    TempHome home;
    std::string bytes = content(1'100'000, 5);
    writeModel(home / "x/one.bin", bytes);
    writeModel(home / "y/two.bin", bytes);
    fs::create_directories(home / ".kelvor");
    testing::writeFile(home / ".kelvor/digests.json", "{\"/x\": [1, 2, {{{ not json");
    auto run = testing::runKelvorBinary({"--mode", "dupes", "--root", home.path(), "--min-mb", "1"}, ENGLISH);
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("fully hashed 2/"), std::string::npos) << run.out;
    auto again = testing::runKelvorBinary({"--mode", "dupes", "--root", home.path(), "--min-mb", "1"}, ENGLISH);
    EXPECT_NE(again.out.find("fully hashed 0/"), std::string::npos) << "the rewritten cache is used: " << again.out;
    EXPECT_NE(again.out.find("× 2"), std::string::npos) << again.out;
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
    ASSERT_EQ(groups[0].copies.size(), 3u);
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

TEST(RunDupes, AReflinkPairOnXfsIsNotReported) {
    TempHome home;
    XfsMount xfs(home / "xfs.img", home / "xfs");
    if (!xfs.mounted()) GTEST_SKIP() << xfs.reason();
    writeModel(home / "xfs/a.gguf", content(3'000'000, 7));
    ASSERT_EQ(testing::runProgram({firstExisting({"/usr/bin/cp", "/bin/cp"}), "--reflink=always", home / "xfs/a.gguf",
                                   home / "xfs/b.gguf"},
                                  "")
                  .status,
              0);
    fs::last_write_time(home / "xfs/b.gguf", fs::file_time_type::clock::now() - std::chrono::hours(3));
    EXPECT_TRUE(sharesExtents(home / "xfs/a.gguf", home / "xfs/b.gguf", 3'000'000));
    auto run = testing::runKelvorBinary({"--mode", "dupes", "--root", home / "xfs", "--min-mb", "1"}, ENGLISH);
    EXPECT_NE(run.out.find("No byte-identical duplicates."), std::string::npos) << run.out;
}

TEST(RunDupes, DedupeOnXfsClonesTheStoreCopyAndUndoPutsTheOriginalBack) {
    TempHome home;
    XfsMount xfs(home / "xfs.img", home / "xfs");
    if (!xfs.mounted()) GTEST_SKIP() << xfs.reason();
    std::string bytes = content(4'000'000, 8);
    // Both are store copies: the byte-wise smaller path stays.
    std::string keeper = home / "xfs/hf/models--org--m/blobs/4444444444444444444444444444444444444444444444444444444444444444";
    std::string copy = home / "xfs/ollama/blobs/sha256-3333333333333333333333333333333333333333333333333333333333333333";
    writeModel(keeper, bytes);
    writeModel(copy, bytes);
    std::uint64_t originalInode = inode(copy);
    std::vector<std::string> environment = ENGLISH;
    environment.push_back("OLLAMA_MODELS=" + home / "xfs/ollama");
    environment.push_back("HF_HUB_CACHE=" + home / "xfs/hf");
    auto apply = testing::runKelvorBinary(
        {"--mode", "dupes", "--root", home / "xfs", "--min-mb", "1", "--apply", "--dedupe"}, environment);
    EXPECT_NE(apply.out.find("clone-merged: " + copy), std::string::npos) << apply.out;
    EXPECT_EQ(testing::readFile(copy), bytes);
    EXPECT_EQ(testing::readFile(keeper), bytes);
    EXPECT_NE(inode(copy), originalInode);
    EXPECT_TRUE(sharesExtents(keeper, copy, bytes.size())) << "the copy's blocks are the keeper's now";
    nlohmann::json rows = newestUndoRows(home);
    ASSERT_EQ(rows.size(), 1u) << rows.dump();
    EXPECT_EQ(rows[0]["action"], "clone-merge");
    EXPECT_EQ(rows[0]["cloneSource"], keeper);
    EXPECT_EQ(rows[0]["sha256"].get<std::string>().size(), 64u);

    auto undo = testing::runKelvorBinary({"--undo"}, environment);
    EXPECT_EQ(inode(copy), originalInode) << undo.out;
    EXPECT_EQ(testing::readFile(copy), bytes);
    EXPECT_FALSE(sharesExtents(keeper, copy, bytes.size()));
}

// Bytes free for anyone on the file system holding `path`.
std::uint64_t freeBytes(const std::string& path) {
    ::sync();
    struct statvfs st {};
    return ::statvfs(path.c_str(), &st) == 0 ? std::uint64_t{st.f_bavail} * st.f_frsize : 0;
}

TEST(RunDupes, ACloneMergedCopyFreesItsBlocksOnceTheTrashIsEmptied) {
    TempHome home;
    XfsMount xfs(home / "xfs.img", home / "xfs");
    if (!xfs.mounted()) GTEST_SKIP() << xfs.reason();
    std::string bytes = content(8'000'000, 13);
    std::string keeper = home / "xfs/ollama/blobs/sha256-9999999999999999999999999999999999999999999999999999999999999999";
    std::string copy = home / "xfs/ollama/blobs/sha256-aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa";
    writeModel(keeper, bytes);
    writeModel(copy, bytes);
    std::vector<std::string> environment = ENGLISH;
    environment.push_back("OLLAMA_MODELS=" + home / "xfs/ollama");
    const std::uint64_t before = freeBytes(home / "xfs");
    auto apply = testing::runKelvorBinary(
        {"--mode", "dupes", "--root", home / "xfs", "--min-mb", "1", "--apply", "--dedupe"}, environment);
    EXPECT_NE(apply.out.find("clone-merged: " + copy), std::string::npos) << apply.out;
    nlohmann::json rows = newestUndoRows(home);
    ASSERT_EQ(rows.size(), 1u) << rows.dump();
    std::string trashed = rows[0]["trashedTo"].get<std::string>();
    ASSERT_NE(trashed, copy);
    EXPECT_EQ(testing::readFile(trashed), bytes) << "until the Trash is emptied the original still holds its blocks";
    fs::remove(trashed);
    // The Trash's own folders and records take a little room of their own. XFS frees a deleted
    // file's blocks in the background, so the free space is watched for a while.
    const std::uint64_t expected = before + bytes.size() - 1'048'576;
    std::uint64_t after = freeBytes(home / "xfs");
    for (int wait = 0; wait < 100 && after < expected; ++wait) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        after = freeBytes(home / "xfs");
    }
    EXPECT_GE(after, expected) << apply.out;
    EXPECT_EQ(testing::readFile(copy), bytes);
}

TEST(RunDupes, UndoLeavesACloneThatNoLongerMatchesItsRecord) {
    TempHome home;
    XfsMount xfs(home / "xfs.img", home / "xfs");
    if (!xfs.mounted()) GTEST_SKIP() << xfs.reason();
    std::string bytes = content(2'000'000, 9);
    std::string keeper = home / "xfs/ollama/blobs/sha256-5555555555555555555555555555555555555555555555555555555555555555";
    std::string copy = home / "xfs/ollama/blobs/sha256-6666666666666666666666666666666666666666666666666666666666666666";
    writeModel(keeper, bytes);
    writeModel(copy, bytes);
    std::vector<std::string> environment = ENGLISH;
    environment.push_back("OLLAMA_MODELS=" + home / "xfs/ollama");
    testing::runKelvorBinary({"--mode", "dupes", "--root", home / "xfs", "--min-mb", "1", "--apply", "--dedupe"},
                             environment);
    std::string mine = content(2'000'000, 10);
    testing::writeFile(copy, mine);  // the person wrote over the clone
    auto undo = testing::runKelvorBinary({"--undo"}, environment);
    EXPECT_NE(undo.out.find("no longer matches the record"), std::string::npos) << undo.out;
    EXPECT_EQ(testing::readFile(copy), mine);
}

TEST(RunDupes, WithoutClonesTheCopyIsRestoredInPlaceAndTheRunSaysSo) {
    if (::geteuid() != 0) GTEST_SKIP() << "mounting a tmpfs needs root";
    TempHome home;
    fs::create_directories(home / "tmpfs");
    testing::ScopedMount mount = testing::ScopedMount::tmpfs(home / "tmpfs");
    ASSERT_TRUE(mount.mounted());
    std::string bytes = content(1'300'000, 11);
    std::string keeper = home / "tmpfs/ollama/blobs/sha256-7777777777777777777777777777777777777777777777777777777777777777";
    std::string copy = home / "tmpfs/ollama/blobs/sha256-8888888888888888888888888888888888888888888888888888888888888888";
    writeModel(keeper, bytes);
    writeModel(copy, bytes);
    std::uint64_t originalInode = inode(copy);
    std::vector<std::string> environment = ENGLISH;
    environment.push_back("OLLAMA_MODELS=" + home / "tmpfs/ollama");
    auto apply = testing::runKelvorBinary(
        {"--mode", "dupes", "--root", home / "tmpfs", "--min-mb", "1", "--apply", "--dedupe"}, environment);
    EXPECT_NE(apply.out.find("clone failed (errno "), std::string::npos) << apply.out;
    EXPECT_NE(apply.out.find("restored in place: " + copy), std::string::npos) << apply.out;
    EXPECT_EQ(inode(copy), originalInode);
    EXPECT_EQ(testing::readFile(copy), bytes);
    auto undo = testing::runKelvorBinary({"--undo"}, environment);
    EXPECT_EQ(testing::readFile(copy), bytes) << undo.out;
}

}  // namespace
}  // namespace kelvor
