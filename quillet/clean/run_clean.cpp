// `--mode clean`: the plan, its application and its undo, printed for a person at a terminal.
#include <unistd.h>

#include <cstdio>

#include "quillet/clean/ballast.hpp"
#include "quillet/clean/clean_plan.hpp"
#include "quillet/clean/executor.hpp"
#include "quillet/clean/left_alone.hpp"
#include "quillet/clean/undo.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/quarantine/quarantine_store.hpp"
#include "quillet/scan/fmt_bytes.hpp"
#include "quillet/space/exclusions.hpp"

namespace kelvor {

namespace {

// One line on standard error, rewritten in place, only when a person is watching.
class ProgressLine {
public:
    ProgressLine() : shown_(::isatty(2) == 1) {}
    void show(const std::string& line) {
        if (!shown_) return;
        std::fprintf(stderr, "\r\033[K%s", line.c_str());
        std::fflush(stderr);
    }
    void clear() {
        if (!shown_) return;
        std::fprintf(stderr, "\r\033[K");
        std::fflush(stderr);
    }

private:
    bool shown_;
};

void say(const std::string& line) { std::printf("%s\n", line.c_str()); }

int runUndoMode(const std::string& target) {
    UndoOutcome outcome = runUndo(target);
    for (const std::string& line : outcome.lines) say(line);
    const int notBack = outcome.missing + outcome.occupied + outcome.failed;
    if (outcome.manifest && !outcome.couldNotLockRecord)
        say(trf(S::undoRestoredFailed, {std::to_string(outcome.restored), std::to_string(notBack)}));
    return outcome.complete() ? 0 : 1;
}

// Where the items went, for the sentence that says the record could not be completed.
std::string finalWriteSentence(const CleanOutcome& outcome) {
    const bool trashed = outcome.countWith(ItemFate::trashed) > 0;
    const bool quarantined = outcome.countWith(ItemFate::quarantined) > 0;
    if (trashed && quarantined) return trf(S::cleanRecordIncompleteBoth);
    if (quarantined) return trf(S::cleanRecordIncompleteQuarantine);
    return trf(S::cleanRecordIncompleteTrash);
}

void printOutcome(const CleanOutcome& outcome) {
    if (outcome.recordUnwritable) {
        say(trf(S::cleanRecordUnwritable));
        return;
    }
    for (const ItemOutcome& item : outcome.items) {
        switch (item.fate) {
            case ItemFate::changed: say(trf(S::cleanChangedKept) + " " + escapeControls(item.path)); break;
            case ItemFate::quarantined:
                say(trf(S::cleanQuarantinedItem, {item.owner, item.component, fmtBytes(item.bytes),
                                                  std::to_string(QUARANTINE_DAYS())}));
                break;
            case ItemFate::quarantineFailed:
                say("  ⛔ " + escapeControls(item.path) + " — " + trf(S::quarantineRecordFailed));
                break;
            case ItemFate::failed: say(trf(S::cleanMoveFailed) + " " + escapeControls(item.path)); break;
            case ItemFate::trashed:
            case ItemFate::blocked: break;
        }
    }
    if (outcome.finalWriteFailed) {
        say(trf(S::cleanFinalWriteFailed));
        say("  " + finalWriteSentence(outcome));
    }
    const int trashed = outcome.countWith(ItemFate::trashed);
    const int quarantined = outcome.countWith(ItemFate::quarantined);
    const std::uint64_t trashedBytes = outcome.bytesWith(ItemFate::trashed);
    const std::uint64_t quarantinedBytes = outcome.bytesWith(ItemFate::quarantined);
    if (quarantined > 0)
        say(trf(S::cleanQuarantineSummary, {std::to_string(QUARANTINE_DAYS()), std::to_string(quarantined),
                                             std::to_string(trashed), fmtBytes(trashedBytes + quarantinedBytes)}));
    else
        say(trf(S::cleanMovedToTrash) + " " + std::to_string(trashed) + " · " + fmtBytes(trashedBytes));
    const int failed = outcome.countWith(ItemFate::failed) + outcome.countWith(ItemFate::changed) +
                       outcome.countWith(ItemFate::quarantineFailed);
    say(trf(S::cleanBlockedFailed, {std::to_string(outcome.countWith(ItemFate::blocked)), std::to_string(failed)}));
    if (outcome.manifestPath) say(trf(S::cleanUndoRecord, {escapeControls(*outcome.manifestPath)}));
}

}  // namespace

int runClean(const Settings& settings) {
    if (settings.undoTarget) return runUndoMode(*settings.undoTarget);
    if (settings.cleanApply && !settings.cleanYes) say(trf(S::cleanApplyWithoutYes));
    const bool apply = settings.cleanApply && settings.cleanYes;
    // The list hides every store while it cannot be read: say so, or "Nothing to clean." misleads,
    // and end non-zero so a script does not take the empty plan for a clean home.
    Exclusions& exclusions = Exclusions::shared();
    const bool listUnreadable = exclusions.unreadable();
    if (listUnreadable)
        std::fprintf(stderr, "%s\n", trf(S::excludeUnreadable, {escapeControls(exclusions.file())}).c_str());
    PlanOptions options{settings.cleanTiers, settings.cleanUnverified, settings.cleanOwner};
    ProgressLine progress;
    HitCallbacks callbacks;
    callbacks.onMeasured = [&](const MeasureProgress& step) {
        progress.show(trf(S::cleanMeasuring, {std::to_string(step.storesDone), std::to_string(step.storesTotal),
                                              fmtBytes(step.bytesSoFar)}));
    };
    CleanPlan plan = buildCleanPlan(settings.threads, options, callbacks);
    progress.clear();
    if (std::optional<std::string> note = hiddenProcessesNote()) say(*note);
    std::fputs(renderCleanPlan(plan.targets, options).c_str(), stdout);
    std::fputs(renderLeftAlone(plan.hits).c_str(), stdout);
    const bool anyBlocked =
        std::any_of(plan.targets.begin(), plan.targets.end(), [](const CleanTarget& t) { return t.blocked(); });
    if (!apply) {
        if (!plan.targets.empty())
            say(trf(S::cleanDryRun) + (anyBlocked ? trf(S::cleanDryRunForceHint) : std::string()));
        return listUnreadable ? 1 : 0;
    }
    const int softlyBlocked = static_cast<int>(std::count_if(
        plan.targets.begin(), plan.targets.end(), [](const CleanTarget& t) { return t.blocked() && !t.hardBlocked(); }));
    if (settings.cleanForce && softlyBlocked > 0) say(trf(S::cleanForceOverriding, {std::to_string(softlyBlocked)}));
    ApplyContext context;
    context.quarantine = quarantineTarget;
    Ballast ballast;
    context.releaseBallast = [&] { return ballast.release(); };
    context.onMove = [&](std::size_t done, std::size_t total, const std::string& path) {
        progress.show(trf(S::cleanMoving, {std::to_string(done), std::to_string(total), escapeControls(path)}));
    };
    CleanOutcome outcome = applyCleanPlan(plan.targets, {settings.cleanForce, settings.cleanUnverified}, context);
    progress.clear();
    if (outcome.runningBinaries) say(trf(S::cleanRunningBinaries));
    if (!outcome.items.empty() || outcome.recordUnwritable) printOutcome(outcome);
    if (outcome.ballastReleased) ballast.ensure();
    if (outcome.recordUnwritable) return 1;
    return listUnreadable ? 1 : 0;
}

}  // namespace kelvor
