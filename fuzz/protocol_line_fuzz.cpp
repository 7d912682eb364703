// Protocol lines from a confused or hostile client, one per line of the input, answered by the
// automation server with the real tools' names and schemas but bodies that only echo what they
// were given: the fuzzer must reach argument reading, never scan or move a file. Every answer is
// one line of JSON-RPC 2.0, and no line gets more than one.
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_check.hpp"
#include "quillet/automation/server.hpp"

namespace {

const std::vector<kelvor::McpTool>& echoTools() {
    static const std::vector<kelvor::McpTool> tools = [] {
        std::vector<kelvor::McpTool> copies = kelvor::MCP_TOOLS;
        for (kelvor::McpTool& tool : copies)
            tool.run = [](const kelvor::Json& arguments, kelvor::OperationContext&) {
                return kelvor::ToolOutcome{kelvor::Json{{"arguments", arguments}}, false};
            };
        return copies;
    }();
    return tools;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input(reinterpret_cast<const char*>(data), size);
    std::mutex lock;
    std::vector<std::string> answers;
    std::size_t lines = 0;
    {
        kelvor::McpServer server(
            [&](const std::string& line) {
                std::lock_guard<std::mutex> hold(lock);
                answers.push_back(line);
            },
            1, echoTools());
        while (!input.empty()) {
            std::size_t end = input.find('\n');
            server.receive(input.substr(0, end));
            ++lines;
            input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
        }
        server.finish();
    }
    FUZZ_CHECK(answers.size() <= lines);
    for (const std::string& answer : answers) {
        FUZZ_CHECK(answer.find('\n') == std::string::npos);
        kelvor::Json message = kelvor::Json::parse(answer, nullptr, false);
        FUZZ_CHECK(message.is_object());
        FUZZ_CHECK(message.value("jsonrpc", "") == "2.0");
        FUZZ_CHECK(message.contains("result") != message.contains("error"));
    }
    return 0;
}
