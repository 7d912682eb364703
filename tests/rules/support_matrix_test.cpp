#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "quillet/rules/catalog.hpp"
#include "quillet/rules/linux_catalog.hpp"
#include "quillet/rules/support_matrix.hpp"
#include "tests/support/run_kelvor.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

using testing::runKelvorBinary;
using testing::TempHome;

const std::string RULE_HEADER = "| component | path | tier | verified | burden | one-click | relocatable via |";

// The rows of the rule table: the lines after its header and separator, up to the first blank line.
std::vector<std::string> ruleRows(const std::string& matrix) {
    std::vector<std::string> rows;
    std::istringstream lines(matrix);
    std::string line;
    bool inside = false;
    while (std::getline(lines, line)) {
        if (line == RULE_HEADER) {
            inside = true;
            std::getline(lines, line);  // the separator
            continue;
        }
        if (inside && line.empty()) break;
        if (inside) rows.push_back(line);
    }
    return rows;
}

TEST(SupportMatrix, OpensWithTitleGeneratedLineAndTierTable) {
    std::string matrix = renderSupportMatrix();
    EXPECT_TRUE(matrix.starts_with("# Kelvor — support matrix\n")) << matrix.substr(0, 80);
    for (const char* line : {"**Generated from the code. Do not edit by hand.**", "| A · re-downloadable | R · Recoverable |",
                             "| B · rebuildable | R · Recoverable |", "| C · yours | I · In your hands |",
                             "| ! · protected | P · Protected |", "## One-click", "## Groups found by evidence",
                             "## Uninstallers", "## Irreversible surfaces", "## Deliberately not supported"})
        EXPECT_NE(matrix.find(std::string(line) + "\n"), std::string::npos) << line;
}

TEST(SupportMatrix, OneSortedRowPerRule) {
    std::vector<std::string> rows = ruleRows(renderSupportMatrix());
    ASSERT_EQ(rows.size(), CATALOG.size());
    EXPECT_TRUE(std::is_sorted(rows.begin(), rows.end(), [](const std::string& a, const std::string& b) {
        return a.substr(2, a.find(" · ") - 2) < b.substr(2, b.find(" · ") - 2);
    })) << "rows are grouped by owner in sorted order";
    const std::string xet = "| HuggingFace · Xet chunk cache | `~/.cache/huggingface/xet/chunk-cache` | B · rebuildable | yes "
                            "| interruptive | — | `HF_XET_CACHE`, `HF_HOME`, `XDG_CACHE_HOME` |";
    EXPECT_NE(std::find(rows.begin(), rows.end(), xet), rows.end()) << xet;
    const std::string npm = "| npm · Package cache | `~/.npm/_cacache` | A · re-downloadable | yes | transparent | yes "
                            "| `npm_config_cache` |";
    EXPECT_NE(std::find(rows.begin(), rows.end(), npm), rows.end()) << npm;
}

TEST(SupportMatrix, RelocatableViaListsEachVariableOnceInLookupOrder) {
    Rule rule{.owner = "x", .base = Base::hf, .directEnv = "HF_HOME"};
    EXPECT_EQ(relocatableVia(rule), (std::vector<std::string>{"HF_HOME", "XDG_CACHE_HOME"}));
    EXPECT_TRUE(relocatableVia(Rule{.owner = "x"}).empty());
}

TEST(SupportJson, EveryRuleWithEveryField) {
    nlohmann::json document = nlohmann::json::parse(renderSupportJSON());
    ASSERT_EQ(document["rules"].size(), 388u);
    EXPECT_EQ(document["count"], 388);
    const nlohmann::json& first = document["rules"][0];
    EXPECT_EQ(first["owner"], "HuggingFace");
    EXPECT_EQ(first["component"], "Xet 청크 캐시");
    EXPECT_EQ(first["componentEnglish"], "Xet chunk cache");
    EXPECT_EQ(first["base"]["envVars"], nlohmann::json::array({"HF_HOME"}));
    EXPECT_EQ(first["base"]["xdgName"], "huggingface");
    EXPECT_EQ(first["directEnv"], "HF_XET_CACHE");
    EXPECT_EQ(first["envSub"], "chunk-cache");
    EXPECT_EQ(first["tier"], "B");
    EXPECT_EQ(first["burden"], "interruptive");
    for (const char* field : {"sub", "recovery", "source", "verified", "liveSafe", "probeKnownFiles", "probeBulk"})
        EXPECT_TRUE(first.contains(field)) << field;
    int oneClick = 0;
    for (const nlohmann::json& rule : document["rules"]) {
        oneClick += rule["oneClick"].get<bool>();
        EXPECT_FALSE(rule["recoveryEnglish"].is_null()) << rule["owner"] << " " << rule["sub"];
    }
    EXPECT_GT(oneClick, 0);
}

TEST(SupportMatrix, ALinuxSectionListsTheLinuxTableWithItsXdgVariables) {
    std::string matrix = renderSupportMatrix();
    size_t section = matrix.find("\n## Linux stores (" + std::to_string(linuxTableRules().size()) + ")\n");
    ASSERT_NE(section, std::string::npos);
    std::vector<std::string> rows = ruleRows(matrix.substr(section));
    EXPECT_EQ(rows.size(), linuxTableRules().size());
    auto rowWith = [&](const std::string& path) {
        for (const std::string& row : rows)
            if (row.find("| `" + path + "` |") != std::string::npos) return row;
        return std::string();
    };
    EXPECT_TRUE(rowWith("~/.config/Code/CachedData").ends_with("| `XDG_CONFIG_HOME` |")) << rowWith("~/.config/Code/CachedData");
    EXPECT_TRUE(rowWith("~/.local/share/pnpm/store").ends_with("| `npm_config_store_dir`, `PNPM_HOME`, `XDG_DATA_HOME` |"))
        << rowWith("~/.local/share/pnpm/store");
    EXPECT_TRUE(rowWith("~/.cache/bazel").ends_with("| — |")) << "Bazel ignores XDG_CACHE_HOME";
    EXPECT_NE(matrix.find("| `target/` | `Cargo.toml` beside | B · rebuildable |"), std::string::npos);
    EXPECT_NE(matrix.find("| `build/` | `CMakeCache.txt` inside | B · rebuildable |"), std::string::npos);
}

TEST(SupportJson, TheLinuxTableRidesAlong) {
    nlohmann::json document = nlohmann::json::parse(renderSupportJSON());
    const nlohmann::json& linux = document["linux"];
    ASSERT_EQ(linux["rules"].size(), linuxTableRules().size());
    EXPECT_EQ(linux["count"], linuxTableRules().size());
    bool sawConfig = false;
    for (const nlohmann::json& rule : linux["rules"]) {
        EXPECT_FALSE(rule["componentEnglish"].is_null()) << rule["owner"] << " " << rule["sub"];
        sawConfig |= rule["base"]["xdgVar"] == "XDG_CONFIG_HOME" && rule["defaultPath"] == "~/.config/Code/CachedData";
    }
    EXPECT_TRUE(sawConfig);
}

TEST(SupportModes, TheBinaryPrintsBothDocumentsInEnglish) {
    TempHome home;
    auto matrix = runKelvorBinary({"--mode", "support-matrix", "--lang", "ko"});
    EXPECT_EQ(matrix.status, 0);
    EXPECT_EQ(ruleRows(matrix.out).size(), 388u);
    EXPECT_NE(matrix.out.find("| ! · protected | P · Protected |"), std::string::npos) << "forced to English";
    EXPECT_FALSE(std::filesystem::exists(home / ".kelvor")) << "no housekeeping before a support document";

    auto json = runKelvorBinary({"--mode", "support-json"});
    EXPECT_EQ(json.status, 0);
    nlohmann::json document = nlohmann::json::parse(json.out, nullptr, false);
    ASSERT_FALSE(document.is_discarded()) << json.out.substr(0, 200);
    EXPECT_EQ(document["rules"].size(), 388u);
}

}  // namespace
}  // namespace kelvor
