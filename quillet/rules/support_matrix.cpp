#include "quillet/rules/support_matrix.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "quillet/i18n/text.hpp"
#include "quillet/rules/build_artifacts.hpp"
#include "quillet/rules/catalog.hpp"
#include "quillet/rules/linux_catalog.hpp"
#include "quillet/rules/location.hpp"
#include "quillet/rules/support_matrix_text.hpp"

namespace kelvor {

namespace {

constexpr Tier ALL_TIERS[] = {Tier::redownload, Tier::regenerate, Tier::review, Tier::protected_};

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
    std::string out;
    for (const std::string& part : parts) out += (out.empty() ? "" : std::string(separator)) + part;
    return out;
}

// Table rows sorted for the document; stable so equal keys keep table order.
std::vector<const Rule*> sortedRules(const std::vector<Rule>& table) {
    std::vector<const Rule*> rules;
    for (const Rule& rule : table) rules.push_back(&rule);
    std::stable_sort(rules.begin(), rules.end(), [](const Rule* left, const Rule* right) {
        std::string leftPath = defaultDisplayPath(*left), rightPath = defaultDisplayPath(*right);
        return std::tie(left->owner, leftPath, left->component) < std::tie(right->owner, rightPath, right->component);
    });
    return rules;
}

std::string tableRow(const Rule& rule) {
    std::vector<std::string> variables;
    for (const std::string& name : relocatableVia(rule)) variables.push_back("`" + name + "`");
    return "| " + rule.owner + " · " + componentLabel(rule) + " | `" + defaultDisplayPath(rule) + "` | " +
           L(tierLedgerName(rule.tier)) + " | " + (rule.verified ? "yes" : "no") + " | " +
           std::string(burdenRawValue(rule.burden)) + " | " + (isOneClick(rule) ? "yes" : "—") + " | " +
           (variables.empty() ? std::string("—") : joined(variables, ", ")) + " |";
}

}  // namespace

std::vector<std::string> relocatableVia(const Rule& rule) {
    std::vector<std::string> names;
    if (rule.directEnv) names.push_back(*rule.directEnv);
    for (const std::string& name : rule.base.envVars)
        if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
    if (rule.base.xdgName && std::find(names.begin(), names.end(), rule.base.xdgVar) == names.end())
        names.push_back(rule.base.xdgVar);
    return names;
}

std::string defaultDisplayPath(const Rule& rule) {
    return resolveRawPath(rule, [](std::string_view) { return std::optional<std::string>(); }, "~").path;
}

std::string renderSupportMatrix() {
    namespace text = support_matrix_text;
    std::string out;
    auto paragraph = [&out](std::string_view block) { out.append(block).append("\n\n"); };
    paragraph(text::TITLE);
    paragraph(text::GENERATED);
    paragraph(text::TIERS_HEADING);
    paragraph(text::TIERS_INTRO);
    out.append(text::TIERS_TABLE_HEADER).append("\n");
    for (Tier tier : ALL_TIERS)
        out += "| " + L(tierLedgerName(tier)) + " | " + std::string(screenBadge(tier, true)) + " · " +
               tierLabel(tier) + " |\n";
    out += "\n";
    paragraph(text::ONE_CLICK_HEADING);
    paragraph(text::ONE_CLICK);
    out.append(text::RULES_HEADING).append(" (").append(std::to_string(CATALOG.size())).append(")\n\n");
    paragraph(text::RULES_INTRO);
    out.append(text::RULES_TABLE_HEADER).append("\n");
    for (const Rule* rule : sortedRules(catalogRules())) out += tableRow(*rule) + "\n";
    out += "\n";
    const std::vector<Rule>& linuxRules = linuxTableRules();
    out.append(text::LINUX_HEADING).append(" (").append(std::to_string(linuxRules.size())).append(")\n\n");
    paragraph(text::LINUX_INTRO);
    out.append(text::RULES_TABLE_HEADER).append("\n");
    for (const Rule* rule : sortedRules(linuxRules)) out += tableRow(*rule) + "\n";
    out += "\n";
    paragraph(text::BUILD_FOLDERS_HEADING);
    paragraph(text::BUILD_FOLDERS_INTRO);
    out.append(text::BUILD_FOLDERS_TABLE_HEADER).append("\n");
    for (const ArtifactKind& kind : artifactKinds())
        out += "| `" + std::string(kind.folder) + "/` | `" + std::string(kind.marker) + "` " +
               (kind.place == MarkerPlace::inside ? "inside" : "beside") + " | " + L(tierLedgerName(kind.tier)) +
               " |\n";
    out += "\n";
    paragraph(text::EVIDENCE_GROUPS);
    paragraph(text::UNINSTALLERS);
    paragraph(text::IRREVERSIBLE);
    out.append(text::NOT_SUPPORTED).append("\n");
    return out;
}

std::string renderSupportJSON() {
    using Json = nlohmann::ordered_json;
    auto optionalText = [](const std::optional<std::string>& value) { return value ? Json(*value) : Json(nullptr); };
    auto rulesOf = [&](const std::vector<Rule>& table) {
        Json rules = Json::array();
        for (const Rule& rule : table) {
            Json base = {{"envVars", rule.base.envVars},
                         {"defaultPath", rule.base.defaultPath},
                         {"xdgName", optionalText(rule.base.xdgName)},
                         {"xdgVar", rule.base.xdgVar}};
            rules.push_back({
                {"owner", rule.owner},
                {"component", rule.component},
                {"componentEnglish", optionalText(catalogEnglish(rule.component))},
                {"base", base},
                {"sub", rule.sub},
                {"directEnv", optionalText(rule.directEnv)},
                {"envSub", optionalText(rule.envSub)},
                {"tier", std::string(1, tierLetter(rule.tier))},
                {"tierRawValue", tierRawValue(rule.tier)},
                {"recovery", rule.recovery},
                {"recoveryEnglish", optionalText(catalogEnglish(rule.recovery))},
                {"source", rule.source},
                {"verified", rule.verified},
                {"burden", std::string(burdenRawValue(rule.burden))},
                {"liveSafe", rule.liveSafe},
                {"probeKnownFiles", rule.probeKnownFiles},
                {"probeBulk", rule.probeBulk},
                {"defaultPath", defaultDisplayPath(rule)},
                {"oneClick", isOneClick(rule)},
                {"relocatableVia", relocatableVia(rule)},
            });
        }
        return rules;
    };
    Json rules = rulesOf(catalogRules());
    Json linuxRules = rulesOf(linuxTableRules());
    Json linux = {{"count", linuxRules.size()}, {"rules", std::move(linuxRules)}};
    Json document = {{"generatedFrom", "code"}, {"count", rules.size()}, {"rules", std::move(rules)},
                     {"linux", std::move(linux)}};
    return document.dump(2) + "\n";
}

}  // namespace kelvor
