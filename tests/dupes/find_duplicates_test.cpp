// Proving copies identical: what is read, what is grouped, which copy stays, and the digest cache.
#include "quillet/dupes/find_duplicates.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "quillet/platform/digest.hpp"
#include "tests/support/run_program.hpp"
#include "tests/support/temp_home.hpp"
#include "tests/support/xfs_mount.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;

ModelCopy copyAt(const std::string& path, bool inStore = false) {
    return ModelCopy{path, fs::file_size(path), ModelKind::checkpoint, fs::path(path).filename(), {}, inStore};
}

ModelCopy write(const std::string& path, const std::string& bytes, bool inStore = false) {
    testing::writeFile(path, bytes);
    return copyAt(path, inStore);
}

struct Found {
    std::vector<DupeGroup> groups;
    int hashed = 0;
    std::uint64_t hashedBytes = 0;
};

Found find(const std::vector<ModelCopy>& copies, DigestCache& cache) {
    Found found;
    // Several hashing workers, so every case also runs the parallel path.
    found.groups = findDuplicates(copies, cache, found.hashed, found.hashedBytes, 3);
    return found;
}

class FindDuplicates : public ::testing::Test {
protected:
    Found find(const std::vector<ModelCopy>& copies) { return kelvor::find(copies, cache); }
    static std::vector<std::string> paths(const DupeGroup& group) {
        std::vector<std::string> out;
        for (const ModelCopy& copy : group.copies) out.push_back(copy.path);
        return out;
    }
    testing::TempHome home;
    DigestCache cache{home / "digests.json"};
};

TEST_F(FindDuplicates, ReadsOnlyFilesThatShareTheirSizeWithAnother) {
    Found found = find({write(home / "a", "same bytes"), write(home / "b", "same bytes"),
                        write(home / "c", "same byteZ"), write(home / "lonely", "a size nobody else has")});
    EXPECT_EQ(found.hashed, 3);
    EXPECT_EQ(found.hashedBytes, 30u);
    ASSERT_EQ(found.groups.size(), 1u);
    EXPECT_EQ(found.groups[0].copies.size(), 2u);
    EXPECT_EQ(found.groups[0].reclaimable(), 10u);
}

TEST_F(FindDuplicates, KeepsALinkedCopyFirstThenAStoreCopyThenTheSmallerPath) {
    std::vector<ModelCopy> copies = {write(home / "a/wild", "x"), write(home / "z/store", "x", true),
                                     write(home / "b/wild", "x")};
    Found storeFirst = find(copies);
    ASSERT_EQ(storeFirst.groups.size(), 1u);
    EXPECT_EQ(paths(storeFirst.groups[0]), (std::vector<std::string>{home / "z/store", home / "a/wild", home / "b/wild"}));
    // A copy with another link elsewhere frees nothing when removed: it stays.
    fs::create_hard_link(home / "b/wild", home / "outside-the-scan");
    Found linkedFirst = find(copies);
    ASSERT_EQ(linkedFirst.groups.size(), 1u);
    EXPECT_EQ(linkedFirst.groups[0].copies.front().path, home / "b/wild");
}

TEST_F(FindDuplicates, ReadsAFileOnceHoweverManyLinksItHasAndLinksAloneAreNoGroup) {
    ModelCopy linked = write(home / "linked", "twelve bytes");
    fs::create_hard_link(home / "linked", home / "link");
    Found found = find({linked, copyAt(home / "link"), write(home / "copy", "twelve bytes")});
    EXPECT_EQ(found.hashed, 2);
    EXPECT_EQ(found.hashedBytes, 24u);
    ASSERT_EQ(found.groups.size(), 1u);
    // The other link frees nothing, so it is no copy of the group.
    ASSERT_EQ(found.groups[0].copies.size(), 2u);
    EXPECT_EQ(found.groups[0].copies[1].path, home / "copy");
    Found again = find({copyAt(home / "link"), copyAt(home / "linked"), copyAt(home / "copy")});
    EXPECT_EQ(again.hashed, 0) << "both names are cached";
    EXPECT_EQ(again.groups.size(), 1u);
    ModelCopy gone = write(home / "gone", "twelve bytes");
    fs::remove(home / "gone");
    EXPECT_TRUE(find({linked, copyAt(home / "link"), gone}).groups.empty()) << "links and an unreadable file";
}

TEST_F(FindDuplicates, ReadsWholeOnlyLargeFilesWhoseSamplesMatchAndProvesThemByTheFullDigest) {
    const std::string model(1'048'576, 'w');
    std::string lastByte = model, unsampled = model;
    lastByte.back() = 'x';
    unsampled[300'000] = 'x';
    Found found = find({write(home / "one", model), write(home / "two", model), write(home / "last-byte", lastByte),
                        write(home / "unsampled", unsampled)});
    // "last-byte" is set apart by its sample; "unsampled" only by its full digest.
    EXPECT_EQ(found.hashed, 3);
    EXPECT_EQ(found.hashedBytes, 3 * model.size());
    ASSERT_EQ(found.groups.size(), 1u);
    EXPECT_EQ(paths(found.groups[0]), (std::vector<std::string>{home / "one", home / "two"}));
}

TEST_F(FindDuplicates, SamplesAgainstACachedDigestSoANewCopyOfAKnownFileIsFound) {
    const std::string model(1'048'576, 'c');
    ModelCopy known = write(home / "known", model);
    ModelCopy other = write(home / "other", std::string(model.size(), 'd'));
    EXPECT_EQ(find({known, other}).hashed, 0);
    std::uint64_t read = 0;
    cache.remember(known.path, *sha256File(known.path, read));
    Found found = find({known, other, write(home / "new", model)});
    EXPECT_EQ(found.hashed, 1);
    ASSERT_EQ(found.groups.size(), 1u);
    EXPECT_EQ(found.groups[0].copies[1].path, home / "new");
}

TEST_F(FindDuplicates, AReflinkCloneOfACopyTakesItsDigestUnreadUntilItIsWrittenTo) {
    testing::XfsMount xfs(home / "xfs.img", home / "xfs");
    if (!xfs.mounted()) GTEST_SKIP() << xfs.reason();
    const std::string model(2'000'000, 'r');
    ModelCopy keeper = write(home / "xfs/a", model);
    ModelCopy plain = write(home / "xfs/b", model);
    for (const char* name : {"c-clone", "d-clone-changed"})
        ASSERT_EQ(testing::runProgram({testing::firstExisting({"/usr/bin/cp", "/bin/cp"}), "--reflink=always",
                                       home / "xfs/b", home / (std::string("xfs/") + name)},
                                      "")
                      .status,
                  0);
    // A byte the samples do not look at: only reading the whole clone can tell it apart.
    int fd = ::open((home / "xfs/d-clone-changed").c_str(), O_WRONLY);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::pwrite(fd, "x", 1, 300'000), 1);
    ::close(fd);
    Found found = find({keeper, plain, copyAt(home / "xfs/c-clone"), copyAt(home / "xfs/d-clone-changed")});
    EXPECT_EQ(found.hashed, 3);
    EXPECT_EQ(found.hashedBytes, 3 * model.size());
    ASSERT_EQ(found.groups.size(), 1u);
    // The clone shares no block with the keeper: removing it and "b" frees their blocks.
    EXPECT_EQ(paths(found.groups[0]), (std::vector<std::string>{home / "xfs/a", home / "xfs/b", home / "xfs/c-clone"}));
    EXPECT_EQ(cache.lookup(home / "xfs/c-clone"), found.groups[0].digest);
}

TEST_F(FindDuplicates, LargestReclaimableGroupComesFirst) {
    Found found = find({write(home / "s1", "s"), write(home / "s2", "s"), write(home / "s3", "s"),
                        write(home / "l1", "large"), write(home / "l2", "large")});
    ASSERT_EQ(found.groups.size(), 2u);
    EXPECT_EQ(found.groups[0].bytes, 5u);
    EXPECT_EQ(found.groups[1].reclaimable(), 2u);
}

TEST_F(FindDuplicates, DupeProofNamesTheKeeperAndHoldsOnlyUntilTheCopyOrItsKeeperChanges) {
    Found found = find({write(home / "a", "p"), write(home / "b", "p"), write(home / "c", "qq"), write(home / "d", "qq")});
    ASSERT_EQ(found.groups.size(), 2u);
    DupeProof& proof = DupeProof::shared();
    proof.record(found.groups);
    std::map<std::string, DupeProof::Proof> proofs = proof.proofs();
    ASSERT_EQ(proofs.size(), 2u);
    const std::string& digest = found.groups[1].digest;  // "a" and "b", the smaller group
    EXPECT_EQ(proofs.at(home / "b").keeper, home / "a");
    EXPECT_EQ(proof.evidence(home / "b"),
              "Byte-identical to " + home / "a" + " (SHA-256 " + digest.substr(0, 12) + "…) — a copy; the original stays");
    EXPECT_EQ(proof.evidence(home / "a"), std::nullopt);
    EXPECT_EQ(proof.refusal(home / "b"), std::nullopt);
    EXPECT_EQ(proof.refusal(home / "d"), std::nullopt);
    const std::string stale = "no longer proven identical to the copy that stays — one of the two changed since the scan";
    testing::writeFile(home / "a", "p, changed");  // the keeper
    testing::writeFile(home / "d", "qq, changed");  // the copy
    EXPECT_EQ(proof.refusal(home / "b"), stale);
    EXPECT_EQ(proof.refusal(home / "d"), stale);
    EXPECT_EQ(proof.refusal(home / "elsewhere"), stale) << "a path no proof names is not proven either";
}

TEST(DigestCache, ReusesADigestUntilTheFileChangesAndSurvivesAReload) {
    testing::TempHome home;
    std::vector<ModelCopy> copies = {write(home / "a", "cached"), write(home / "b", "cached")};
    {
        DigestCache cache(home / "digests.json");
        cache.load();
        EXPECT_EQ(find(copies, cache).hashed, 2);
        ASSERT_TRUE(cache.save());
    }
    DigestCache reloaded(home / "digests.json");
    reloaded.load();
    Found again = find(copies, reloaded);
    EXPECT_EQ(again.hashed, 0);
    EXPECT_EQ(again.groups.size(), 1u);
    // Same size and the same modification time, other bytes: the change time gives it away.
    auto mtime = fs::last_write_time(home / "b");
    testing::writeFile(home / "b", "CACHED");
    fs::last_write_time(home / "b", mtime);
    Found changed = find(copies, reloaded);
    EXPECT_EQ(changed.hashed, 1);
    EXPECT_TRUE(changed.groups.empty());
}

TEST(DigestCache, AnUnreadableCacheIsEmptyAndIsReplacedWhole) {
    testing::TempHome home;
    for (const std::string bytes : {"{{{", "[1,2]", R"({"/x":{"size":"big","mtime":1,"sha":"00"}})"}) {
        testing::writeFile(home / "digests.json", bytes);
        DigestCache cache(home / "digests.json");
        cache.load();
        EXPECT_EQ(cache.lookup("/x"), std::nullopt) << bytes;
        testing::writeFile(home / "f", "content");
        cache.remember(home / "f", "ab");
        ASSERT_TRUE(cache.save()) << bytes;
        DigestCache reread(home / "digests.json");
        reread.load();
        EXPECT_EQ(reread.lookup(home / "f"), "ab") << bytes;
    }
}

}  // namespace
}  // namespace kelvor
