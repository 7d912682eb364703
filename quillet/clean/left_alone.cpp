#include "quillet/clean/left_alone.hpp"

#include "quillet/i18n/text.hpp"
#include "quillet/i18n/width.hpp"
#include "quillet/rules/tier.hpp"
#include "quillet/scan/fmt_bytes.hpp"

namespace kelvor {

std::string renderLeftAlone(const std::vector<Hit>& hits) {
    std::string out;
    for (const Hit& hit : hits) {
        if (hit.rule.tier != Tier::review && hit.rule.tier != Tier::protected_) continue;
        if (out.empty()) out = trf(S::cleanLeftAloneHeader) + "\n";
        std::string label = tierMarker(hit.rule.tier) + " " + hit.rule.owner + " · " + componentLabel(hit.rule);
        out += "  " + padRight(label, 44) + " " + padRight(fmtBytes(hit.stat.bytes), 11) + " " + hit.path + "\n";
        if (hit.rule.tier == Tier::protected_) out += "     ↳ " + recoveryText(hit.rule) + "\n";
    }
    return out;
}

}  // namespace kelvor
