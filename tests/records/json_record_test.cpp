#include "quillet/records/json_record.hpp"

#include <gtest/gtest.h>

#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::readFile;

TEST(JsonRecord, WrittenRecordsReadBackAndOneThatCannotBeEncodedLeavesTheOldOneWhole) {
    testing::TempHome home;
    const std::string path = home / "record.json";
    nlohmann::json value = {{"version", 1}, {"items", {"/a", "/b"}}};
    ASSERT_TRUE(writeJsonRecord(path, value).ok());
    Result<JsonRecord> read = readJsonRecord(path);
    ASSERT_TRUE(read.ok() && read->readable()) << read->problem;
    EXPECT_EQ(*read->value, value);
    const std::string before = readFile(path);
    EXPECT_FALSE(writeJsonRecord(path, {{"path", std::string("\xc3")}}).ok());
    EXPECT_EQ(readFile(path), before);
}

TEST(JsonRecord, AnUnreadableRecordIsReportedWithItsBytesAndLeftInPlace) {
    testing::TempHome home;
    const std::string path = home / "record.json";
    const std::string damaged = "{\"version\": 1, \"items\": [";
    testing::writeFile(path, damaged);
    Result<JsonRecord> read = readJsonRecord(path);
    ASSERT_TRUE(read.ok()) << "a file that exists is not missing";
    EXPECT_FALSE(read->readable());
    EXPECT_FALSE(read->problem.empty());
    EXPECT_EQ(read->text, damaged);
    EXPECT_EQ(readFile(path), damaged);
    Result<JsonRecord> missing = readJsonRecord(home / "absent.json");
    ASSERT_FALSE(missing.ok());
    EXPECT_EQ(missing.error().kind, ErrorKind::notFound);
}

}  // namespace
}  // namespace kelvor
