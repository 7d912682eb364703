#include "quillet/automation/levels.hpp"

#include <cstdint>
#include <cstdio>

#include "quillet/rules/hits.hpp"

namespace kelvor {

const std::array<std::string_view, 4> LEVEL_LEGEND = {
    "verified, and it comes back on its own without anyone noticing",
    "verified, but coming back costs real time (a rebuild, a large re-download) — nothing is lost",
    "not verified — nobody has proven it comes back, so this app will not say so",
    "your own files and protected items — never offered here at any level; the app is where that is decided",
};

LevelFacts assistantLevel(const Rule& rule, bool proofMissingHere) {
    if (rule.tier == Tier::review || rule.tier == Tier::protected_) return {OWN_FILES_LEVEL, false};
    if (!rule.verified) return {3, false};
    if (proofMissingHere) return {3, true};
    return {isOneClick(rule) ? 1 : 2, false};
}

LevelFacts assistantLevel(const Hit& hit) {
    // A prover that withdraws a rule's verified mark for this path shows up as a changed rule.
    const Rule proven = demotedIfUnprovable(hit.rule, hit.path);
    return assistantLevel(hit.rule, hit.rule.verified && !proven.verified);
}

Json levelLegendJson() {
    Json legend = Json::object();
    for (std::size_t i = 0; i < LEVEL_LEGEND.size(); ++i) legend[std::to_string(i + 1)] = LEVEL_LEGEND[i];
    return legend;
}

Json lettersLegend() {
    return Json{
        {"R", "Recoverable — the app's screens show R for verified tier A and B items"},
        {"I", "In your hands — the app's screens show I for tier C and for anything not verified"},
        {"P", "Protected — the app's screens show P for protected items"},
        {"instruction",
         "Quote `letter` to the person, not `tier`. A/B/C/! is the internal grade this app writes into undo "
         "records and shows on no screen; R/I/P is what they will see when they open the app."},
    };
}

std::string levelRefusal(const Rule& rule, int level) {
    if (level >= OWN_FILES_LEVEL)
        return rule.tier == Tier::protected_ ? "level 4 — protected; never offered, on any surface"
                                             : "level 4 — tier C, your own files; no max_level reaches this, decide in the app";
    if (level == 3)
        return "level 3 — safety unverified: nobody has proven this comes back. Ask the person, then call again with "
               "max_level:3";
    return "level 2 — rebuilding this costs real time; Optimize-grade items only at level 1. Ask the person, then "
           "call again with max_level:2";
}

ClampedLevel clampMaxLevel(std::int64_t asked) {
    const std::string shown = "max_level " + std::to_string(asked);
    if (asked == OWN_FILES_LEVEL)
        return {HIGHEST_PLANNABLE_LEVEL, shown + " was lowered to 3 — level 4 is the person's own files and no call "
                                                 "reaches it"};
    if (asked > OWN_FILES_LEVEL) return {HIGHEST_PLANNABLE_LEVEL, shown + " is not a level; it was lowered to 3"};
    if (asked < LOWEST_LEVEL) return {LOWEST_LEVEL, shown + " is not a level; the plan uses 1"};
    return {static_cast<int>(asked), std::nullopt};
}

std::string itemKey(const std::string& owner, const std::string& path) {
    // FNV-1a: stable across runs and builds, which std::hash does not promise.
    std::uint64_t hash = 14695981039346656037ull;
    for (unsigned char c : path) {
        hash ^= c;
        hash *= 1099511628211ull;
    }
    std::string slug;
    for (char c : owner) {
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) slug += c;
        else if (c >= 'A' && c <= 'Z') slug += static_cast<char>(c - 'A' + 'a');
        else if (!slug.empty() && slug.back() != '-') slug += '-';
    }
    while (!slug.empty() && slug.back() == '-') slug.pop_back();
    char digits[17];
    std::snprintf(digits, sizeof digits, "%016llx", static_cast<unsigned long long>(hash));
    return (slug.empty() ? std::string("store") : slug) + ":" + std::string(digits, 12);
}

}  // namespace kelvor
