#include "quillet/automation/tools.hpp"

#include <cmath>
#include <cstdint>
#include <optional>
#include <cstdlib>

#include "quillet/automation/clean_tool.hpp"
#include "quillet/automation/free_tool.hpp"
#include "quillet/automation/overview_tool.hpp"
#include "quillet/automation/tool_duplicates.hpp"
#include "quillet/automation/tool_memory.hpp"
#include "quillet/automation/tool_recovery.hpp"
#include "quillet/i18n/text.hpp"

namespace kelvor {

namespace {

Json schema(Json properties) { return Json{{"type", "object"}, {"properties", std::move(properties)}}; }

Json property(std::string_view type, std::string_view description) {
    return Json{{"type", type}, {"description", description}};
}

Json stringList(std::string_view description) {
    return Json{{"type", "array"}, {"items", {{"type", "string"}}}, {"description", description}};
}

Json maxLevel() {
    Json level = property("integer",
        "How far down the recovery-cost ladder this may reach: 1 = comes back by itself (default), "
        "2 = also things a rebuild or re-download brings back, 3 = also things nobody has proven come "
        "back. Set it to what the PERSON chose, not to what fits your plan. 4 is not accepted.");
    level["default"] = 1;
    level["minimum"] = 1;
    level["maximum"] = 3;
    return level;
}

Json disposal() {
    Json choice = property("string", R"TXT("trash" moves the items and keeps a way back; "delete" also empties them, which is irreversible. Ask the person which they want; do not pick "delete" to save a step.)TXT");
    choice["enum"] = {"trash", "delete"};
    choice["default"] = "trash";
    return choice;
}

// A finite number from a JSON number or from text that is a number and nothing else.
std::optional<double> lenientNumber(const Json& value) {
    if (value.is_number()) {
        double number = value.get<double>();
        if (std::isfinite(number)) return number;
        return std::nullopt;
    }
    if (!value.is_string()) return std::nullopt;
    const std::string& text = value.get_ref<const std::string&>();
    if (text.empty()) return std::nullopt;
    char* end = nullptr;
    double number = std::strtod(text.c_str(), &end);
    if (end != text.c_str() + text.size() || !std::isfinite(number)) return std::nullopt;
    return number;
}

std::optional<Json> readProperty(const Json& property, const Json& value) {
    const std::string type = property.value("type", "");
    if (type == "number") {
        if (auto number = lenientNumber(value)) return Json(*number);
        return std::nullopt;
    }
    if (type == "integer") {
        if (value.is_number_integer()) return value;
        auto number = lenientNumber(value);
        // 2.0 is the integer 2; 2.5 is not a whole number and reads as missing.
        if (number && std::trunc(*number) == *number && std::fabs(*number) < 9.0e15)
            return Json(static_cast<std::int64_t>(*number));
        return std::nullopt;
    }
    if (type == "string") {
        if (!value.is_string()) return std::nullopt;
        if (property.contains("enum")) {
            for (const Json& allowed : property["enum"])
                if (allowed == value) return value;
            return std::nullopt;
        }
        return value;
    }
    if (type == "array") {
        if (value.is_string()) return Json::array({value});
        if (!value.is_array()) return std::nullopt;
        Json strings = Json::array();
        for (const Json& item : value)
            if (item.is_string()) strings.push_back(item);
        return strings;
    }
    return value;
}

}  // namespace

// An empty body answers toolNotBuilt; each body joins its row as its operations land.
const std::vector<McpTool> MCP_TOOLS = {
    {"kelvor_overview",
     R"TXT(Disk usage overview by OWNER (the tool that owns the bytes, not the folder): tier totals, the level ladder (how much sits at each level of recovery cost, and what each cap gets back), reclaimable space, largest owners, and what grew recently. Usually fast (journal-cached); a folder that does not answer — most often one macOS is still waiting for permission on — is given up on and counted in folders_that_did_not_answer rather than waited for.)TXT",
     schema(Json::object()), toolOverview},
    {"kelvor_items",
     R"TXT(List reclaimable items with safety tiers and a LEVEL each: 1 = comes back by itself, 2 = comes back but a rebuild or big re-download costs real time, 3 = not proven to come back, 4 = the person's own files (listed, never deletable here). Present the levels to the person, ask how far they want to go, and pass that number to kelvor_clean as max_level. Each item carries a stable `key` used by kelvor_clean, a recovery story, and whether its delete-safety is verified.)TXT",
     schema(Json{
                  {"tier", property("string", "Filter by tier")},
                  {"min_mb", property("number", "Minimum size in MB (default 10)")}}), toolItems},
    {"kelvor_clean",
     R"TXT(Clean up disk space, in TWO calls. Call it WITHOUT plan_token first: the server picks the items itself (everything up to max_level, narrowed by `keys` if you name any), touches nothing, and returns the exact list plus a plan_token. Show that list to the person in their own language, say what it totals, and ask. Only if they agree, call again with plan_token alone — it runs exactly that list, once, within 5 minutes, and refuses any row that changed on disk meanwhile. You choose `disposal`: "trash" moves with an undo record (the space returns when the Trash is emptied), "delete" moves and empties in the same approval and cannot be undone. Never raise max_level or choose "delete" on your own — those are the person's answers, not yours.)TXT",
     schema(Json{
                  {"keys", stringList("Item keys from kelvor_items. Omit to mean every eligible item up to max_level.")},
                  {"max_level", maxLevel()},
                  {"disposal", disposal()},
                  {"plan_token", property("string", "Only on the second call, after the person agreed to the plan. Send it alone: keys, max_level and disposal are already fixed in the plan.")}}),
     [](const Json& arguments, OperationContext& context) { return toolClean(arguments, context); }},
    {"kelvor_free",
     R"TXT(Empty what EARLIER runs left in the Trash, so the space actually comes back. (A single kelvor_clean with disposal:"delete" already covers the usual case; this is for rows moved before.) Same two calls: without plan_token it returns the rows, their size and what brings each one back, and touches nothing; with plan_token it empties exactly those, irreversibly. Only rows Kelvor itself moved are candidates — whatever else is in the Trash is the person's and is never touched.)TXT",
     schema(Json{
                  {"ids", stringList("Row ids from the planning call; omit to mean every row Kelvor moved")},
                  {"plan_token", property("string", "Only on the second call, after the person agreed. Send it alone.")}}),
     [](const Json& arguments, OperationContext& context) { return toolFree(arguments, context); }},
    {"kelvor_recovery",
     R"TXT(What Kelvor has deleted and what can still be brought back: rows held in quarantine (with the days left before they move on), rows sitting in the Trash (still undoable, and the space not yet returned), and rows already gone or already restored. Each row carries the exact command that puts it back, plus whether the owning tool has since rebuilt the original — in which case the copy cannot go back and is only taking up room. Report-only. Use it for "put that back", "what did you delete", or before suggesting kelvor_free.)TXT",
     schema(Json::object()), [](const Json&, OperationContext&) { return ToolOutcome{toolRecovery(), false}; }},
    {"kelvor_memory",
     R"TXT(Unified-memory picture: the kernel's own pressure verdict, swap, compressed, plus model-serving daemons (Ollama, LM Studio, llama.cpp, MLX...) holding weights resident — with the tool's own stop command. Report-only.)TXT",
     schema(Json::object()),
     [](const Json&, OperationContext&) { return ToolOutcome{toolMemory(), false}; }},
    {"kelvor_duplicates",
     R"TXT(Find byte-identical duplicate model files across tools (Ollama blobs, HuggingFace hub, wild GGUF/safetensors), proven by digest. Report-only; slower (full-disk sweep).)TXT",
     schema(Json{
                  {"min_mb", property("number", "Minimum file size in MB (default 100)")}}),
     [](const Json& arguments, OperationContext& context) {
         return ToolOutcome{toolDuplicates(arguments.value("min_mb", 100.0), context), false};
     }},
};

const McpTool* findMcpTool(std::span<const McpTool> tools, std::string_view name) {
    for (const McpTool& tool : tools)
        if (tool.name == name) return &tool;
    return nullptr;
}

Json toolListEntry(const McpTool& tool) {
    return Json{{"name", tool.name}, {"description", tool.description}, {"inputSchema", tool.inputSchema}};
}

Json readToolArguments(const McpTool& tool, const Json& arguments) {
    Json read = Json::object();
    const Json& properties = tool.inputSchema["properties"];
    for (const auto& [name, property] : properties.items()) {
        std::optional<Json> value;
        if (arguments.is_object() && arguments.contains(name) && !arguments[name].is_null())
            value = readProperty(property, arguments[name]);
        if (!value && property.contains("default")) value = property["default"];
        if (value) read[name] = std::move(*value);
    }
    return read;
}

ToolOutcome toolNotBuilt(const McpTool& tool, const Json& arguments) {
    ToolOutcome outcome;
    outcome.isError = true;
    outcome.payload = Json{{"tool", tool.name},
                           {"error", trf(S::mcpToolNotBuilt, {tool.name})},
                           {"for_the_assistant", trf(S::mcpToolNotBuiltAdvice)},
                           {"arguments_read", arguments}};
    return outcome;
}

}  // namespace kelvor
