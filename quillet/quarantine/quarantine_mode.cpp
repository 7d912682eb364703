#include "quillet/quarantine/quarantine_mode.hpp"

#include <cstdio>

#include "quillet/i18n/text.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/quarantine/quarantine_store.hpp"
#include "quillet/scan/fmt_bytes.hpp"

namespace kelvor {

namespace {

void printLine(const std::string& line) { std::printf("%s\n", line.c_str()); }

int daysLeft(const QuarantineEntry& entry, WallClock::time_point now) {
    std::optional<WallClock::time_point> when = parseIsoStamp(entry.when);
    if (!when) return QUARANTINE_DAYS();
    auto left = std::chrono::duration_cast<std::chrono::hours>(*when + std::chrono::hours(24) * QUARANTINE_DAYS() - now);
    return left.count() <= 0 ? 0 : static_cast<int>((left.count() + 23) / 24);
}

}  // namespace

void runQuarantineReport(WallClock::time_point now) {
    printLine(trf(S::quarantineHeader, {std::to_string(QUARANTINE_DAYS())}));
    std::vector<QuarantineEntry> active = quarantineActive();
    if (active.empty()) printLine(trf(S::quarantineEmpty));
    for (const QuarantineEntry& entry : active) {
        printLine(trf(S::quarantineRow, {L(entry.owner), L(entry.component), fmtBytes(entry.bytes),
                                         std::to_string(daysLeft(entry, now))}));
        if (entry.pending.value_or(false)) printLine(trf(S::quarantinePending));
    }
    if (std::size_t damaged = quarantineLedgerDamage(); damaged > 0)
        printLine(trf(S::quarantineDamaged, {std::to_string(damaged)}));
    std::vector<std::string> orphans = quarantineOrphans();
    if (!orphans.empty()) {
        printLine(trf(S::quarantineOrphans));
        for (const std::string& path : orphans) printLine("    " + escapeControls(path));
    }
    std::vector<QuarantineHistoryRow> history = quarantineHistory();
    if (!history.empty()) {
        printLine(trf(S::quarantineHistoryHeader));
        for (const QuarantineHistoryRow& row : history)
            printLine("    " + L(row.owner) + " · " + L(row.component) + " — " +
                      trf(S::quarantineRecreated, {std::to_string(row.recreated), std::to_string(row.total)}));
    }
    printLine(trf(S::quarantineFooter));
}

int runQuarantine(const Settings& settings) {
    if (!settings.undoTarget) {
        runQuarantineReport();
        return 0;
    }
    std::optional<std::string> which;
    if (*settings.undoTarget != "last") which = *settings.undoTarget;
    std::optional<RestoreOutcome> outcome = restoreQuarantine(which);
    if (!outcome) {
        printLine(trf(S::quarantineNothingToRestore));
        return 0;
    }
    printLine(outcome->message);
    return outcome->restored ? 0 : 1;
}

}  // namespace kelvor
