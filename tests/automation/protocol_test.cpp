#include <gtest/gtest.h>

#include "quillet/automation/protocol.hpp"

namespace kelvor {
namespace {

TEST(McpProtocol, NegotiationKeepsAKnownVersionAndOtherwiseOffersTheNewest) {
    struct Case {
        Json requested;
        std::string answer;
    };
    for (const Case& each : {Case{"2025-06-18", "2025-06-18"}, Case{"2024-11-05", "2024-11-05"},
                             Case{"1999-01-01", "2025-11-25"}, Case{Json(), "2025-11-25"},
                             Case{20250618, "2025-11-25"}, Case{"2025-06-18 ", "2025-11-25"}})
        EXPECT_EQ(negotiatedProtocol(each.requested), each.answer) << each.requested.dump();
}

TEST(McpProtocol, ModernEraMarksResultsCompleteUnlessTheyStateTheirTypeOrAreEmpty) {
    EXPECT_EQ(mcpResult(7, Json{{"tools", 1}}, ProtocolEra::modern)["result"]["resultType"], "complete");
    EXPECT_EQ(mcpResult(7, Json{{"resultType", "partial"}}, ProtocolEra::modern)["result"]["resultType"], "partial");
    // The official TypeScript SDK v1 client parses a ping answer with a strict empty schema and
    // fails on any key at all, so an empty result stays {} in the modern era too.
    EXPECT_EQ(mcpResult(7, Json::object(), ProtocolEra::modern)["result"], Json::object());
}

TEST(McpProtocol, AnErrorWithoutDataHasNoDataField) {
    Json bare = mcpError(nullptr, MCP_PARSE_ERROR, "parse error");
    EXPECT_TRUE(bare["id"].is_null());
    EXPECT_EQ(bare["error"], (Json{{"code", -32700}, {"message", "parse error"}}));
}

TEST(McpProtocol, TextContentWrapsAPayloadThatIsNotAnObjectBesideTheTrustNote) {
    Json result = textContent(Json::array({1, 2}), false);
    ASSERT_EQ(result["content"].size(), 1u);
    EXPECT_EQ(result["content"][0]["type"], "text");
    EXPECT_EQ(Json::parse(result["content"][0]["text"].get<std::string>()),
              (Json{{"value", {1, 2}}, {"_trust", MCP_TRUST_TEXT}}));
}

TEST(McpProtocol, NestingDepthCountsBracketsOutsideStringsOnly) {
    struct Case {
        std::string text;
        std::size_t depth;
    };
    for (const Case& each : {Case{"1", 0}, Case{"{}", 1}, Case{R"({"a":[{"b":[]}]})", 4},
                             Case{R"({"a":"[[[{{{"})", 1}, Case{R"({"a":"\"[[["})", 1},
                             Case{R"({"a":"\\"}[[)", 2}, Case{"]]]][", 1}})
        EXPECT_EQ(jsonNestingDepth(each.text), each.depth) << each.text;
    EXPECT_EQ(jsonNestingDepth(std::string(100000, '['), 10), 10u) << "counting stops at the limit";
}

TEST(McpProtocol, ALineIsOneLineWhateverTheTextHolds) {
    // A file name may hold a newline or bytes that are not UTF-8; the line must stay one line
    // and serialising must not throw.
    Json message{{"name", std::string("a\nb\x01\xff\xfe")}};
    std::string line;
    ASSERT_NO_THROW(line = protocolLine(message));
    EXPECT_EQ(line.find('\n'), std::string::npos) << line;
    EXPECT_FALSE(Json::parse(line, nullptr, false).is_discarded()) << line;
}

}  // namespace
}  // namespace kelvor
