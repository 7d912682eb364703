#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "tests/support/run_kelvor.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::readFile;
using testing::TempHome;
using testing::writeFile;

testing::RunOutput exclude(const std::vector<std::string>& extra) { return testing::runKelvorMode("exclude", extra); }

TEST(ExcludeMode, AddListAndRemoveAPath) {
    TempHome home;
    fs::create_directories(home / "Models");
    fs::create_directories(home / "Old");
    auto empty = exclude({});
    EXPECT_EQ(empty.status, 0);
    EXPECT_EQ(empty.out, "The exclusion list is empty. Add one with: --mode exclude --path <dir>\n");
    auto added = exclude({"--path", "~/Models/"});
    EXPECT_EQ(added.status, 0) << added.err;
    EXPECT_EQ(added.out, "never offered again: " + (home / "Models") + "\n");
    ASSERT_EQ(exclude({"--path", home / "Old"}).status, 0);
    fs::remove(home / "Old");
    auto listed = exclude({});
    EXPECT_EQ(listed.status, 0);
    EXPECT_EQ(listed.out, "2 path(s) Kelvor will never offer:\n"
                          "  " + (home / "Models") + "\n"
                          "  " + (home / "Old") + "   (no longer on disk)\n"
                          "Remove one with: --mode exclude --path <dir> --force\n");
    auto removed = exclude({"--path", home / "models", "--force"});
    EXPECT_EQ(removed.status, 0) << removed.err;
    EXPECT_EQ(removed.out, "removed from the exclusion list: " + (home / "models") + "\n");
    auto notListed = exclude({"--force", "--path", home / "Models"});
    EXPECT_EQ(notListed.status, 0);
    EXPECT_EQ(notListed.out, "not in the exclusion list: " + (home / "Models") + "\n");
    EXPECT_EQ(nlohmann::json::parse(readFile(home / ".kelvor/excluded.json")), nlohmann::json::array({home / "Old"}));
}

TEST(ExcludeMode, RefusalsExitOneAndChangeNothing) {
    TempHome home;
    fs::create_directories(home / "Models");
    const std::string list = home / ".kelvor/excluded.json";
    auto nowhere = exclude({"--path", home / "nowhere"});
    EXPECT_EQ(nowhere.status, 1);
    EXPECT_EQ(nowhere.err, "no such path: " + (home / "nowhere") + "\n");
    auto empty = exclude({"--path", ""});
    EXPECT_EQ(empty.status, 1);
    EXPECT_NE(empty.err.find("--path is empty"), std::string::npos) << "never read as the current folder: " << empty.err;
    EXPECT_FALSE(fs::exists(list));

    writeFile(list, "[not json");
    auto unreadable = exclude({});
    EXPECT_EQ(unreadable.status, 1);
    EXPECT_NE(unreadable.err.find("exists but could not be read"), std::string::npos) << unreadable.err;
    EXPECT_EQ(exclude({"--path", home / "Models"}).status, 1);
    EXPECT_EQ(readFile(list), "[not json");

    fs::remove_all(home / ".kelvor");
    writeFile(home / ".kelvor", "a file where the data folder should be");
    auto unsaved = exclude({"--path", home / "Models"});
    EXPECT_EQ(unsaved.status, 1);
    EXPECT_EQ(unsaved.err, "could not save the exclusion list\n");
}

TEST(ExcludeMode, NamesAreListedWithTheirControlCharactersEscaped) {
    TempHome home;
    std::string odd = home / "odd\nname\x1b[31m";
    fs::create_directories(odd);
    ASSERT_EQ(exclude({"--path", odd}).status, 0);
    auto listed = exclude({});
    EXPECT_EQ(listed.out.find('\x1b'), std::string::npos) << listed.out;
    EXPECT_NE(listed.out.find("odd\\nname\\x1b[31m"), std::string::npos) << listed.out;
}

}  // namespace
}  // namespace kelvor
