#pragma once
// One rule: what a folder is, who owns it, how it comes back and on what evidence.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "quillet/rules/base.hpp"
#include "quillet/rules/burden.hpp"
#include "quillet/rules/tier.hpp"

namespace kelvor {

// Whether a rule names a folder (most stores) or a single file (settings, keys, credentials).
enum class StoreKind { folder, file };

// The Korean note a rule's component carries when an environment variable moved its store.
inline constexpr std::string_view RELOCATED_SUFFIX_KOREAN = " (환경변수로 재지정됨 — 개별 확인)";

// An immutable value, written with designated initializers; fields in this order.
struct Rule {
    std::string owner{};                     // owning tool or app; key of the owner tables and --owner
    std::string component{};                 // short label of the store, in Korean (shown through the registry)
    Base base = Base::home;                // where the owner keeps its data by default
    std::string sub{};                       // path below the base, "/"-separated; may be empty
    std::optional<std::string> directEnv{};  // a variable naming this store outright
    std::optional<std::string> envSub{};     // path below directEnv's value; absent: the value itself
    Tier tier = Tier::review;              // how the content comes back
    std::string recovery{};                  // one Korean sentence: how it comes back or what is lost
    std::string source{};                    // the evidence: kind word and citation, joined by " + "
    bool verified = false;                 // the claims were proven for this store
    Burden burden = Burden::interruptive;  // what removal costs beyond the bytes
    bool liveSafe = false;                 // may go while its owner runs
    std::vector<std::string> probeKnownFiles{};  // files tested for being open instead of a walk
    bool probeBulk = false;                // tested for open files with one bulk walk
    StoreKind kind = StoreKind::folder;    // what must be at the path for the rule to hold

    bool operator==(const Rule&) const = default;
};

// Whether a rule may be considered without a deliberate click: verified, tier A or B and a
// transparent burden.
bool isOneClick(const Rule& rule);

// The component label and the recovery sentence in the current language.
std::string componentLabel(const Rule& rule);
std::string recoveryText(const Rule& rule);

// The English form of a registered Korean catalog text, or none when it is not registered.
std::optional<std::string> catalogEnglish(std::string_view korean);

// The note put after a path that an environment variable moved, in the current language.
std::string relocatedNote();

}  // namespace kelvor
