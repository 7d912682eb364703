#pragma once
// The tool table the automation server lists and calls (MCP_TOOLS), and the lenient reading of a
// call's arguments against a tool's input schema.
#include <functional>
#include <vector>
#include <span>
#include <string>
#include <string_view>

#include "quillet/automation/operation.hpp"
#include "quillet/automation/protocol.hpp"

namespace kelvor {

// What a tool answers: its payload (a JSON object) and whether it is a tool error.
struct ToolOutcome {
    Json payload = Json::object();
    bool isError = false;
};

using ToolBody = std::function<ToolOutcome(const Json& arguments, OperationContext& context)>;

struct McpTool {
    std::string name;
    std::string description;
    Json inputSchema;  // {"type":"object","properties":{...}}
    // The tool's body, given the arguments as readToolArguments leaves them. Empty while the tool
    // is not part of this build: the server then answers a tool error that says so.
    ToolBody run;
};

// The seven tools, in the order tools/list shows them. Built once at start-up, never changed.
extern const std::vector<McpTool> MCP_TOOLS;

// The tool named `name` in `tools`, or null.
const McpTool* findMcpTool(std::span<const McpTool> tools, std::string_view name);

// The tools/list entry: name, description and inputSchema.
Json toolListEntry(const McpTool& tool);

// The arguments a tool body sees: for each property of the schema, the value read leniently —
// a number given as integer, floating point or numeric text; an integer given as a whole floating
// point number; one string where a list of strings is expected; an enum value outside the enum
// dropped. A property missing or unreadable takes the schema's default, or stays absent. Keys the
// schema does not name are dropped; `arguments` that is not an object counts as no arguments.
Json readToolArguments(const McpTool& tool, const Json& arguments);

// The tool error for a tool whose body is not in this build: it names the tool, says nothing was
// read or changed, and shows the arguments as they were understood.
ToolOutcome toolNotBuilt(const McpTool& tool, const Json& arguments);

}  // namespace kelvor
