#pragma once
// Carrying out a clean plan: the undo record first, then every free target to the Trash or the
// quarantine, the record kept current after each move. Prints nothing; the caller shows the outcome.
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "quillet/clean/clean_plan.hpp"
#include "quillet/clean/manifest.hpp"
#include "quillet/platform/clock.hpp"
#include "quillet/platform/fsops.hpp"

namespace kelvor {

// What happened to one target.
enum class ItemFate {
    trashed,          // moved to the Trash
    quarantined,      // moved to the quarantine
    blocked,          // a guard kept it (or --force could not override it)
    changed,          // not the item that was measured any more: kept
    failed,           // the move failed; it stays where it was
    quarantineFailed, // the quarantine could not take it: left in place, never sent to the Trash instead
};

struct ItemOutcome {
    std::string label;  // owner and component
    std::string owner;
    std::string component;
    std::string path;
    std::uint64_t bytes = 0;
    ItemFate fate = ItemFate::blocked;
    std::string destination;  // where it went, for a moved item
    std::string reason;       // why it stayed, for the log and the person
    bool quitFrees = false;   // blocked by the owner's running app: quitting it frees the item
    bool simulator = false;   // blocked by a booted simulator
};

struct CleanOutcome {
    bool recordUnwritable = false;  // nothing moved: the undo record could not be written
    bool finalWriteFailed = false;  // items moved but the record could not be closed
    bool ballastReleased = false;
    int overridden = 0;             // blocked targets moved under --force
    bool runningBinaries = false;   // some moved path held a running executable
    std::optional<std::string> manifestPath;
    std::vector<ItemOutcome> items;  // one per target, in plan order

    // Blocked items whose owner's app holds them, those owners, and whether a simulator holds one.
    int busyBlocked() const;
    std::set<std::string> quitFreeOwners() const;
    bool simulatorHeld() const;

    std::uint64_t bytesWith(ItemFate fate) const;
    int countWith(ItemFate fate) const;
};

// Moves an item into the quarantine and returns where it now is.
using QuarantineMove = std::function<Result<std::string>(const CleanTarget& target)>;

struct ApplyOptions {
    bool force = false;
    bool includeUnverified = false;
};

// The seams the executor works through; tests replace them.
struct ApplyContext {
    FileOps* files = &FileOps::real();
    Clock* clock = &Clock::real();
    QuarantineMove quarantine{};                      // none: quarantine moves fail and the item stays
    std::function<bool()> releaseBallast{};           // frees room for the record; true when it did
    std::function<void(std::size_t done, std::size_t total, const std::string& path)> onMove{};  // progress
};

// Applies `targets` in order. No record, no move: when the record cannot be written even after the
// ballast is released, nothing moves and recordUnwritable is set.
CleanOutcome applyCleanPlan(const std::vector<CleanTarget>& targets, const ApplyOptions& options,
                            const ApplyContext& context = {});

}  // namespace kelvor
