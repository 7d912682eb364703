#include "quillet/automation/overview_tool.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include "quillet/automation/clean_tool.hpp"
#include "quillet/automation/levels.hpp"
#include "quillet/rules/tier.hpp"
#include "quillet/scan/fmt_bytes.hpp"

namespace kelvor {

namespace {

constexpr std::size_t TOP_OWNERS = 10;

Json sizeJson(std::uint64_t bytes) { return Json{{"bytes", bytes}, {"human", fmtBytes(bytes)}}; }

// Does `hit` pass the tier filter `wanted`: an internal letter, or else a screen letter?
bool tierMatches(const Hit& hit, const std::string& wanted) {
    if (wanted == "A" || wanted == "B" || wanted == "C" || wanted == "!")
        return std::string(1, tierLetter(hit.rule.tier)) == wanted;
    return std::string(screenBadge(hit.rule.tier, hit.rule.verified)) == wanted;
}

}  // namespace

Json overviewPayload(const ToolScan& scan) {
    std::array<std::uint64_t, 4> byTier{}, byLevel{};
    std::map<std::string, std::uint64_t> byOwner;
    std::uint64_t total = 0;
    for (const Hit& hit : scan.hits) {
        byTier[static_cast<std::size_t>(tierRawValue(hit.rule.tier))] += hit.stat.bytes;
        byLevel[static_cast<std::size_t>(assistantLevel(hit).level - 1)] += hit.stat.bytes;
        byOwner[hit.rule.owner] += hit.stat.bytes;
        total += hit.stat.bytes;
    }
    Json tiers = Json::object();
    for (Tier tier : {Tier::redownload, Tier::regenerate, Tier::review, Tier::protected_}) {
        Json entry = sizeJson(byTier[static_cast<std::size_t>(tierRawValue(tier))]);
        entry["name"] = std::string(tierLedgerName(tier));
        tiers[std::string(1, tierLetter(tier))] = std::move(entry);
    }
    Json ladder = Json::array();
    std::uint64_t cumulative = 0;
    for (int level = LOWEST_LEVEL; level <= OWN_FILES_LEVEL; ++level) {
        const std::uint64_t bytes = byLevel[static_cast<std::size_t>(level - 1)];
        Json step{{"level", level}, {"meaning", LEVEL_LEGEND[static_cast<std::size_t>(level - 1)]},
                  {"bytes", bytes}, {"human", fmtBytes(bytes)}};
        if (level <= HIGHEST_PLANNABLE_LEVEL) {
            cumulative += bytes;
            step["cumulative_bytes"] = cumulative;
            step["cumulative_human"] = fmtBytes(cumulative);
            step["call"] = "kelvor_clean with max_level:" + std::to_string(level);
        } else {
            step["call"] = "none — decided in the app";
        }
        ladder.push_back(std::move(step));
    }
    std::vector<std::pair<std::string, std::uint64_t>> owners(byOwner.begin(), byOwner.end());
    std::stable_sort(owners.begin(), owners.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
    if (owners.size() > TOP_OWNERS) owners.resize(TOP_OWNERS);
    Json top = Json::array();
    for (const auto& [owner, bytes] : owners) {
        Json entry = sizeJson(bytes);
        entry["owner"] = owner;
        top.push_back(std::move(entry));
    }
    const std::uint64_t reclaimable = byLevel[0] + byLevel[1] + byLevel[2];
    const std::uint64_t verified = byLevel[0] + byLevel[1];
    Json payload{
        {"tool", "kelvor_overview"},
        {"total_bytes", total},
        {"total_human", fmtBytes(total)},
        {"tier_totals", std::move(tiers)},
        {"tier_totals_note",
         "Tiers are the internal grade (A re-downloadable, B rebuildable, C the person's own, ! protected); quote "
         "levels and screen letters to the person instead."},
        {"level_ladder", std::move(ladder)},
        {"level_legend", levelLegendJson()},
        {"letters_legend", lettersLegend()},
        {"reclaimable_bytes", reclaimable},
        {"reclaimable_human", fmtBytes(reclaimable)},
        {"reclaimable_note",
         "Reclaimable is what levels 1 to 3 hold together: the most any plan can reach. Level 4 is never offered."},
        {"recoverable_verified_human", fmtBytes(verified)},
        {"top_owners", std::move(top)},
        {"recent_growth", Json::array()},
        {"recent_growth_note", "No earlier measurement is kept on this machine to compare with yet."},
        {"folders_that_did_not_answer", scan.didNotAnswer.size()},
    };
    if (!scan.didNotAnswer.empty()) {
        payload["folders_that_did_not_answer_paths"] = scan.didNotAnswer;
        payload["folders_that_did_not_answer_note"] =
            "These folders did not finish measuring in time; their sizes are partial, so the totals are at least "
            "what is shown. Say so when you quote them.";
    }
    return payload;
}

ToolOutcome itemsPayload(const ToolScan& scan, const std::optional<std::string>& tier, double minMB) {
    std::optional<std::string> wanted;
    if (tier && !tier->empty()) {
        std::string upper = *tier;
        for (char& c : upper)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
        wanted = upper;
        const std::array<std::string_view, 7> accepted = {"A", "B", "C", "!", "R", "I", "P"};
        if (std::find(accepted.begin(), accepted.end(), upper) == accepted.end())
            return {Json{{"tool", "kelvor_items"},
                         {"error", "unknown tier filter: " + *tier},
                         {"accepted", accepted},
                         {"for_the_assistant", "Call again with one of the accepted tier filters, or none."}},
                    true};
    }
    const double minBytes = std::max(0.0, minMB) * 1e6;
    std::vector<const Hit*> chosen;
    for (const Hit& hit : scan.hits) {
        if (wanted) {
            if (!tierMatches(hit, *wanted)) continue;
        }
        if (static_cast<double>(hit.stat.bytes) < minBytes) continue;
        chosen.push_back(&hit);
    }
    std::stable_sort(chosen.begin(), chosen.end(),
                     [](const Hit* a, const Hit* b) { return a->stat.bytes > b->stat.bytes; });
    Json items = Json::array();
    std::uint64_t total = 0;
    for (const Hit* hit : chosen) {
        items.push_back(hitJson(*hit));
        total += hit->stat.bytes;
    }
    Json payload{{"tool", "kelvor_items"},
                 {"count", items.size()},
                 {"items", std::move(items)},
                 {"total_bytes", total},
                 {"total_human", fmtBytes(total)},
                 {"min_mb", minMB},
                 {"level_legend", levelLegendJson()},
                 {"letters_legend", lettersLegend()},
                 {"for_the_assistant",
                  "Present the levels to the person and ask how far they want to go; pass that number to "
                  "kelvor_clean as max_level. Level 4 rows are listed for completeness and are never removed here."}};
    if (wanted) payload["tier"] = *wanted;
    return {std::move(payload), false};
}

ToolOutcome toolOverview(const Json&, OperationContext& context) {
    return {overviewPayload(scanForTool(context)), false};
}

ToolOutcome toolItems(const Json& arguments, OperationContext& context) {
    std::optional<std::string> tier;
    if (arguments.contains("tier")) tier = arguments["tier"].get<std::string>();
    const double minMB = arguments.contains("min_mb") ? arguments["min_mb"].get<double>() : 10.0;
    return itemsPayload(scanForTool(context), tier, minMB);
}

}  // namespace kelvor
