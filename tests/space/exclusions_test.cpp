#include "quillet/space/exclusions.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "quillet/log/log.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::TempHome;
using testing::writeFile;
using Paths = std::vector<std::string>;

// The list file of a test's own, inside its temporary home.
std::string listIn(const TempHome& home) { return home / ".kelvor/excluded.json"; }

Paths entriesOnDisk(const std::string& file) {
    nlohmann::json decoded = nlohmann::json::parse(readFile(file), nullptr, false);
    return decoded.is_array() ? decoded.get<Paths>() : Paths{};
}

bool logged(const std::string& line) {
    KelvorLog::drain();
    return readFile(KelvorLog::logPath()).find(line) != std::string::npos;
}

TEST(CanonExclusion, ExpandsHomeAndRemovesDotsSlashesAndTrailingSlash) {
    TempHome home;
    const std::string here = fs::current_path().string();
    const std::pair<std::string, std::string> cases[] = {
        {"~/Models/", home / "Models"}, {home / "Models", home / "Models"}, {"~", home.path()},
        {"/a/./b/../c//", "/a/c"},      {"/a//b///", "/a/b"},               {"/", "/"},
        {"//", "/"},                    {"/..", "/"},                       {"/a/../..", "/"},
        {"rel/x/", here + "/rel/x"},    {"./rel/../y", here + "/y"},
        {"~user/x", here + "/~user/x"},  // only the person's own "~" is expanded
    };
    for (const auto& [input, expected] : cases) EXPECT_EQ(canonExclusion(input), expected) << input;
}

TEST(DecodeExclusionEntries, KeepsOnlyAnArrayOfPathsAndSaysWhatElseItGot) {
    TempHome home;
    Result<std::set<std::string>> entries = decodeExclusionEntries(decodeJsonRecord(R"(["~/A/", "", "/b//c", "/b/c"])"));
    ASSERT_TRUE(entries);
    EXPECT_EQ(*entries, (std::set<std::string>{home / "A", "/b/c"}));
    const std::pair<std::string, std::string> refused[] = {
        {R"(["/a", 1])", "not a path"},
        {R"({"paths": ["/a"]})", "not a JSON array"},
        {R"(["/a")", "not a JSON array"},  // cut off by a crash
        {"", "not a JSON array"},
    };
    for (const auto& [text, why] : refused) {
        Result<std::set<std::string>> decoded = decodeExclusionEntries(decodeJsonRecord(text));
        ASSERT_FALSE(decoded) << text;
        EXPECT_NE(decoded.error().context.find(why), std::string::npos) << text << ": " << decoded.error().context;
    }
}

TEST(Exclusions, CoversIgnoringCaseByWholeNamesAndThroughLinksOnBothSides) {
    TempHome home;
    fs::create_directories(home / "Models/sub");
    fs::create_directories(home / "elsewhere");
    fs::create_directories(home / "links");
    fs::create_directory_symlink(home / "Models/sub", home / "links/m");
    fs::create_directory_symlink(home / "elsewhere", home / "links/e");
    fs::create_directory_symlink(home / "Models", home / "links/whole");
    Exclusions exclusions(listIn(home));
    ASSERT_TRUE(exclusions.add(home / "Models"));
    const std::pair<std::string, bool> cases[] = {
        {home / "models/a.gguf", true}, {home / "Models", true},     {home / "MODELS/", true},
        {"~/Models/x/../y", true},      {home / "ModelsOld", false}, {home / "Models-b/a", false},
        {home.path(), false},           {"/", false},
        {home / "links/m", true},               // a link pointing into the excluded folder
        {home / "links/m/not-yet.gguf", true},  // below the link, not existing
        {home / "links/whole", true},   {home / "links/e", false},   {home / "links/e/x", false},
    };
    for (const auto& [path, covered] : cases) EXPECT_EQ(exclusions.covers(path), covered) << path;

    // An entry written through a link covers the real folder it names.
    Exclusions throughLink(home / "other.json");
    ASSERT_TRUE(throughLink.add(home / "links/m"));
    EXPECT_TRUE(throughLink.covers(home / "Models/sub/a.gguf"));
    EXPECT_FALSE(throughLink.covers(home / "Models/a.gguf"));
}

TEST(Exclusions, InsideListsTheEntriesBelowAFolderThroughLinks) {
    TempHome home;
    fs::create_directories(home / "store/Cache/Data");
    fs::create_directories(home / "store-old");
    fs::create_directory_symlink(home / "store", home / "via-link");
    Exclusions exclusions(listIn(home));
    for (const char* entry : {"store/Cache/Data", "store-old", "elsewhere"}) ASSERT_TRUE(exclusions.add(home / entry));
    const Paths real = {fs::canonical(home / "store/Cache/Data").string()};
    EXPECT_EQ(exclusions.inside(home / "store"), real);
    EXPECT_EQ(exclusions.inside(home / "via-link"), real) << "a folder named through a link";
    EXPECT_TRUE(exclusions.inside(home / "store/Cache/Data").empty()) << "an entry is not inside itself";
    EXPECT_TRUE(exclusions.inside(home / "sto").empty()) << "whole names only";
}

TEST(Exclusions, AddingKeepsOneEntryPerPathAndAParentReplacesTheEntriesInsideIt) {
    TempHome home;
    Exclusions exclusions(listIn(home));
    ASSERT_TRUE(exclusions.add("~/a/b/"));
    ASSERT_TRUE(exclusions.add(home / "a/b"));
    EXPECT_EQ(exclusions.all(), Paths{home / "a/b"}) << "the home written two ways is one entry";
    EXPECT_EQ(entriesOnDisk(listIn(home)), exclusions.all());
    for (std::string child : {"a/c/d", "ab", "A/e", "a"}) ASSERT_TRUE(exclusions.add(home / child)) << child;
    // "a" replaced "A/e" too (case does not matter), and "ab" is a sibling, not a child.
    EXPECT_EQ(exclusions.all(), (Paths{home / "a", home / "ab"}));
    ASSERT_TRUE(exclusions.add(home / "A"));
    EXPECT_EQ(exclusions.all(), (Paths{home / "A", home / "ab"})) << "one entry per path";
    ASSERT_TRUE(exclusions.add("/"));
    EXPECT_EQ(exclusions.all(), Paths{"/"});
    EXPECT_TRUE(exclusions.covers("/usr/bin"));
}

TEST(Exclusions, RemovingDropsCaseVariantsButNotParentsOrChildren) {
    TempHome home;
    writeFile(listIn(home), nlohmann::json({home / "X", home / "x", home / "X/inner", home.path()}).dump());
    Exclusions exclusions(listIn(home));
    ASSERT_TRUE(exclusions.remove(home / "x/"));
    EXPECT_EQ(exclusions.all(), (Paths{home.path(), home / "X/inner"}));
    EXPECT_EQ(entriesOnDisk(listIn(home)), exclusions.all());
    ASSERT_TRUE(exclusions.remove(home / "nothing-here"));
    EXPECT_EQ(exclusions.all().size(), 2u);
}

TEST(Exclusions, ACorruptListAtFirstLoadCoversEverythingUntilMended) {
    TempHome home;
    const std::string file = listIn(home), corrupt = "[\"" + (home / "Models") + "\", ";
    writeFile(file, corrupt);
    Exclusions exclusions(file);
    EXPECT_TRUE(exclusions.unreadable());
    for (std::string path : {std::string("/"), home / "anything", std::string("/usr/lib")})
        EXPECT_TRUE(exclusions.covers(path)) << path;
    EXPECT_TRUE(exclusions.all().empty());
    EXPECT_TRUE(logged("[exclude] the exclusion list exists but could not be read — treating everything "
                       "as excluded until it can be"));
    EXPECT_FALSE(exclusions.add(home / "new")) << "a list that cannot be read is never overwritten";
    EXPECT_EQ(readFile(file), corrupt);

    writeFile(file, "[\"" + (home / "Models") + "\"]");
    EXPECT_FALSE(exclusions.unreadable());
    EXPECT_FALSE(exclusions.covers(home / "anything"));
    EXPECT_TRUE(exclusions.covers(home / "Models/a"));
}

TEST(Exclusions, ACorruptListAfterAGoodLoadKeepsTheLastGoodEntries) {
    TempHome home;
    writeFile(listIn(home), "[\"" + (home / "Models") + "\"]");
    Exclusions exclusions(listIn(home));
    ASSERT_TRUE(exclusions.covers(home / "Models/a"));
    for (std::string broken : {"{\"not\": \"a list\"}", "[1, 2]", "", "[\"/x\""}) {
        writeFile(listIn(home), broken);
        EXPECT_FALSE(exclusions.unreadable()) << broken;
        EXPECT_TRUE(exclusions.covers(home / "Models/a")) << broken;
        EXPECT_FALSE(exclusions.covers(home / "Other")) << broken;
    }
    EXPECT_TRUE(logged("[exclude] the exclusion list could not be read; keeping the 1 entries last loaded"));
}

TEST(Exclusions, AnotherWritersChangeIsSeenAtTheNextCheck) {
    TempHome home;
    Exclusions reader(listIn(home)), writer(listIn(home));
    EXPECT_FALSE(reader.covers(home / "a/x"));
    ASSERT_TRUE(writer.add(home / "a"));
    EXPECT_TRUE(reader.covers(home / "a/x"));
    ASSERT_TRUE(writer.remove(home / "a"));
    EXPECT_FALSE(reader.covers(home / "a/x"));
    fs::remove(listIn(home));
    ASSERT_TRUE(writer.add(home / "b"));
    fs::remove(listIn(home));
    EXPECT_FALSE(reader.covers(home / "b")) << "a deleted list excludes nothing";
}

TEST(Exclusions, AnUnchangedStampIsNotReadAgain) {
    TempHome home;
    const std::string file = listIn(home);
    writeFile(file, "[\"/aaa\"]");
    Exclusions exclusions(file);
    ASSERT_TRUE(exclusions.covers("/aaa"));
    // Same inode, same size, same modification time: to the list, the same file.
    auto stamp = fs::last_write_time(file);
    std::FILE* same = std::fopen(file.c_str(), "r+");
    ASSERT_NE(same, nullptr);
    std::fputs("[\"/bbb\"]", same);
    std::fclose(same);
    fs::last_write_time(file, stamp);
    EXPECT_TRUE(exclusions.covers("/aaa"));
    EXPECT_FALSE(exclusions.covers("/bbb"));
    fs::last_write_time(file, stamp + std::chrono::seconds(1));
    EXPECT_FALSE(exclusions.covers("/aaa"));
    EXPECT_TRUE(exclusions.covers("/bbb"));
}

TEST(Exclusions, ASaveFailureIsReportedAndTheChangeStandsInThisProcess) {
    TempHome home;
    writeFile(home / "blocker", "a file where the list's folder should be");
    Exclusions blocked(home / "blocker/excluded.json");
    EXPECT_FALSE(blocked.add(home / "Models"));
    EXPECT_TRUE(blocked.covers(home / "Models/a"));
    EXPECT_TRUE(logged("[exclude] could not save the exclusion list: "));
}

TEST(Exclusions, SharedFollowsTheCurrentHome) {
    {
        TempHome home;
        EXPECT_EQ(Exclusions::shared().file(), listIn(home));
        ASSERT_TRUE(Exclusions::shared().add(home / "kept"));
    }
    TempHome other;
    EXPECT_EQ(Exclusions::shared().file(), listIn(other));
    EXPECT_TRUE(Exclusions::shared().all().empty());
}

TEST(Exclusions, WithExclusionLockRunsTheBodyOrSaysItIsBlocked) {
    TempHome home;
    Exclusions exclusions(listIn(home));
    Paths ran;
    exclusions.withExclusionLock([&] { ran.push_back("blocked"); }, [&] {
        ran.push_back("body");
        EXPECT_TRUE(exclusions.add(home / "inside")) << "the body holds the lock and may still edit";
    });
    EXPECT_EQ(ran, Paths{"body"});
    EXPECT_EQ(exclusions.all(), Paths{home / "inside"});
    // Another process's lock is another open of the lock file.
    Result<FileLock> elsewhere = FileLock::acquire(listIn(home) + ".lock", LockWait::wait);
    ASSERT_TRUE(elsewhere.ok());
    ran.clear();
    exclusions.withExclusionLock([&] { ran.push_back("blocked"); }, [&] { ran.push_back("body"); });
    EXPECT_EQ(ran, Paths{"blocked"});
}

TEST(Exclusions, TwoProcessesAddingAtOnceLoseNoEntry) {
    TempHome home;
    constexpr int PER_PROCESS = 200;
    auto entry = [&](const std::string& side, int i) { return home / (side + "/" + std::to_string(i)); };
    for (int i = 0; i < PER_PROCESS; ++i) {
        fs::create_directories(entry("first", i));
        fs::create_directories(entry("second", i));
    }
    KelvorLog::drain();  // nothing queued for the log writer, so no child inherits it busy
    int start[2];
    ASSERT_EQ(::pipe(start), 0);
    std::vector<pid_t> children;
    for (std::string side : {"first", "second"}) {
        pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            // Both wait for the parent, so their edits overlap.
            ::close(start[1]);
            char go;
            if (::read(start[0], &go, 1) < 0) ::_exit(3);
            Exclusions exclusions(listIn(home));
            int failures = 0;
            for (int i = 0; i < PER_PROCESS; ++i) failures += !exclusions.add(entry(side, i));
            ::_exit(failures == 0 ? 0 : 1);
        }
        children.push_back(child);
    }
    ::close(start[0]);
    ::close(start[1]);  // end of file releases both children at once
    for (pid_t child : children) {
        int status = 0;
        ::waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "child " << child << " status " << status;
    }
    Paths saved = entriesOnDisk(listIn(home));
    EXPECT_EQ(saved.size(), 2u * PER_PROCESS);
    for (std::string side : {"first", "second"})
        for (int i = 0; i < PER_PROCESS; ++i)
            EXPECT_TRUE(std::binary_search(saved.begin(), saved.end(), entry(side, i))) << entry(side, i);
}

}  // namespace
}  // namespace kelvor
