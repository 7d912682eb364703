#include "quillet/rules/support_matrix.hpp"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "quillet/rules/catalog.hpp"
#include "quillet/rules/linux_catalog.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using nlohmann::json;

// The rows of the rule table: the lines after its header and separator, up to the first blank line.
std::vector<std::string> ruleRows(const std::string& matrix) {
    std::vector<std::string> rows;
    std::istringstream lines(matrix);
    bool inside = false;
    for (std::string line; std::getline(lines, line);) {
        if (line == "| component | path | tier | verified | burden | one-click | relocatable via |") {
            inside = true;
            std::getline(lines, line);  // the separator
        } else if (inside && line.empty()) {
            break;
        } else if (inside) {
            rows.push_back(line);
        }
    }
    return rows;
}

TEST(SupportMatrix, OpensWithTitleAndTierTableThenOneSortedRowPerRule) {
    std::string matrix = renderSupportMatrix();
    EXPECT_TRUE(matrix.starts_with("# Kelvor — support matrix\n")) << matrix.substr(0, 80);
    for (const char* line : {"**Generated from the code. Do not edit by hand.**", "| A · re-downloadable | R · Recoverable |",
                             "| B · rebuildable | R · Recoverable |", "| C · yours | I · In your hands |",
                             "| ! · protected | P · Protected |", "## One-click", "## Groups found by evidence",
                             "## Uninstallers", "## Irreversible surfaces", "## Deliberately not supported"})
        EXPECT_NE(matrix.find(std::string(line) + "\n"), std::string::npos) << line;
    std::vector<std::string> rows = ruleRows(matrix);
    ASSERT_EQ(rows.size(), CATALOG.size());
    EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end(), [](const std::string& a, const std::string& b) {
        return a.substr(2, a.find(" · ") - 2) < b.substr(2, b.find(" · ") - 2);
    })) << "rows are grouped by owner in sorted order";
    for (const std::string row : {"| HuggingFace · Xet chunk cache | `~/.cache/huggingface/xet/chunk-cache` | B · rebuildable "
                                  "| yes | interruptive | — | `HF_XET_CACHE`, `HF_HOME`, `XDG_CACHE_HOME` |",
                                  "| npm · Package cache | `~/.npm/_cacache` | A · re-downloadable | yes | transparent | yes "
                                  "| `npm_config_cache` |"})
        EXPECT_NE(std::find(rows.begin(), rows.end(), row), rows.end()) << row;
}

TEST(SupportMatrix, RelocatableViaListsEachVariableOnceInLookupOrder) {
    EXPECT_EQ(relocatableVia(Rule{.owner = "x", .base = Base::hf, .directEnv = "HF_HOME"}),
              (std::vector<std::string>{"HF_HOME", "XDG_CACHE_HOME"}));
    EXPECT_TRUE(relocatableVia(Rule{.owner = "x"}).empty());
}

TEST(SupportMatrix, ALinuxSectionListsTheLinuxTableWithItsXdgVariables) {
    std::string matrix = renderSupportMatrix();
    size_t section = matrix.find("\n## Linux stores (" + std::to_string(linuxTableRules().size()) + ")\n");
    ASSERT_NE(section, std::string::npos);
    std::vector<std::string> rows = ruleRows(matrix.substr(section));
    EXPECT_EQ(rows.size(), linuxTableRules().size());
    const std::pair<std::string, std::string> endings[] = {
        {"~/.config/Code/CachedData", "| `XDG_CONFIG_HOME` |"},
        {"~/.local/share/pnpm/store", "| `npm_config_store_dir`, `PNPM_HOME`, `XDG_DATA_HOME` |"},
        {"~/.cache/bazel", "| — |"},  // Bazel ignores XDG_CACHE_HOME
    };
    for (const auto& expected : endings)
        EXPECT_TRUE(std::any_of(rows.begin(), rows.end(), [&](const std::string& row) {
            return row.find("| `" + expected.first + "` |") != std::string::npos && row.ends_with(expected.second);
        })) << expected.first << " " << expected.second;
    EXPECT_NE(matrix.find("| `target/` | `Cargo.toml` beside | B · rebuildable |"), std::string::npos);
    EXPECT_NE(matrix.find("| `build/` | `CMakeCache.txt` inside | B · rebuildable |"), std::string::npos);
}

TEST(SupportJson, EveryRuleWithEveryFieldAndTheLinuxTable) {
    json document = json::parse(renderSupportJSON());
    ASSERT_EQ(document["rules"].size(), CATALOG.size());
    EXPECT_EQ(document["count"], CATALOG.size());
    const json& first = document["rules"][0];
    const std::pair<const char*, json> expected[] = {
        {"/owner", "HuggingFace"}, {"/component", "Xet 청크 캐시"}, {"/componentEnglish", "Xet chunk cache"},
        {"/directEnv", "HF_XET_CACHE"}, {"/envSub", "chunk-cache"}, {"/tier", "B"}, {"/burden", "interruptive"},
        {"/base/envVars", json::array({"HF_HOME"})}, {"/base/xdgName", "huggingface"}};
    for (const auto& [field, value] : expected) EXPECT_EQ(first.value(json::json_pointer(field), json()), value) << field;
    for (const char* field : {"sub", "recovery", "source", "verified", "liveSafe", "probeKnownFiles", "probeBulk"})
        EXPECT_TRUE(first.contains(field)) << field;
    int oneClick = 0;
    for (const json& rule : document["rules"]) {
        oneClick += rule["oneClick"].get<bool>();
        EXPECT_FALSE(rule["recoveryEnglish"].is_null()) << rule["owner"] << " " << rule["sub"];
    }
    EXPECT_GT(oneClick, 0);

    const json& linux = document["linux"];
    ASSERT_EQ(linux["rules"].size(), linuxTableRules().size());
    EXPECT_EQ(linux["count"], linuxTableRules().size());
    bool sawConfig = false;
    for (const json& rule : linux["rules"]) {
        EXPECT_FALSE(rule["componentEnglish"].is_null()) << rule["owner"] << " " << rule["sub"];
        sawConfig |= rule["base"]["xdgVar"] == "XDG_CONFIG_HOME" && rule["defaultPath"] == "~/.config/Code/CachedData";
    }
    EXPECT_TRUE(sawConfig);
}

TEST(SupportModes, TheBinaryPrintsBothDocumentsInEnglish) {
    testing::TempHome home;
    auto matrix = testing::runKelvorBinary({"--mode", "support-matrix", "--lang", "ko"});
    EXPECT_EQ(matrix.status, 0);
    EXPECT_NE(matrix.out.find("| ! · protected | P · Protected |"), std::string::npos) << "forced to English";
    EXPECT_FALSE(std::filesystem::exists(home / ".kelvor")) << "no housekeeping before a support document";
    auto printed = testing::runKelvorBinary({"--mode", "support-json"});
    EXPECT_EQ(printed.status, 0);
    json document = json::parse(printed.out, nullptr, false);
    EXPECT_FALSE(document.is_discarded()) << printed.out.substr(0, 200);
}

}  // namespace
}  // namespace kelvor
