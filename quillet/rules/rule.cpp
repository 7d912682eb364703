#include "quillet/rules/rule.hpp"

#include "quillet/i18n/sentences.hpp"
#include "quillet/i18n/text.hpp"

namespace kelvor {

bool isOneClick(const Rule& rule) {
    return rule.verified && (rule.tier == Tier::redownload || rule.tier == Tier::regenerate) &&
           rule.burden == Burden::transparent;
}

std::string componentLabel(const Rule& rule) {
    std::string_view component = rule.component;
    if (component.ends_with(RELOCATED_SUFFIX_KOREAN)) {
        component.remove_suffix(RELOCATED_SUFFIX_KOREAN.size());
        return fromKorean(component) + relocatedNote();
    }
    return fromKorean(component);
}

std::string recoveryText(const Rule& rule) { return fromKorean(rule.recovery); }

std::optional<std::string> catalogEnglish(std::string_view korean) {
    if (auto english = englishForKorean(korean)) return std::string(*english);
    return std::nullopt;
}

std::string relocatedNote() { return L(" (env-relocated — confirm per item)"); }

}  // namespace kelvor
