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

// The list file of a test's own, inside its temporary home.
std::string listIn(const TempHome& home) { return home / ".kelvor/excluded.json"; }

std::vector<std::string> entriesOnDisk(const std::string& file) {
    nlohmann::json decoded = nlohmann::json::parse(readFile(file), nullptr, false);
    if (!decoded.is_array()) return {};
    return decoded.get<std::vector<std::string>>();
}

std::string logText() {
    KelvorLog::drain();
    return readFile(KelvorLog::logPath());
}

TEST(CanonExclusion, ExpandsHomeAndRemovesDotsSlashesAndTrailingSlash) {
    TempHome home;
    std::string here = fs::current_path().string();
    struct Case {
        std::string input;
        std::string expected;
    };
    const Case cases[] = {
        {"~/Models/", home / "Models"},
        {home / "Models", home / "Models"},
        {"~", home.path()},
        {"/a/./b/../c//", "/a/c"},
        {"/a//b///", "/a/b"},
        {"/", "/"},
        {"//", "/"},
        {"/..", "/"},
        {"/a/../..", "/"},
        {"rel/x/", here + "/rel/x"},
        {"./rel/../y", here + "/y"},
        {"~user/x", here + "/~user/x"},  // only the person's own "~" is expanded
    };
    for (const Case& c : cases) EXPECT_EQ(canonExclusion(c.input), c.expected) << c.input;
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

TEST(Exclusions, InsideListsTheEntriesBelowAFolderThroughLinks) {
    TempHome home;
    fs::create_directories(home / "store/Cache/Data");
    fs::create_directories(home / "store-old");
    fs::create_directory_symlink(home / "store", home / "via-link");
    Exclusions exclusions(listIn(home));
    ASSERT_TRUE(exclusions.add(home / "store/Cache/Data"));
    ASSERT_TRUE(exclusions.add(home / "store-old"));
    ASSERT_TRUE(exclusions.add(home / "elsewhere"));
    std::string real = fs::canonical(home / "store/Cache/Data").string();
    EXPECT_EQ(exclusions.inside(home / "store"), std::vector<std::string>{real});
    EXPECT_EQ(exclusions.inside(home / "via-link"), std::vector<std::string>{real}) << "a folder named through a link";
    EXPECT_TRUE(exclusions.inside(home / "store/Cache/Data").empty()) << "an entry is not inside itself";
    EXPECT_TRUE(exclusions.inside(home / "sto").empty()) << "whole names only";
}

TEST(Exclusions, HomeWrittenTwoWaysIsOneEntry) {
    TempHome home;
    fs::create_directories(home / "Models");
    Exclusions exclusions(listIn(home));
    ASSERT_TRUE(exclusions.add("~/Models/"));
    ASSERT_TRUE(exclusions.add(home / "Models"));
    EXPECT_EQ(exclusions.all(), std::vector<std::string>{home / "Models"});
    EXPECT_EQ(entriesOnDisk(listIn(home)), std::vector<std::string>{home / "Models"});
}

TEST(Exclusions, MatchingIgnoresCaseAndRespectsComponents) {
    TempHome home;
    Exclusions exclusions(listIn(home));
    ASSERT_TRUE(exclusions.add(home / "Models"));
    struct Case {
        std::string path;
        bool covered;
    };
    const Case cases[] = {
        {home / "models/a.gguf", true}, {home / "Models", true},     {home / "MODELS/", true},
        {"~/Models/x/../y", true},      {home / "ModelsOld", false}, {home / "Models-b/a", false},
        {home.path(), false},           {"/", false},
    };
    for (const Case& c : cases) EXPECT_EQ(exclusions.covers(c.path), c.covered) << c.path;
}

TEST(Exclusions, LinksAreResolvedOnBothSides) {
    TempHome home;
    fs::create_directories(home / "Models/sub");
    fs::create_directories(home / "links");
    fs::create_directories(home / "elsewhere");
    fs::create_directory_symlink(home / "Models/sub", home / "links/m");
    fs::create_directory_symlink(home / "elsewhere", home / "links/e");
    fs::create_directory_symlink(home / "Models", home / "links/whole");

    Exclusions exclusions(listIn(home));
    ASSERT_TRUE(exclusions.add(home / "Models"));
    struct Case {
        std::string path;
        bool covered;
    };
    const Case cases[] = {
        {home / "links/m", true},               // a link pointing into the excluded folder
        {home / "links/m/not-yet.gguf", true},  // below the link, not existing
        {home / "links/whole", true},
        {home / "links/e", false},
        {home / "links/e/x", false},
    };
    for (const Case& c : cases) EXPECT_EQ(exclusions.covers(c.path), c.covered) << c.path;

    // An entry written through a link covers the real folder it names.
    Exclusions throughLink(home / "other.json");
    ASSERT_TRUE(throughLink.add(home / "links/m"));
    EXPECT_TRUE(throughLink.covers(home / "Models/sub/a.gguf"));
    EXPECT_FALSE(throughLink.covers(home / "Models/a.gguf"));
}

TEST(Exclusions, ACorruptListAtFirstLoadCoversEverythingUntilMended) {
    TempHome home;
    const std::string file = listIn(home);
    const std::string corrupt = "[\"" + (home / "Models") + "\", ";
    writeFile(file, corrupt);
    Exclusions exclusions(file);
    EXPECT_TRUE(exclusions.unreadable());
    for (std::string path : {std::string("/"), home / "anything", std::string("/usr/lib")})
        EXPECT_TRUE(exclusions.covers(path)) << path;
    EXPECT_TRUE(exclusions.all().empty());
    EXPECT_NE(logText().find("[exclude] the exclusion list exists but could not be read — treating everything "
                             "as excluded until it can be"),
              std::string::npos);

    EXPECT_FALSE(exclusions.add(home / "new")) << "a list that cannot be read is never overwritten";
    EXPECT_EQ(readFile(file), corrupt);

    writeFile(file, "[\"" + (home / "Models") + "\"]");
    EXPECT_FALSE(exclusions.unreadable());
    EXPECT_FALSE(exclusions.covers(home / "anything"));
    EXPECT_TRUE(exclusions.covers(home / "Models/a"));
}

TEST(Exclusions, ACorruptListAfterAGoodLoadKeepsTheLastGoodEntries) {
    TempHome home;
    const std::string file = listIn(home);
    writeFile(file, "[\"" + (home / "Models") + "\"]");
    Exclusions exclusions(file);
    ASSERT_TRUE(exclusions.covers(home / "Models/a"));
    for (std::string broken : {"{\"not\": \"a list\"}", "[1, 2]", "", "[\"/x\""}) {
        writeFile(file, broken);
        EXPECT_FALSE(exclusions.unreadable()) << broken;
        EXPECT_TRUE(exclusions.covers(home / "Models/a")) << broken;
        EXPECT_FALSE(exclusions.covers(home / "Other")) << broken;
    }
    EXPECT_NE(logText().find("[exclude] the exclusion list could not be read; keeping the 1 entries last loaded"),
              std::string::npos);
}

TEST(Exclusions, AddingAParentDropsTheEntriesInsideIt) {
    TempHome home;
    Exclusions exclusions(listIn(home));
    for (std::string child : {"a/b", "a/c/d", "ab", "A/e", "a"}) ASSERT_TRUE(exclusions.add(home / child)) << child;
    // "a" replaced "A/e" too (case does not matter), and "ab" is a sibling, not a child.
    EXPECT_EQ(exclusions.all(), (std::vector<std::string>{home / "a", home / "ab"}));
    ASSERT_TRUE(exclusions.add(home / "A"));
    EXPECT_EQ(exclusions.all(), (std::vector<std::string>{home / "A", home / "ab"})) << "one entry per path";
    ASSERT_TRUE(exclusions.add("/"));
    EXPECT_EQ(exclusions.all(), std::vector<std::string>{"/"});
    EXPECT_TRUE(exclusions.covers("/usr/bin"));
}

TEST(Exclusions, RemovingDropsCaseVariantsButNotParentsOrChildren) {
    TempHome home;
    const std::string file = listIn(home);
    nlohmann::json written = {home / "X", home / "x", home / "X/inner", home.path()};
    writeFile(file, written.dump());
    Exclusions exclusions(file);
    ASSERT_TRUE(exclusions.remove(home / "x/"));
    EXPECT_EQ(exclusions.all(), (std::vector<std::string>{home.path(), home / "X/inner"}));
    EXPECT_EQ(entriesOnDisk(file), exclusions.all());
    ASSERT_TRUE(exclusions.remove(home / "nothing-here"));
    EXPECT_EQ(exclusions.all().size(), 2u);
}

TEST(Exclusions, LooselyWrittenEntriesInTheFileAreReadInCanonicalForm) {
    TempHome home;
    writeFile(listIn(home), R"(["~/Models/", "", "/a//b/./"])");
    Exclusions exclusions(listIn(home));
    EXPECT_EQ(exclusions.all(), (std::vector<std::string>{"/a/b", home / "Models"}));
    EXPECT_TRUE(exclusions.covers(home / "models/x"));
}

TEST(Exclusions, AnotherWritersChangeIsSeenAtTheNextCheck) {
    TempHome home;
    Exclusions reader(listIn(home));
    Exclusions writer(listIn(home));
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
    {
        std::FILE* same = std::fopen(file.c_str(), "r+");
        ASSERT_NE(same, nullptr);
        std::fputs("[\"/bbb\"]", same);
        std::fclose(same);
    }
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
    EXPECT_NE(logText().find("[exclude] could not save the exclusion list: "), std::string::npos);
}

TEST(Exclusions, SharedFollowsTheCurrentHome) {
    std::string first;
    {
        TempHome home;
        first = Exclusions::shared().file();
        EXPECT_EQ(first, listIn(home));
        ASSERT_TRUE(Exclusions::shared().add(home / "kept"));
        EXPECT_EQ(&Exclusions::shared(), &Exclusions::shared());
    }
    TempHome other;
    EXPECT_EQ(Exclusions::shared().file(), listIn(other));
    EXPECT_TRUE(Exclusions::shared().all().empty());
}

TEST(Exclusions, WithExclusionLockRunsTheBodyOrSaysItIsBlocked) {
    TempHome home;
    Exclusions exclusions(listIn(home));
    std::vector<std::string> ran;
    exclusions.withExclusionLock([&] { ran.push_back("blocked"); },
                                 [&] {
                                     ran.push_back("body");
                                     // The body holds the lock and may still edit.
                                     EXPECT_TRUE(exclusions.add(home / "inside"));
                                 });
    EXPECT_EQ(ran, std::vector<std::string>{"body"});
    EXPECT_EQ(exclusions.all(), std::vector<std::string>{home / "inside"});

    // Another process's lock is another open of the lock file.
    Result<FileLock> elsewhere = FileLock::acquire(listIn(home) + ".lock", LockWait::wait);
    ASSERT_TRUE(elsewhere.ok());
    ran.clear();
    exclusions.withExclusionLock([&] { ran.push_back("blocked"); }, [&] { ran.push_back("body"); });
    EXPECT_EQ(ran, std::vector<std::string>{"blocked"});
}

TEST(Exclusions, TwoProcessesAddingAtOnceLoseNoEntry) {
    TempHome home;
    const std::string file = listIn(home);
    constexpr int PER_PROCESS = 200;
    for (int i = 0; i < PER_PROCESS; ++i) {
        fs::create_directories(home / ("first/" + std::to_string(i)));
        fs::create_directories(home / ("second/" + std::to_string(i)));
    }
    // Nothing queued for the log writer when the children are made, so none inherits it busy.
    KelvorLog::drain();
    int start[2];
    ASSERT_EQ(::pipe(start), 0);
    std::vector<pid_t> children;
    for (std::string side : {"first", "second"}) {
        pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::close(start[1]);
            char go;
            // Both wait for the parent, so their edits overlap.
            if (::read(start[0], &go, 1) < 0) ::_exit(3);
            Exclusions exclusions(file);
            int failures = 0;
            for (int i = 0; i < PER_PROCESS; ++i)
                if (!exclusions.add(home / (side + "/" + std::to_string(i)))) ++failures;
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
    std::vector<std::string> saved = entriesOnDisk(file);
    EXPECT_EQ(saved.size(), 2u * PER_PROCESS);
    for (std::string side : {"first", "second"})
        for (int i = 0; i < PER_PROCESS; ++i) {
            std::string expected = home / (side + "/" + std::to_string(i));
            EXPECT_TRUE(std::binary_search(saved.begin(), saved.end(), expected)) << expected;
        }
}

}  // namespace
}  // namespace kelvor
