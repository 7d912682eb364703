#pragma once
// The automation protocol's fixed facts and its response envelopes: JSON-RPC 2.0 messages for the
// Model Context Protocol, one compact JSON object per line.
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace kelvor {

using Json = nlohmann::json;

inline constexpr std::string_view MCP_SERVER_NAME = "kelvor";

// Oldest first; the newest is what a client gets when it asks for nothing we know.
inline constexpr std::array<std::string_view, 4> SUPPORTED_PROTOCOLS = {
    "2024-11-05", "2025-03-26", "2025-06-18", "2025-11-25"};
inline constexpr std::string_view DEFAULT_PROTOCOL = "2025-11-25";

// A line longer than this many bytes is refused unread.
inline constexpr std::size_t MCP_MAX_LINE_BYTES = 1048576;

// A message nested deeper than this is refused before it is parsed: copying, comparing and
// printing a JSON value recurse once per level, and a line of a million brackets would
// overflow the stack.
inline constexpr std::size_t MCP_MAX_NESTING = 128;

inline constexpr int MCP_PARSE_ERROR = -32700;
inline constexpr int MCP_INVALID_REQUEST = -32600;
inline constexpr int MCP_METHOD_NOT_FOUND = -32601;
inline constexpr int MCP_INVALID_PARAMS = -32602;
inline constexpr int MCP_INTERNAL_ERROR = -32603;
inline constexpr int MCP_UNSUPPORTED_PROTOCOL = -32022;

// The `_meta` key with which a modern client announces its protocol version on every request.
inline constexpr std::string_view PROTOCOL_VERSION_META = "io.modelcontextprotocol/protocolVersion";

extern const std::string_view MCP_INSTRUCTIONS;
extern const std::string_view MCP_TRUST_TEXT;

// Which responses a client expects: `modern` once any request announced its version in `_meta`.
enum class ProtocolEra { legacy, modern };

bool isSupportedProtocol(std::string_view version);

// The version to answer "initialize" with: the requested one when supported, else the default
// (also when `requested` is absent or not a string); the client decides whether it can talk it.
std::string negotiatedProtocol(const Json& requested);

// {"jsonrpc":"2.0","id":id,"result":result}. In the modern era an object result without
// `resultType` gets "complete" — except an empty result, which stays {} in every era because
// clients validate empty results strictly (the official TypeScript SDK v1 rejects any key in a
// ping answer) and a modern client reads a missing `resultType` as complete anyway.
Json mcpResult(const Json& id, Json result, ProtocolEra era);

// {"jsonrpc":"2.0","id":id,"error":{"code","message","data" when given}}.
Json mcpError(const Json& id, int code, std::string_view message, std::optional<Json> data = std::nullopt);

// The tool result: one text item holding `payload` as JSON, and `isError`. An object payload
// gets the `_trust` key (MCP_TRUST_TEXT) unless it has one; anything else is wrapped as
// {"value": payload} first so the key always travels.
Json textContent(Json payload, bool isError);

// The deepest nesting of arrays and objects in `text`, brackets inside strings not counted.
// Stops counting at `stopAt`.
std::size_t jsonNestingDepth(std::string_view text, std::size_t stopAt = MCP_MAX_NESTING + 1);

// One message as one line of compact JSON without the newline. Never throws: text that is not
// valid UTF-8 is replaced, not refused.
std::string protocolLine(const Json& message);

}  // namespace kelvor
