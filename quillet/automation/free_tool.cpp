#include "quillet/automation/free_tool.hpp"

#include <set>

#include "quillet/automation/clean_tool.hpp"
#include "quillet/automation/levels.hpp"
#include "quillet/automation/undo_command.hpp"
#include "quillet/clean/trash_move.hpp"
#include "quillet/scan/fmt_bytes.hpp"

namespace kelvor {

namespace {

Json freeRowJson(const FreeRow& row) {
    Json json{{"id", freeRowId(row.item)},
              {"owner", row.item.owner},
              {"component", row.item.component},
              {"original_path", row.item.originalPath},
              {"in_trash_at", row.item.trashedTo},
              {"size_bytes", row.item.bytes},
              {"size_human", fmtBytes(row.item.bytes)},
              {"moved_at", row.item.when}};
    if (row.wayBack) json["how_to_get_it_back"] = *row.wayBack;
    return json;
}

}  // namespace

std::string freeRowId(const RestorableItem& item) { return itemKey("row", item.id); }

ToolOutcome freePlanResponse(const std::vector<RestorableItem>& rows, const std::vector<std::string>& ids,
                             PlanStore& store) {
    std::set<std::string> wanted(ids.begin(), ids.end()), matched;
    Plan plan;
    plan.kind = PlanKind::free;
    plan.disposal = Disposal::delete_;
    for (const RestorableItem& item : rows) {
        if (item.kind != RecoveryKind::trashed || !item.payloadPresent) continue;
        const std::string id = freeRowId(item);
        if (!wanted.empty() && !wanted.contains(id)) continue;
        matched.insert(id);
        DiscardCheck check = verifyDiscard(item.trashedTo, item.originalPath);
        FreeRow row{item, undoCommand(item.manifest)};
        if (check.refusal) {
            Json refused = freeRowJson(row);
            refused["reason"] = "the copy in the Trash is not the one Kelvor moved";
            plan.refused.push_back(std::move(refused));
            continue;
        }
        plan.freeRows.push_back(std::move(row));
    }
    for (const std::string& id : ids)
        if (!matched.contains(id)) plan.missingKeys.push_back(id);

    Json payload{{"tool", "kelvor_free"}, {"refused", plan.refused}};
    if (!plan.missingKeys.empty()) payload["missing_ids"] = plan.missingKeys;
    if (plan.freeRows.empty()) {
        payload["status"] = "nothing_to_do";
        payload["rows"] = Json::array();
        payload["for_the_assistant"] =
            "There is nothing of Kelvor's in the Trash to empty. Whatever else is in there is the person's own and "
            "this tool never touches it.";
        return {std::move(payload), false};
    }
    Json listed = Json::array();
    std::uint64_t total = 0;
    for (const FreeRow& row : plan.freeRows) {
        listed.push_back(freeRowJson(row));
        total += row.item.bytes;
    }
    const std::string token = store.put(std::move(plan));
    payload["status"] = "plan";
    payload["rows"] = std::move(listed);
    payload["total_bytes"] = total;
    payload["total_human"] = fmtBytes(total);
    payload["plan_token"] = token;
    payload["expires_in_seconds"] = PLAN_LIFETIME.count();
    payload["for_the_assistant"] =
        "This is a PLAN, not an action. Nothing has been emptied. Emptying is irreversible. Show the person these "
        "rows in their own language with their sizes and the total, and what brings each one back today. Then ask "
        "whether to empty them, and wait for their answer. If they say yes, call this tool again with plan_token "
        "and no other argument, within " +
        std::to_string(PLAN_LIFETIME.count()) + " seconds.";
    return {std::move(payload), false};
}

ToolOutcome freeExecute(const Plan& plan) {
    std::vector<RestorableItem> rows;
    for (const FreeRow& row : plan.freeRows) rows.push_back(row.item);
    std::vector<DiscardResult> results = discardMany(rows);
    std::uint64_t freed = 0;
    Json emptied = Json::array(), failed = Json::array();
    for (std::size_t i = 0; i < results.size(); ++i) {
        Json json{{"id", freeRowId(rows[i])}, {"original_path", rows[i].originalPath},
                  {"size_human", fmtBytes(rows[i].bytes)}};
        if (results[i].error) {
            json["reason"] = *results[i].error;
            failed.push_back(std::move(json));
            continue;
        }
        freed += rows[i].bytes;
        emptied.push_back(std::move(json));
    }
    Json payload{{"tool", "kelvor_free"}, {"emptied", emptied}, {"failed", failed}, {"freed_human", fmtBytes(freed)}};
    if (failed.empty()) {
        payload["status"] = "emptied";
        payload["for_the_assistant"] = fmtBytes(freed) + " is back on the disk and this cannot be undone.";
    } else if (emptied.empty()) {
        payload["status"] = "nothing_moved";
        payload["for_the_assistant"] = "Nothing was emptied. The reasons are in `failed`; report them as they are.";
    } else {
        payload["status"] = "partial";
        payload["for_the_assistant"] = "Lead with what did NOT go. Only part of it went. " + fmtBytes(freed) +
                                       " is back on the disk and this cannot be undone; the rest is in `failed`.";
    }
    return {std::move(payload), false};
}

ToolOutcome toolFree(const Json& arguments, OperationContext&, PlanStore& store) {
    if (auto approved = runApprovedPlan(arguments, store, PlanKind::free, "kelvor_free",
                                        [](const Plan& plan) { return freeExecute(plan); }))
        return std::move(*approved);
    std::vector<std::string> ids;
    if (arguments.contains("ids"))
        for (const Json& id : arguments["ids"]) ids.push_back(id.get<std::string>());
    return freePlanResponse(recoveryItems(RECOVERY_LIST_LIMIT), ids, store);
}

}  // namespace kelvor
