#include "quillet/clean/executor.hpp"

#include <unistd.h>

#include "quillet/clean/trash_move.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/records/record_lock.hpp"
#include "quillet/log/log.hpp"

namespace kelvor {

namespace {

std::string labelOf(const CleanTarget& target) { return target.rule.owner + " · " + componentLabel(target.rule); }

// The reasons a blocked target stays, joined for one line.
std::string blockReason(const CleanTarget& target) {
    std::string reason;
    for (const std::string& excluded : target.excludedInside)
        reason += (reason.empty() ? "" : "; ") + trf(S::cleanExcludedInside, {excluded});
    for (const GuardViolation& violation : target.violations)
        reason += (reason.empty() ? "" : "; ") + violation.reason;
    return reason;
}

}  // namespace

int CleanOutcome::busyBlocked() const {
    int count = 0;
    for (const ItemOutcome& item : items) count += item.fate == ItemFate::blocked && item.quitFrees ? 1 : 0;
    return count;
}

std::set<std::string> CleanOutcome::quitFreeOwners() const {
    std::set<std::string> owners;
    for (const ItemOutcome& item : items)
        if (item.fate == ItemFate::blocked && item.quitFrees) owners.insert(item.owner);
    return owners;
}

bool CleanOutcome::simulatorHeld() const {
    for (const ItemOutcome& item : items)
        if (item.fate == ItemFate::blocked && item.simulator) return true;
    return false;
}

std::uint64_t CleanOutcome::bytesWith(ItemFate fate) const {
    std::uint64_t total = 0;
    for (const ItemOutcome& item : items)
        if (item.fate == fate) total += item.bytes;
    return total;
}

int CleanOutcome::countWith(ItemFate fate) const {
    int count = 0;
    for (const ItemOutcome& item : items) count += item.fate == fate ? 1 : 0;
    return count;
}

CleanOutcome applyCleanPlan(const std::vector<CleanTarget>& targets, const ApplyOptions& options,
                            const ApplyContext& context) {
    CleanOutcome outcome;
    FileOps& files = *context.files;
    Clock& clock = *context.clock;

    // Which targets move: the free ones, and under --force the softly blocked ones too.
    std::vector<CleanTarget> moving;
    std::vector<bool> forced;
    std::vector<bool> moves;  // per outcome item: whether it is among `moving`
    for (const CleanTarget& target : targets) {
        ItemOutcome item{labelOf(target), target.rule.owner, componentLabel(target.rule), target.path,
                         target.stat.bytes, ItemFate::blocked, "", ""};
        if (target.blocked() && (!options.force || target.hardBlocked())) {
            item.reason = blockReason(target);
            for (const GuardViolation& violation : target.violations) {
                item.quitFrees = item.quitFrees || violation.quitFrees;
                item.simulator = item.simulator || violation.simulator;
            }
            outcome.items.push_back(std::move(item));
            moves.push_back(false);
            continue;
        }
        if (target.blocked()) ++outcome.overridden;
        if (target.holdsRunningBinary) outcome.runningBinaries = true;
        forced.push_back(target.blocked());
        moving.push_back(target);
        outcome.items.push_back(std::move(item));
        moves.push_back(true);
    }
    if (moving.empty()) return outcome;

    std::vector<ManifestItem> rows = plannedCLI(moving);
    for (std::size_t i = 0; i < rows.size(); ++i) rows[i].forced = forced[i];
    // The run holds its record's lock from before the first write to the end, so that an undo
    // (in this or another process) sees that the run is alive and never half-reads it.
    std::optional<RecordLock> held;
    auto openRecord = [&]() -> Result<std::string> {
        Result<std::string> path = newManifestPath(clock);
        if (!path) return path.error();
        Result<RecordLock> lock = RecordLock::hold(*path, LockWait::wait);
        if (!lock) return lock.error();
        held.emplace(std::move(*lock));
        Result<std::string> written = writeManifest(rows, *path, true, clock);
        if (!written) {
            held.reset();
            ::unlink(recordLockPath(*path).c_str());
        }
        return written;
    };
    Result<std::string> written = openRecord();
    if (!written && context.releaseBallast) {
        outcome.ballastReleased = context.releaseBallast();
        written = openRecord();
    }
    if (!written) {
        KelvorLog::write("clean", "the undo record cannot be written: " + written.error().describe());
        outcome.recordUnwritable = true;
        for (std::size_t i = 0; i < outcome.items.size(); ++i)
            if (moves[i]) {
                outcome.items[i].fate = ItemFate::failed;
                outcome.items[i].reason = written.error().describe();
            }
        return outcome;
    }
    const std::string record = *written;
    outcome.manifestPath = record;

    std::size_t row = 0;
    for (std::size_t i = 0; i < outcome.items.size(); ++i) {
        if (!moves[i]) continue;
        ItemOutcome& item = outcome.items[i];
        const CleanTarget& target = moving[row];
        ManifestItem& manifestRow = rows[row];
        ++row;
        if (context.onMove) context.onMove(row, moving.size(), target.path);
        Result<PathIdentity> now = files.identity(target.path);
        if (!now || !target.identity || !(*now == *target.identity)) {
            item.fate = ItemFate::changed;
            continue;
        }
        const bool toQuarantine = quarantineRecommended(target.rule) && !(options.force && options.includeUnverified);
        Result<std::string> moved = Error(ErrorKind::other, "");
        if (toQuarantine) {
            moved = context.quarantine ? context.quarantine(target)
                                       : Result<std::string>(Error(ErrorKind::other, "no quarantine in this build"));
            if (!moved) {
                item.fate = ItemFate::quarantineFailed;
                item.reason = moved.error().describe();
                continue;
            }
            manifestRow.action = "quarantine";
            item.fate = ItemFate::quarantined;
        } else {
            TrashOutcome trashed = trashItem(target.path, target.stat.bytes, *target.identity, UndoRecord::written,
                                             clock.now(), files);
            if (!trashed.moved()) {
                item.fate = ItemFate::failed;
                item.reason = trashed.refusal->message;
                KelvorLog::write("clean", "could not move " + target.path + ": " + item.reason);
                continue;
            }
            moved = trashed.destination;
            item.fate = ItemFate::trashed;
        }
        item.destination = *moved;
        manifestRow.trashedTo = *moved;
        manifestRow.pending = false;
        // Every move is recorded before the next begins: a run killed at any point leaves a record
        // whose settled rows are exactly the items that moved.
        (void)checkpointManifest(rows, record, Checkpoint::forced, clock);
    }

    if (!writeManifest(rows, record, false, clock)) outcome.finalWriteFailed = true;
    return outcome;
}

}  // namespace kelvor
