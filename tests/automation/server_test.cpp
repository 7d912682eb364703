#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "quillet/automation/server.hpp"
#include "tests/automation/automation_fixture.hpp"

namespace kelvor {
namespace {

using testing::request;
using testing::toolPayload;

// The lines a server sent, with a way to wait for the next one.
class Outbox {
public:
    LineSink sink() {
        return [this](const std::string& line) {
            std::lock_guard<std::mutex> hold(lock_);
            lines_.push_back(Json::parse(line));
            arrived_.notify_all();
        };
    }
    // Waits until `count` lines have arrived (at most five seconds); true when they have.
    bool waitFor(std::size_t count) {
        std::unique_lock<std::mutex> hold(lock_);
        return arrived_.wait_for(hold, std::chrono::seconds(5), [&] { return lines_.size() >= count; });
    }
    std::vector<Json> lines() {
        std::lock_guard<std::mutex> hold(lock_);
        return lines_;
    }

private:
    std::mutex lock_;
    std::condition_variable arrived_;
    std::vector<Json> lines_;
};

// Everything the server answers to `lines`, in order.
std::vector<Json> serve(const std::vector<std::string>& lines, std::span<const McpTool> tools = MCP_TOOLS) {
    Outbox outbox;
    McpServer server(outbox.sink(), 1, tools);
    for (const std::string& line : lines) server.receive(line);
    server.finish();
    return outbox.lines();
}

TEST(McpServer, AnswersInArrivalOrderWithEachIdOfItsTypeAndNeverANotificationOrAResponse) {
    const std::vector<std::string> ids = {"\"7\"", "7", "-1", "0.5", "18446744073709551615", "\"\"", "null"};
    std::vector<std::string> lines = {R"({"jsonrpc":"2.0","method":"notifications/initialized"})",
                                      R"({"jsonrpc":"2.0","method":"ping"})", R"({"jsonrpc":"2.0","id":9,"result":{}})"};
    for (const std::string& id : ids) lines.push_back(R"({"jsonrpc":"2.0","method":"ping","id":)" + id + "}");
    lines.push_back(request(3, "tools/list"));
    auto answers = serve(lines);
    ASSERT_EQ(answers.size(), ids.size() + 1);
    for (std::size_t i = 0; i < ids.size(); ++i) EXPECT_EQ(answers[i]["id"].dump(), Json::parse(ids[i]).dump()) << i;
    EXPECT_EQ(answers.back()["id"], 3);
}

TEST(McpServer, BadMessagesAreAnsweredWithTheirCodes) {
    struct Case {
        std::string line;
        int code;
        Json id;
    };
    const Case cases[] = {
        {"{not json", MCP_PARSE_ERROR, nullptr},
        {"[1,2]", MCP_INVALID_REQUEST, nullptr},
        {"null", MCP_INVALID_REQUEST, nullptr},
        {"", MCP_PARSE_ERROR, nullptr},
        {R"({"jsonrpc":"2.0","id":{"a":1},"method":"ping"})", MCP_INVALID_REQUEST, nullptr},
        {R"({"jsonrpc":"2.0","id":4,"method":7})", MCP_INVALID_REQUEST, 4},
        {request(5, "resources/list"), MCP_METHOD_NOT_FOUND, 5},
        {R"({"jsonrpc":"2.0","id":6,"method":"ping","params":[1]})", MCP_INVALID_PARAMS, 6},
        {request(7, "tools/call", Json{{"name", "kelvor_nosuch"}}), MCP_INVALID_PARAMS, 7},
        {request(8, "tools/call", Json::object()), MCP_INVALID_PARAMS, 8},
        {request(9, "tools/call", Json{{"name", "kelvor_memory"}, {"arguments", "all"}}), MCP_INVALID_PARAMS, 9},
    };
    for (const Case& each : cases) {
        auto answers = serve({each.line});
        ASSERT_EQ(answers.size(), 1u) << each.line;
        EXPECT_EQ(answers[0]["error"]["code"], each.code) << each.line;
        EXPECT_EQ(answers[0]["id"], each.id) << each.line;
        EXPECT_FALSE(answers[0].contains("result")) << each.line;
    }
    auto unknown = serve({request(1, "tools/call", Json{{"name", "kelvor_nosuch"}})});
    EXPECT_EQ(unknown[0]["error"]["message"], "unknown tool: kelvor_nosuch");
}

TEST(McpServer, DeepNestingIsRefusedUnparsedAndTheServerGoesOn) {
    const std::string deep = std::string(200000, '[') + std::string(200000, ']');
    auto answers = serve({R"({"jsonrpc":"2.0","id":1,"method":"ping","params":{"x":)" + deep + "}}",
                          R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":)" + deep + "}}",
                          // Brackets inside a string are text, not nesting.
                          request(2, "ping", Json{{"note", std::string(1000, '[')}})});
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_EQ(answers[0]["error"]["code"], MCP_INVALID_REQUEST);
    EXPECT_TRUE(answers[0]["id"].is_null());
    EXPECT_EQ(answers[1]["error"]["code"], MCP_INVALID_REQUEST);
    EXPECT_EQ(answers[2]["id"], 2);
}

TEST(McpServer, AnUnsupportedAnnouncedVersionIsRefusedAndLeavesTheEraAlone) {
    Outbox outbox;
    McpServer server(outbox.sink(), 1);
    server.receive(request(1, "tools/list", Json{{"_meta", {{PROTOCOL_VERSION_META, "2030-01-01"}}}}));
    server.finish();
    auto answers = outbox.lines();
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0]["error"]["code"], MCP_UNSUPPORTED_PROTOCOL);
    EXPECT_EQ(answers[0]["error"]["data"]["requested"], "2030-01-01");
    EXPECT_EQ(server.era(), ProtocolEra::legacy);
}

TEST(McpServer, AModernRequestChangesOnlyTheCachingHintsOfLaterLists) {
    auto answers = serve({request(1, "tools/list"), request(2, "ping", Json{{"_meta", {{PROTOCOL_VERSION_META, "2025-11-25"}}}}),
                          request(3, "tools/list")});
    ASSERT_EQ(answers.size(), 3u);
    Json before = answers[0]["result"];
    Json after = answers[2]["result"];
    EXPECT_EQ(after["ttlMs"], 3600000);
    EXPECT_EQ(after["cacheScope"], "public");
    EXPECT_EQ(after["resultType"], "complete");
    after.erase("ttlMs");
    after.erase("cacheScope");
    after.erase("resultType");
    EXPECT_EQ(before, after);
    EXPECT_EQ(answers[1]["result"], Json::object()) << "an empty ping answer stays empty";
}

TEST(McpServer, InitializeAndDiscoverNameTheServer) {
    auto answers = serve({request(1, "initialize", Json{{"protocolVersion", "2025-03-26"}}), request(2, "server/discover")});
    ASSERT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[0]["result"]["protocolVersion"], "2025-03-26");
    EXPECT_EQ(answers[0]["result"]["serverInfo"]["name"], "kelvor");
    EXPECT_TRUE(answers[0]["result"]["capabilities"]["tools"].is_object());
    EXPECT_EQ(answers[1]["result"]["_meta"]["io.modelcontextprotocol/serverInfo"],
              answers[0]["result"]["serverInfo"]);
}

TEST(McpServer, AToolCallIsWrappedAsTextWithTrustAndItsArgumentsReadLeniently) {
    // A tool of the test's own that hands back what it was given, so the wrapping is seen alone.
    McpTool echo{"echo", "answers its arguments",
                 Json{{"type", "object"}, {"properties", {{"min_mb", {{"type", "number"}}}}}},
                 [](const Json& arguments, OperationContext&) { return ToolOutcome{Json{{"read", arguments}}, true}; }};
    std::vector<McpTool> table{echo};
    auto answers = serve({request(1, "tools/call", Json{{"name", "echo"}, {"arguments", {{"min_mb", "50"}}}})}, table);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0]["result"]["isError"], true);
    Json payload = toolPayload(answers[0]);
    EXPECT_EQ(payload["_trust"], MCP_TRUST_TEXT);
    EXPECT_EQ(payload["read"]["min_mb"], 50.0);
}

// A server whose one tool works in steps until it is cancelled, reporting each step.
struct SlowServer {
    std::atomic<bool> sawCancel{false};
    std::atomic<int> steps{0};
    std::vector<McpTool> tools = {McpTool{"slow", "works until cancelled",
                                          Json{{"type", "object"}, {"properties", Json::object()}}, {}}};
    Outbox outbox;
    McpServer server{outbox.sink(), 1, tools};
    SlowServer() {
        tools[0].run = [this](const Json&, OperationContext& context) {
            for (int step = 1; step <= 200; ++step) {
                if (context.cancelled()) {
                    sawCancel = true;
                    return ToolOutcome{Json{{"stopped_at", step}}, false};
                }
                steps = step;
                context.report(step, 200.0, "working");
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
            return ToolOutcome{Json{{"finished", true}}, false};
        };
    }
};

TEST(McpServer, ProgressIsReportedWithTheRequestsTokenAndACancelStopsTheWork) {
    SlowServer slow;
    slow.server.receive(request(41, "tools/call", Json{{"name", "slow"}, {"_meta", {{"progressToken", "scan-1"}}}}));
    ASSERT_TRUE(slow.outbox.waitFor(2)) << "progress arrives while the tool runs";
    // The reading side is free: the cancellation reaches the running request at once.
    slow.server.receive(R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":41,"reason":"x"}})");
    slow.server.receive(request(42, "ping"));
    slow.server.finish();
    EXPECT_TRUE(slow.sawCancel);
    EXPECT_LT(slow.steps, 200);
    auto lines = slow.outbox.lines();
    ASSERT_GE(lines.size(), 3u);
    double last = 0;
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
        EXPECT_EQ(lines[i]["method"], "notifications/progress") << lines[i].dump();
        EXPECT_EQ(lines[i]["params"]["progressToken"], "scan-1");
        EXPECT_GT(lines[i]["params"]["progress"].get<double>(), last);
        last = lines[i]["params"]["progress"].get<double>();
        EXPECT_FALSE(lines[i].contains("id")) << "a notification has no id";
    }
    EXPECT_EQ(lines.back()["id"], 42) << "the cancelled request gets no answer; the next one does";
}

TEST(McpServer, WithoutATokenNoProgressIsSentAndACancelForAQueuedRequestSkipsIt) {
    SlowServer slow;
    slow.server.receive(request(1, "tools/call", Json{{"name", "slow"}}));
    slow.server.receive(request(2, "ping"));
    for (int wait = 0; wait < 500 && slow.steps == 0; ++wait) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_GT(slow.steps, 0) << "the tool started";
    slow.server.receive(R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":2}})");
    slow.server.receive(R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":1}})");
    slow.server.receive(request(3, "ping"));
    slow.server.finish();
    auto lines = slow.outbox.lines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0]["id"], 3);
    EXPECT_TRUE(slow.sawCancel);
}

TEST(McpServer, ACancelNamingAnotherRequestLeavesTheRunningOneAlone) {
    SlowServer slow;
    slow.server.receive(request("a", "tools/call", Json{{"name", "slow"}, {"_meta", {{"progressToken", 5}}}}));
    ASSERT_TRUE(slow.outbox.waitFor(1));
    slow.server.receive(R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":"b"}})");
    slow.server.receive(R"({"jsonrpc":"2.0","method":"notifications/cancelled"})");
    slow.server.finish();
    auto lines = slow.outbox.lines();
    EXPECT_FALSE(slow.sawCancel);
    EXPECT_EQ(lines.front()["params"]["progressToken"], 5);
    EXPECT_EQ(lines.back()["id"], "a");
    EXPECT_EQ(toolPayload(lines.back())["finished"], true);
}

}  // namespace
}  // namespace kelvor
