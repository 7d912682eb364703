// `kelvor --mode mcp` as an assistant's client starts it: a bare environment, lines on stdin.
#include <gtest/gtest.h>

#include "tests/automation/automation_fixture.hpp"

namespace kelvor {
namespace {

using namespace testing;

struct Session {
    RunOutput run;
    std::vector<Json> answers;
};

// Starts `kelvor --mode mcp` in a bare environment, sends `lines`, closes its input, and parses
// every line it wrote; a line that is not a JSON-RPC 2.0 object fails the test.
Session converse(const std::vector<std::string>& lines) {
    TempHome home;
    std::string input;
    for (const std::string& line : lines) input += line + "\n";
    Session session;
    // What a client passes to the server it starts: nothing but these six variables.
    session.run = runProgram({KELVOR_BINARY, "--mode", "mcp"}, input,
                             std::vector<std::string>{"HOME=" + home.path(), "PATH=/usr/local/bin:/usr/bin:/bin",
                                                      "SHELL=/bin/sh", "TERM=xterm-256color", "USER=kelvor-test",
                                                      "LOGNAME=kelvor-test"});
    std::istringstream out(session.run.out);
    for (std::string line; std::getline(out, line);) {
        Json message = Json::parse(line, nullptr, false);
        EXPECT_TRUE(message.is_object() && message.value("jsonrpc", "") == "2.0") << "stray output: " << line;
        if (message.is_object()) session.answers.push_back(message);
    }
    EXPECT_TRUE(session.run.out.empty() || session.run.out.back() == '\n');
    return session;
}

TEST(McpMode, VersionsProtocolErrorsNotificationsAndIdsOnTheWire) {
    Session session = converse({request(1, "initialize", Json{{"protocolVersion", "2025-06-18"}}),
                                request(2, "tools/list", Json{{"_meta", {{PROTOCOL_VERSION_META, "2030-01-01"}}}}),
                                R"({"jsonrpc":"2.0","id":3,"method":"no/such"})",
                                R"({"jsonrpc":"2.0","method":"notifications/initialized"})",
                                R"({"jsonrpc":"2.0","id":"req-7","method":"ping"})", R"({"jsonrpc":"2.0","id":2,)",
                                R"({"jsonrpc":"2.0","id":12345678901,"method":"ping"})"});
    EXPECT_EQ(session.run.status, 0);
    ASSERT_EQ(session.answers.size(), 6u) << session.run.out;
    EXPECT_EQ(session.answers[0]["result"]["protocolVersion"], "2025-06-18");
    const Json& refused = session.answers[1]["error"];
    EXPECT_EQ(refused["code"], -32022);
    EXPECT_EQ(refused["message"], "Unsupported protocol version");
    EXPECT_EQ(refused["data"]["supported"], (Json{"2024-11-05", "2025-03-26", "2025-06-18", "2025-11-25"}));
    EXPECT_EQ(session.answers[2]["error"]["code"], -32601);
    EXPECT_EQ(session.answers[2]["id"], 3);
    EXPECT_EQ(session.answers[3]["id"], "req-7") << "the notification in between got no answer";
    EXPECT_EQ(session.answers[4]["error"]["code"], -32700);
    EXPECT_TRUE(session.answers[4]["id"].is_null());
    EXPECT_EQ(session.answers[5]["id"], 12345678901LL);
}

TEST(McpMode, ALineOverTheLimitIsRefusedAndTheNextIsServed) {
    std::string atLimit = request(1, "ping");
    atLimit.insert(atLimit.size() - 1, MCP_MAX_LINE_BYTES - atLimit.size(), ' ');
    std::string overLimit = request(2, "ping");
    overLimit.insert(overLimit.size() - 1, MCP_MAX_LINE_BYTES + 1 - overLimit.size(), ' ');
    Session session = converse({atLimit, overLimit, request(3, "ping")});
    ASSERT_EQ(session.answers.size(), 3u) << session.run.out;
    EXPECT_EQ(session.answers[0]["id"], 1) << "exactly the limit is still a line";
    EXPECT_EQ(session.answers[0]["result"], Json::object());
    EXPECT_EQ(session.answers[1]["error"]["code"], -32600);
    EXPECT_EQ(session.answers[1]["error"]["message"], "request too large");
    EXPECT_TRUE(session.answers[1]["id"].is_null());
    EXPECT_EQ(session.answers[2]["id"], 3);
}

}  // namespace
}  // namespace kelvor
