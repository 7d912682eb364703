#include <gtest/gtest.h>

#include <set>

#include "quillet/automation/tools.hpp"

namespace kelvor {
namespace {

const McpTool& tool(std::string_view name) {
    const McpTool* found = findMcpTool(MCP_TOOLS, name);
    if (!found) throw std::runtime_error("no tool " + std::string(name));
    return *found;
}

TEST(McpTools, EveryListEntryIsNameDescriptionAndAnObjectSchemaWhoseDefaultsObeyItsOwnLimits) {
    std::set<std::string> names;
    for (const McpTool& each : MCP_TOOLS) {
        EXPECT_TRUE(names.insert(each.name).second) << each.name;
        EXPECT_FALSE(each.description.empty()) << each.name;
        EXPECT_EQ(toolListEntry(each), (Json{{"name", each.name}, {"description", each.description},
                                             {"inputSchema", each.inputSchema}}));
        EXPECT_EQ(each.inputSchema["type"], "object") << each.name;
        ASSERT_TRUE(each.inputSchema["properties"].is_object()) << each.name;
        for (const auto& [name, property] : each.inputSchema["properties"].items()) {
            EXPECT_TRUE(property.contains("type")) << each.name << "." << name;
            EXPECT_FALSE(property.value("description", "").empty()) << each.name << "." << name;
            if (!property.contains("default")) continue;
            const Json& fallback = property["default"];
            // A default is what a lenient read falls back to, so it must itself read back unchanged.
            EXPECT_EQ(readToolArguments(each, Json{{name, fallback}})[name], fallback) << each.name << "." << name;
            EXPECT_GE(fallback, property.value("minimum", fallback)) << each.name << "." << name;
            EXPECT_LE(fallback, property.value("maximum", fallback)) << each.name << "." << name;
        }
    }
}

TEST(McpTools, ArgumentsAreReadLeniently) {
    struct Case {
        const char* tool;
        Json arguments;
        Json read;
    };
    const Case cases[] = {
        // Missing arguments take the schema's defaults; a property without one stays absent.
        {"kelvor_clean", Json(), Json{{"max_level", 1}, {"disposal", "trash"}}},
        {"kelvor_clean", Json::array({1}), Json{{"max_level", 1}, {"disposal", "trash"}}},
        // An integer may come as a whole floating point number or as text.
        {"kelvor_clean", Json{{"max_level", 2.0}}, Json{{"max_level", 2}, {"disposal", "trash"}}},
        {"kelvor_clean", Json{{"max_level", "3"}}, Json{{"max_level", 3}, {"disposal", "trash"}}},
        // Out of range stays as sent: lowering it, and saying so, is the tool's answer to give.
        {"kelvor_clean", Json{{"max_level", 4}}, Json{{"max_level", 4}, {"disposal", "trash"}}},
        {"kelvor_clean", Json{{"max_level", 2.5}}, Json{{"max_level", 1}, {"disposal", "trash"}}},
        // An unknown disposal never becomes "delete".
        {"kelvor_clean", Json{{"disposal", "DELETE"}}, Json{{"max_level", 1}, {"disposal", "trash"}}},
        {"kelvor_clean", Json{{"disposal", "delete"}}, Json{{"max_level", 1}, {"disposal", "delete"}}},
        {"kelvor_clean", Json{{"keys", "one"}, {"extra", true}},
         Json{{"keys", {"one"}}, {"max_level", 1}, {"disposal", "trash"}}},
        {"kelvor_clean", Json{{"keys", Json::array({"a", 3, nullptr, "b"})}},
         Json{{"keys", {"a", "b"}}, {"max_level", 1}, {"disposal", "trash"}}},
        {"kelvor_clean", Json{{"plan_token", "plan_1"}, {"max_level", nullptr}},
         Json{{"plan_token", "plan_1"}, {"max_level", 1}, {"disposal", "trash"}}},
        // A number may come as integer, floating point or text; text that is not a number is dropped.
        {"kelvor_items", Json{{"min_mb", 25}}, Json{{"min_mb", 25.0}}},
        {"kelvor_items", Json{{"min_mb", 0.5}, {"tier", "A"}}, Json{{"min_mb", 0.5}, {"tier", "A"}}},
        {"kelvor_items", Json{{"min_mb", "12.5"}}, Json{{"min_mb", 12.5}}},
        {"kelvor_items", Json{{"min_mb", "12MB"}, {"tier", 7}}, Json::object()},
        {"kelvor_overview", Json{{"anything", 1}}, Json::object()},
    };
    for (const Case& each : cases)
        EXPECT_EQ(readToolArguments(tool(each.tool), each.arguments), each.read)
            << each.tool << " " << each.arguments.dump();
}

TEST(McpTools, AToolNotInThisBuildSaysSoAsAToolError) {
    EXPECT_EQ(findMcpTool(MCP_TOOLS, "kelvor_nosuch"), nullptr);
    ToolOutcome outcome = toolNotBuilt(tool("kelvor_memory"), Json::object());
    EXPECT_TRUE(outcome.isError);
    EXPECT_EQ(outcome.payload["tool"], "kelvor_memory");
    EXPECT_NE(outcome.payload["error"].get<std::string>().find("kelvor_memory"), std::string::npos);
}

}  // namespace
}  // namespace kelvor
