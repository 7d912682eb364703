#include "quillet/records/json_fields.hpp"

#include <gtest/gtest.h>

namespace kelvor {
namespace {

TEST(JsonFields, AMemberOfAnotherTypeIsNoneNeverAThrowOrAGuess) {
    const nlohmann::json row = nlohmann::json::parse(R"({"text": "a", "count": 18446744073709551615, "negative": -1,
        "fraction": 1.5, "huge": 1e300, "yes": true, "no": false, "list": ["a", "b"], "mixed": ["a", 1], "nothing": null})");
    EXPECT_EQ(stringField(row, "text"), "a");
    EXPECT_EQ(unsignedField(row, "count"), UINT64_MAX);
    EXPECT_EQ(boolField(row, "no"), false);
    EXPECT_TRUE(trueField(row, "yes"));
    EXPECT_EQ(stringListField(row, "list"), (std::vector<std::string>{"a", "b"}));
    for (const char* key : {"count", "yes", "list", "nothing", "absent"}) EXPECT_FALSE(stringField(row, key)) << key;
    for (const char* key : {"negative", "fraction", "huge", "text", "yes"}) EXPECT_FALSE(unsignedField(row, key)) << key;
    for (const char* key : {"text", "count", "nothing", "absent"}) EXPECT_FALSE(boolField(row, key)) << key;
    for (const char* key : {"mixed", "text", "absent"}) EXPECT_FALSE(stringListField(row, key)) << key;
    EXPECT_FALSE(trueField(row, "no"));
    EXPECT_FALSE(stringField(nlohmann::json::array({"text"}), "text")) << "not an object";
}

}  // namespace
}  // namespace kelvor
