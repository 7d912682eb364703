#include "quillet/rules/tier.hpp"

#include "quillet/i18n/text.hpp"

namespace kelvor {

char tierLetter(Tier tier) {
    switch (tier) {
        case Tier::redownload: return 'A';
        case Tier::regenerate: return 'B';
        case Tier::review: return 'C';
        case Tier::protected_: return '!';
    }
    return '?';
}

std::string tierMarker(Tier tier) { return std::string("[") + tierLetter(tier) + "]"; }

std::string_view tierLedgerName(Tier tier) {
    switch (tier) {
        case Tier::redownload: return "A · re-downloadable";
        case Tier::regenerate: return "B · rebuildable";
        case Tier::review: return "C · yours";
        case Tier::protected_: return "! · protected";
    }
    return "";
}

std::string_view tierLabelEnglish(Tier tier) {
    switch (tier) {
        case Tier::redownload:
        case Tier::regenerate: return "Recoverable";
        case Tier::review: return "In your hands";
        case Tier::protected_: return "Protected";
    }
    return "";
}

std::string_view tierMechanismEnglish(Tier tier) {
    switch (tier) {
        case Tier::redownload: return "re-downloaded from its source";
        case Tier::regenerate: return "rebuilt by the owning tool";
        case Tier::review: return "gone is gone";
        case Tier::protected_: return "never touched";
    }
    return "";
}

std::string tierLabel(Tier tier) { return L(tierLabelEnglish(tier)); }

std::string tierMechanism(Tier tier) { return L(tierMechanismEnglish(tier)); }

std::string_view screenBadge(Tier tier, bool verified) {
    if (tier == Tier::protected_) return "P";
    // An unverified A or B row is not proven to come back, so it is shown as the person's call.
    if (!verified) return "I";
    return tier == Tier::review ? "I" : "R";
}

}  // namespace kelvor
