#pragma once
// How a store's content comes back after removal, from "downloaded again" to "never touched".
#include <optional>
#include <string>
#include <string_view>

namespace kelvor {

// Raw values 0..3 in this order; `protected_` because `protected` is a C++ keyword.
enum class Tier { redownload = 0, regenerate = 1, review = 2, protected_ = 3 };

inline int tierRawValue(Tier tier) { return static_cast<int>(tier); }

// The tier of a raw value 0..3, or none.
inline std::optional<Tier> tierFromRawValue(int raw) {
    if (raw < 0 || raw > 3) return std::nullopt;
    return static_cast<Tier>(raw);
}

// The tier's letter: 'A', 'B', 'C' or '!'.
char tierLetter(Tier tier);

// "[" + letter + "]": "[A]", "[B]", "[C]", "[!]".
std::string tierMarker(Tier tier);

// The name the quarantine ledger and the support matrix use, in English: "A · re-downloadable",
// "B · rebuildable", "C · yours", "! · protected". Show it through L().
std::string_view tierLedgerName(Tier tier);

// The UI label in English: "Recoverable" (A and B), "In your hands" (C), "Protected" (!).
std::string_view tierLabelEnglish(Tier tier);
// How the content comes back, in English: "re-downloaded from its source", "rebuilt by the owning
// tool", "gone is gone", "never touched".
std::string_view tierMechanismEnglish(Tier tier);

// The label and the mechanism in the current language.
std::string tierLabel(Tier tier);
std::string tierMechanism(Tier tier);

// The one-letter badge a screen shows: for a verified rule "R" (A, B), "I" (C), "P" (!); an
// unverified rule is "I" for A, B and C and "P" for protected.
std::string_view screenBadge(Tier tier, bool verified);

}  // namespace kelvor
