#include "quillet/automation/assistant_clients.hpp"

namespace kelvor {

std::vector<JSONClient> jsonClients(const std::string& home, const std::string& configDir) {
    return {
        {"Cursor", home + "/.cursor", home + "/.cursor/mcp.json", "mcpServers"},
        {"Claude Desktop", configDir + "/Claude", configDir + "/Claude/claude_desktop_config.json", "mcpServers"},
        {"VS Code", configDir + "/Code/User", configDir + "/Code/User/mcp.json", "servers"},
        {"Windsurf", home + "/.codeium/windsurf", home + "/.codeium/windsurf/mcp_config.json", "mcpServers"},
        // User-scope servers of Claude Code live at the top of ~/.claude.json, beside its folder.
        {"Claude Code", home + "/.claude", home + "/.claude.json", "mcpServers"},
        {"Gemini CLI", home + "/.gemini", home + "/.gemini/settings.json", "mcpServers"},
    };
}

}  // namespace kelvor
