#include "quillet/automation/tool_recovery.hpp"

#include <string>

#include "quillet/i18n/text.hpp"
#include "quillet/recovery/restore_command.hpp"
#include "quillet/scan/fmt_bytes.hpp"

namespace kelvor {

namespace {

// The --path that selects row `index` and no other: its original path when no other row's path
// contains it (a path outlives renumbering), else its number in the list.
std::string selectorFor(const std::vector<RestorableItem>& rows, std::size_t index) {
    const std::string& path = rows[index].originalPath;
    for (std::size_t i = 0; i < rows.size(); ++i)
        if (i != index && rows[i].originalPath.find(path) != std::string::npos) return std::to_string(index + 1);
    return path;
}

// The argument quoted for a POSIX shell, so the assistant can hand the line on as it is.
std::string shellWord(const std::string& word) {
    std::string quoted = "'";
    for (char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

Json rowJson(const std::vector<RestorableItem>& rows, std::size_t index) {
    const RestorableItem& row = rows[index];
    Json out = {
        {"id", row.id},
        {"number", index + 1},
        {"owner", row.owner},
        {"component", row.component},
        {"original_path", row.originalPath},
        {"size_bytes", row.bytes},
        {"size", fmtBytes(row.bytes)},
        {"removed_at", row.when},
        {"kind", recoveryLabel(row.kind)},
        {"way_back", row.howItComesBack()},
        {"rule_tier", row.ruleTier},
        {"rule_verified", row.ruleVerified},
        {"owning_tool_rebuilt_the_original", row.rebuiltAtOrigin()},
        {"safe_to_empty", row.safeToDiscard()},
    };
    if (!row.trashedTo.empty() && row.payloadPresent) out["where_it_is_now"] = row.trashedTo;
    if (row.folded > 0) out["older_removals_of_the_same_place"] = row.folded;
    if (row.goneSeenAt) out["first_seen_missing_at"] = *row.goneSeenAt;
    if (row.goneAt) out["gone_for_good_at"] = *row.goneAt;
    if (!row.command.empty()) {
        out["recorded_command"] = row.command;
        out["recorded_command_brings_back_the_same_version"] = commandRestoresExactly(row.command);
    }
    if (row.kind == RecoveryKind::refetch) out["how_to_get_it_back"] = row.commandLine();
    else if (row.payloadPresent) out["how_to_get_it_back"] = "kelvor --mode restore --path " + shellWord(selectorFor(rows, index));
    else out["how_to_get_it_back"] = nullptr;
    if (row.kind == RecoveryKind::quarantined && row.daysLeft) {
        out["days_until_it_moves_to_the_trash"] = *row.daysLeft;
        if (*row.daysLeft <= RECOVERY_SOON_DAYS)
            out["note"] = trf(S::recoveryAssistantSoon, {std::to_string(*row.daysLeft)});
    }
    if (row.rebuiltAtOrigin()) out["note"] = trf(S::recoveryAssistantSuperseded);
    return out;
}

}  // namespace

Json recoveryReport(const std::vector<RestorableItem>& rows) {
    Json report = {{"quarantined_items", Json::array()},
                   {"trash_items", Json::array()},
                   {"gone_items", Json::array()},
                   {"already_superseded_items", Json::array()}};
    std::uint64_t inTrash = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const RestorableItem& row = rows[i];
        Json item = rowJson(rows, i);
        if (row.rebuiltAtOrigin() && row.payloadPresent) report["already_superseded_items"].push_back(item);
        else if (row.kind == RecoveryKind::quarantined) report["quarantined_items"].push_back(item);
        else if (row.kind == RecoveryKind::trashed && row.payloadPresent) report["trash_items"].push_back(item);
        else report["gone_items"].push_back(item);
        if (row.kind == RecoveryKind::trashed && row.payloadPresent) inTrash += row.bytes;
    }
    report["space_waiting_in_the_trash"] = fmtBytes(inTrash);
    report["space_waiting_in_the_trash_bytes"] = inTrash;
    return report;
}

Json toolRecovery() { return recoveryReport(restorableItems()); }

}  // namespace kelvor
