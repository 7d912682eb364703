#include "quillet/recovery/restore_mode.hpp"

#include <cstdio>
#include <string>
#include <vector>

#include "quillet/i18n/text.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/recovery/restorable.hpp"
#include "quillet/scan/fmt_bytes.hpp"

namespace kelvor {

namespace {

void say(const std::string& line) { std::printf("%s\n", line.c_str()); }
void complain(const std::string& line) { std::fprintf(stderr, "%s\n", line.c_str()); }

bool allDigits(const std::string& text) {
    return !text.empty() && text.size() < 10 && text.find_first_not_of("0123456789") == std::string::npos;
}

// The day the row's state began: when it left for good, reached the Trash, or was quarantined.
std::string rowDate(const RestorableItem& row) {
    switch (row.kind) {
        case RecoveryKind::refetch: return row.goneDate();
        case RecoveryKind::quarantined: return row.quarantineDate();
        case RecoveryKind::trashed: return row.trashDate().empty() ? row.stageDate() : row.trashDate();
    }
    return row.stageDate();
}

void listRow(std::size_t number, const RestorableItem& row) {
    std::string head = "  " + std::to_string(number) + ". [" + recoveryLabel(row.kind) + "] " +
                       escapeControls(row.originalPath) + "  (" + fmtBytes(row.bytes) + ") · " +
                       escapeControls(row.owner) + " · " + rowDate(row);
    if (row.folded > 0) head += trf(S::recoveryFoldedNote, {std::to_string(row.folded)});
    say(head);
    if (row.kind == RecoveryKind::refetch) {
        say("     " + row.howItComesBack() + ": " + row.commandLine());
        say("     " + trf(S::recoveryFirstSeenGone, {row.goneSeenAt.value_or("").substr(0, 10)}));
    } else if (row.payloadPresent) {
        say("     " + row.howItComesBack());
    } else {
        say("     " + trf(S::recoveryGoneSince, {row.goneSeenAt.value_or("").substr(0, 10)}));
    }
    if (row.rebuiltAtOrigin() && row.kind != RecoveryKind::refetch) say("     ↳ " + trf(S::recoveryRebuiltNote));
}

void listRows(const std::vector<RestorableItem>& rows, bool more) {
    say(trf(S::recoveryHeader));
    if (rows.empty()) {
        say(trf(S::quarantineNothingToRestore));
        say(trf(S::recoveryNoCommandRows));
        return;
    }
    for (std::size_t i = 0; i < rows.size(); ++i) listRow(i + 1, rows[i]);
    if (more) say(trf(S::recoveryMoreRows, {std::to_string(RECOVERY_LIST_LIMIT)}));
}

// The rows `selector` names: the one numbered so, or every row whose original path contains it.
std::vector<std::size_t> selectRows(const std::vector<RestorableItem>& rows, const std::string& selector) {
    std::vector<std::size_t> chosen;
    if (allDigits(selector)) {
        std::size_t number = std::stoul(selector);
        if (number >= 1 && number <= rows.size()) chosen.push_back(number - 1);
        return chosen;
    }
    for (std::size_t i = 0; i < rows.size(); ++i)
        if (rows[i].originalPath.find(selector) != std::string::npos) chosen.push_back(i);
    return chosen;
}

int discardRow(const RestorableItem& row) {
    say(trf(S::recoveryDiscarding, {escapeControls(row.originalPath), "1", fmtBytes(row.bytes)}));
    std::optional<std::string> refused = discardMany({row}).front().error;
    if (refused) {
        complain("  ✗ " + escapeControls(row.originalPath) + " — " + *refused);
        return 1;
    }
    if (!row.command.empty()) say(trf(S::recoveryEmptiedRefetch));
    else if (row.safeToDiscard()) say(trf(S::recoveryEmptiedRebuilds));
    else say(trf(S::recoveryDiscarded, {escapeControls(row.trashedTo)}));
    return 0;
}

int restoreRow(const RestorableItem& row) {
    std::optional<RestoreFailure> failure = restoreItem(row);
    if (failure) {
        complain("  ✗ " + escapeControls(row.originalPath) + " — " + failure->text);
        complain("  ↳ " + explainRestoreFailure(row, failure->problem));
    } else {
        say("  ↩ " + escapeControls(row.originalPath));
    }
    say(trf(S::undoRestoredFailed, {failure ? "0" : "1", failure ? "1" : "0"}));
    return failure ? 1 : 0;
}

}  // namespace

int runRestoreCentre(const Settings& settings) {
    if (settings.discard && !settings.explicitPath) {
        complain(trf(S::recoveryDiscardUsage));
        return 2;
    }
    bool more = false;
    std::vector<RestorableItem> rows = recoveryItems(RECOVERY_LIST_LIMIT, &more);
    if (!settings.explicitPath) {
        listRows(rows, more);
        return 0;
    }
    const std::string& selector = *settings.explicitPath;
    std::vector<std::size_t> chosen = selectRows(rows, selector);
    if (chosen.empty()) {
        complain(trf(S::recoveryNoSuchRow, {escapeControls(selector)}));
        return 2;
    }
    if (chosen.size() > 1) {
        std::string numbers;
        for (std::size_t index : chosen) numbers += (numbers.empty() ? "" : ", ") + std::to_string(index + 1);
        complain(trf(S::recoveryAmbiguous, {escapeControls(selector), std::to_string(chosen.size()), numbers}));
        return 2;
    }
    const RestorableItem& row = rows[chosen.front()];
    return settings.discard ? discardRow(row) : restoreRow(row);
}

}  // namespace kelvor
