#include "quillet/automation/clean_tool.hpp"

#include <algorithm>
#include <set>

#include "quillet/automation/levels.hpp"
#include "quillet/automation/plan_drift.hpp"
#include "quillet/automation/tool_scan.hpp"
#include "quillet/automation/undo_command.hpp"
#include "quillet/clean/ballast.hpp"
#include "quillet/clean/clean_plan.hpp"
#include "quillet/clean/executor.hpp"
#include "quillet/guards/guards.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/quarantine/quarantine_store.hpp"
#include "quillet/recovery/restorable.hpp"
#include "quillet/rules/tier.hpp"
#include "quillet/scan/fmt_bytes.hpp"

namespace kelvor {

namespace {

constexpr const char* FIGURES_NOTE =
    "These figures are as of now; the same checks run again at removal, so a row can still be held if something "
    "opens it in the meantime.";

Json reasonsOf(const std::vector<GuardViolation>& violations, const std::vector<std::string>& excludedInside) {
    Json reasons = Json::array();
    for (const std::string& excluded : excludedInside) reasons.push_back(trf(S::cleanExcludedInside, {excluded}));
    for (const GuardViolation& violation : violations) reasons.push_back(violation.reason);
    return reasons;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i)
        text += (i == 0 ? "" : i + 1 == words.size() ? " and " : ", ") + words[i];
    return text;
}

std::string disposalMeaning(Disposal disposal) {
    return disposal == Disposal::trash
               ? "move them to the Trash (an undo record is written; the space itself comes back only when the Trash "
                 "is emptied)"
               : "DELETE them for good (moved to the Trash and emptied in the same step)";
}

std::uint64_t totalOf(const std::vector<PlanRow>& rows) {
    std::uint64_t total = 0;
    for (const PlanRow& row : rows) total += row.hit.stat.bytes;
    return total;
}

CleanTarget targetOf(const PlanRow& row) {
    CleanTarget target;
    target.rule = row.hit.rule;
    target.path = row.hit.path;
    target.stat = row.hit.stat;
    target.linkedFrom = row.hit.linkedFrom;
    target.excludedInside = row.hit.excludedInside;
    target.identity = row.identity;
    return target;
}

}  // namespace

Json hitJson(const Hit& hit) {
    LevelFacts facts = assistantLevel(hit);
    Json json{{"key", itemKey(hit.rule.owner, hit.path)},
              {"owner", hit.rule.owner},
              {"component", componentLabel(hit.rule)},
              {"path", hit.path},
              {"size_bytes", hit.stat.bytes},
              {"size_human", fmtBytes(hit.stat.bytes)},
              {"level", facts.level},
              {"letter", std::string(screenBadge(hit.rule.tier, hit.rule.verified))},
              {"tier", std::string(1, tierLetter(hit.rule.tier))},
              {"verified", hit.rule.verified},
              {"recovery", recoveryText(hit.rule)}};
    if (facts.appSaysRButLevel3) json["app_says_R_but_level_3"] = true;
    if (hit.stat.timedOut) json["size_is_partial"] = true;
    return json;
}

TargetChoice chooseTargets(const std::vector<Hit>& hits, const std::vector<std::string>& keys, int cap,
                           ProcessTable& table) {
    TargetChoice choice;
    std::set<std::string> wanted(keys.begin(), keys.end()), matched;
    std::vector<PlanRow> candidates;
    for (const Hit& hit : hits) {
        const std::string key = itemKey(hit.rule.owner, hit.path);
        if (!wanted.empty() && !wanted.contains(key)) continue;
        matched.insert(key);
        LevelFacts facts = assistantLevel(hit);
        if (facts.level > cap) {
            Json row = hitJson(hit);
            row["reason"] = levelRefusal(hit.rule, facts.level);
            choice.refused.push_back(std::move(row));
            continue;
        }
        candidates.push_back({hit, std::nullopt});
    }
    for (const std::string& key : keys)
        if (!matched.contains(key) &&
            std::find(choice.missing.begin(), choice.missing.end(), key) == choice.missing.end())
            choice.missing.push_back(key);
    if (candidates.empty()) return choice;

    std::optional<std::vector<Proc>> procs = runningProcessesChecked(table);
    std::optional<OpenFileIndex> openFiles;
    if (procs) openFiles.emplace(openHomeFiles(*procs, table));
    for (PlanRow& row : candidates) {
        const Hit& hit = row.hit;
        std::vector<GuardViolation> violations;
        bool onlyOwnerRuns = false;
        if (!procs) {
            violations.push_back({.reason = cannotSeeProcessesNote(), .hard = true});
        } else {
            const LiveSafe liveSafe = hit.rule.liveSafe ? LiveSafe::yes : LiveSafe::no;
            violations = checkGuards(hit.rule.owner, hit.path, *procs, &*openFiles, liveSafe, RecentWriteCheck::run);
            // Held by the owner alone when the same checks without the running-owner one pass.
            onlyOwnerRuns = !violations.empty() && liveSafe == LiveSafe::no && hit.excludedInside.empty() &&
                            checkGuards(hit.rule.owner, hit.path, *procs, &*openFiles, LiveSafe::yes,
                                        RecentWriteCheck::run)
                                .empty();
        }
        if (violations.empty() && hit.excludedInside.empty()) {
            Result<PathIdentity> identity = FileOps::real().identity(hit.path);
            if (identity) row.identity = *identity;
            choice.targets.push_back(std::move(row));
            continue;
        }
        Json held = hitJson(hit);
        held["reasons"] = reasonsOf(violations, hit.excludedInside);
        if (onlyOwnerRuns) held["held_only_because_the_owner_runs"] = true;
        choice.held.push_back(std::move(held));
        choice.heldBytes += hit.stat.bytes;
        if (onlyOwnerRuns) choice.heldByRunningOwner[hit.rule.owner] += hit.stat.bytes;
    }
    std::stable_sort(choice.targets.begin(), choice.targets.end(),
                     [](const PlanRow& a, const PlanRow& b) { return a.hit.stat.bytes > b.hit.stat.bytes; });
    return choice;
}

std::string capNote(const TargetChoice& choice) {
    if (choice.held.empty()) return "";
    std::string note = std::to_string(choice.held.size()) + " row(s) at this level, " + fmtBytes(choice.heldBytes) +
                       ", are NOT in the plan; each one in `held` says why. Say that too, with the total, so the "
                       "person is not left wondering where the difference went.";
    if (!choice.heldByRunningOwner.empty()) {
        std::uint64_t releasable = 0;
        std::vector<std::string> owners;
        for (const auto& [owner, bytes] : choice.heldByRunningOwner) {
            releasable += bytes;
            owners.push_back(owner);
        }
        note += " " + fmtBytes(releasable) + " of it is held only because " + joined(owners) +
                " is running: tell the person that closing those and asking again would put it back on the table. "
                "That is the one part of the difference they can act on.";
    }
    return note;
}

std::string planBriefing(const Plan& plan) {
    std::string text =
        "This is a PLAN, not an action. Nothing on this disk has been touched. Show the person this list in their "
        "own language: owner, component, size and level for each row, and the total. If they agree, this will " +
        disposalMeaning(plan.disposal) + ".";
    if (plan.disposal == Disposal::delete_)
        text += " Say plainly that this cannot be undone, and name the rows that nothing brings back, BEFORE you ask.";
    text += " Then ask whether to go ahead, and wait for their answer. If they say yes, call this tool again with "
            "plan_token and no other argument. If they want a different set, ask for a NEW plan: the token unlocks "
            "exactly this list and nothing else, once, within " +
            std::to_string(PLAN_LIFETIME.count()) + " seconds.";
    return text;
}

ToolOutcome cleanPlanResponse(const std::vector<Hit>& hits, const std::vector<std::string>& keys,
                              std::int64_t maxLevel, Disposal disposal, PlanStore& store, ProcessTable& table) {
    ClampedLevel cap = clampMaxLevel(maxLevel);
    TargetChoice choice = chooseTargets(hits, keys, cap.level, table);
    Json payload{{"tool", "kelvor_clean"},
                 {"max_level", cap.level},
                 {"disposal", disposalName(disposal)},
                 {"held", choice.held},
                 {"refused", choice.refused},
                 {"level_legend", levelLegendJson()},
                 {"letters_legend", lettersLegend()},
                 {"figures_note", FIGURES_NOTE}};
    if (cap.note) payload["max_level_note"] = *cap.note;
    if (!choice.missing.empty()) payload["missing_keys"] = choice.missing;
    if (!choice.heldByRunningOwner.empty()) {
        Json release = Json::object();
        for (const auto& [owner, bytes] : choice.heldByRunningOwner) release[owner] = fmtBytes(bytes);
        payload["closing_these_would_release"] = std::move(release);
    }
    const std::string note = capNote(choice);
    std::string cappedNote = cap.note ? " Tell the person too: " + *cap.note + "." : std::string();
    if (choice.targets.empty()) {
        payload["status"] = "nothing_to_do";
        payload["rows"] = Json::array();
        payload["for_the_assistant"] =
            "Nothing here matches. Tell the person there is nothing to clean at this level, and if refused rows are "
            "listed, tell them what each one would need instead." +
            (note.empty() ? "" : " " + note) + cappedNote;
        return {std::move(payload), false};
    }
    Plan plan;
    plan.kind = PlanKind::clean;
    plan.maxLevel = cap.level;
    plan.disposal = disposal;
    plan.rows = choice.targets;
    plan.refused = choice.refused;
    plan.missingKeys = choice.missing;
    Json rows = Json::array();
    for (const PlanRow& row : plan.rows) rows.push_back(hitJson(row.hit));
    const std::uint64_t total = totalOf(plan.rows);
    std::string briefing = planBriefing(plan);
    const std::string token = store.put(std::move(plan));
    payload["status"] = "plan";
    payload["rows"] = std::move(rows);
    payload["total_bytes"] = total;
    payload["total_human"] = fmtBytes(total);
    payload["disposal_means"] = disposalMeaning(disposal);
    payload["plan_token"] = token;
    payload["expires_in_seconds"] = PLAN_LIFETIME.count();
    payload["for_the_assistant"] = briefing + (note.empty() ? "" : " " + note) + cappedNote;
    return {std::move(payload), false};
}

ToolOutcome cleanExecute(const Plan& plan, ProcessTable& table) {
    Json payload{{"tool", "kelvor_clean"}, {"disposal", disposalName(plan.disposal)}};
    PlanDrift drift = planDrift(plan.rows);
    Json dropped = Json::array();
    for (const DroppedRow& row : drift.dropped) {
        Json json = hitJson(row.row.hit);
        json["reason"] = row.reason;
        dropped.push_back(std::move(json));
    }
    payload["dropped"] = dropped;
    if (drift.unchanged.empty()) {
        payload["status"] = "nothing_moved";
        payload["for_the_assistant"] =
            "Nothing was removed: every row in the approved plan had changed on disk since the person saw it. Tell "
            "them that, and offer a fresh plan.";
        return {std::move(payload), false};
    }

    std::vector<CleanTarget> targets;
    for (const PlanRow& row : drift.unchanged) targets.push_back(targetOf(row));
    guardTargets(targets, table);
    // The executor compares each item against what the person approved, not what stands there now.
    for (std::size_t i = 0; i < targets.size(); ++i) targets[i].identity = drift.unchanged[i].identity;

    ApplyContext context;
    context.quarantine = quarantineTarget;
    Ballast ballast;
    context.releaseBallast = [&] { return ballast.release(); };
    CleanOutcome outcome = applyCleanPlan(targets, {}, context);
    if (outcome.ballastReleased) ballast.ensure();

    Json moved = Json::array(), blocked = Json::array(), failed = Json::array();
    std::vector<RestorableItem> toEmpty;
    for (const ItemOutcome& item : outcome.items) {
        Json json{{"owner", item.owner}, {"component", item.component}, {"path", item.path},
                  {"size_human", fmtBytes(item.bytes)}};
        switch (item.fate) {
            case ItemFate::trashed:
            case ItemFate::quarantined:
                json["moved_to"] = item.destination;
                moved.push_back(std::move(json));
                if (item.fate == ItemFate::trashed && outcome.manifestPath) {
                    RestorableItem row;
                    row.id = *outcome.manifestPath + "\n" + item.destination;
                    row.manifest = *outcome.manifestPath;
                    row.owner = item.owner;
                    row.component = item.component;
                    row.bytes = item.bytes;
                    row.action = "trash";
                    row.originalPath = item.path;
                    row.trashedTo = item.destination;
                    row.payloadPresent = true;
                    row.kind = RecoveryKind::trashed;
                    toEmpty.push_back(std::move(row));
                }
                break;
            case ItemFate::blocked:
                json["reason"] = item.reason;
                blocked.push_back(std::move(json));
                break;
            case ItemFate::changed:
                json["reason"] = DRIFT_REPLACED;
                dropped.push_back(std::move(json));
                break;
            case ItemFate::failed:
            case ItemFate::quarantineFailed:
                json["reason"] = item.reason;
                failed.push_back(std::move(json));
                break;
        }
    }
    payload["moved"] = moved;
    payload["blocked"] = blocked;
    payload["failed"] = failed;
    payload["dropped"] = dropped;
    if (outcome.recordUnwritable) {
        payload["status"] = "nothing_moved";
        payload["error"] = "the undo record could not be written, so nothing was moved";
        payload["for_the_assistant"] =
            "Nothing moved: the undo record could not be written (the disk may be full). Tell the person; do not "
            "retry the same plan.";
        return {std::move(payload), true};
    }
    if (moved.empty()) {
        payload["status"] = "nothing_moved";
        payload["for_the_assistant"] =
            blocked.empty() ? "Nothing moved: every row failed to move. Report the reasons in `failed` to the person "
                              "as they are; do not retry the same plan."
                            : "Nothing moved: the guards blocked every row after approval. Report the blocked reasons "
                              "to the person as they are; do not retry the same plan.";
        return {std::move(payload), false};
    }
    if (outcome.manifestPath) payload["undo_record"] = *outcome.manifestPath;
    const std::uint64_t movedBytes = outcome.bytesWith(ItemFate::trashed) + outcome.bytesWith(ItemFate::quarantined);
    payload["moved_human"] = fmtBytes(movedBytes);
    // Unverified rows go to the quarantine, never straight to the Trash, and no disposal empties them.
    const int quarantined = outcome.countWith(ItemFate::quarantined);
    std::string quarantineNote;
    if (quarantined > 0) {
        quarantineNote = " " + std::to_string(quarantined) +
                         " unverified row(s) went to Kelvor's quarantine instead of the Trash; they come back with the "
                         "same undo command and move on to the Trash by themselves after " +
                         std::to_string(QUARANTINE_DAYS()) + " days. Say so.";
        payload["quarantined_human"] = fmtBytes(outcome.bytesWith(ItemFate::quarantined));
    }
    if (plan.disposal == Disposal::trash) {
        payload["status"] = "moved";
        payload["undo_command"] = undoCommand();
        payload["space_returns_when_the_trash_is_emptied"] = fmtBytes(outcome.bytesWith(ItemFate::trashed));
        payload["for_the_assistant"] =
            "Moved to the Trash, and still reversible. The disk has NOT given the space back yet: say so, and offer "
            "kelvor_free if the person wants it now. The undo command is in this response if they change their mind." +
            quarantineNote;
        return {std::move(payload), false};
    }
    std::uint64_t emptied = 0;
    Json notEmptied = Json::array();
    std::vector<DiscardResult> results = discardMany(toEmpty);
    for (std::size_t i = 0; i < results.size(); ++i) {
        if (!results[i].error) {
            emptied += toEmpty[i].bytes;
            continue;
        }
        notEmptied.push_back(Json{{"path", toEmpty[i].originalPath},
                                  {"in_trash_at", toEmpty[i].trashedTo},
                                  {"reason", *results[i].error}});
    }
    payload["status"] = "deleted";
    payload["emptied_human"] = fmtBytes(emptied);
    std::string told = "Done, and the space is back: " + fmtBytes(emptied) + ". This cannot be undone.";
    if (!notEmptied.empty()) {
        payload["partially_emptied"] = notEmptied;
        told += " Some rows could not be emptied and are still in the Trash; say which.";
    }
    payload["for_the_assistant"] = told + quarantineNote;
    return {std::move(payload), false};
}

std::optional<ToolOutcome> runApprovedPlan(const Json& arguments, PlanStore& store, PlanKind kind,
                                           const std::string& tool,
                                           const std::function<ToolOutcome(const Plan&)>& execute) {
    if (!arguments.contains("plan_token")) return std::nullopt;
    // A token that is not text was never issued: the store refuses it like any unknown one.
    const Json& token = arguments["plan_token"];
    PlanTake taken = store.take(token.is_string() ? token.get<std::string>() : std::string(), kind);
    if (taken.plan) return execute(*taken.plan);
    Json payload{{"tool", tool},
                 {"error", "plan_token refused"},
                 {"reason", taken.refusal},
                 {"for_the_assistant",
                  taken.neverIssued ? "The approval could not be used. Ask for a fresh plan and show it again."
                                    : "The approval could not be used. Ask for a fresh plan, show it to the person "
                                      "again, and do not assume the earlier answer still stands."}};
    return ToolOutcome{std::move(payload), true};
}

ToolOutcome toolClean(const Json& arguments, OperationContext& context, PlanStore& store) {
    if (auto approved = runApprovedPlan(arguments, store, PlanKind::clean, "kelvor_clean",
                                        [](const Plan& plan) { return cleanExecute(plan); }))
        return std::move(*approved);
    std::vector<std::string> keys;
    if (arguments.contains("keys"))
        for (const Json& key : arguments["keys"]) keys.push_back(key.get<std::string>());
    const std::int64_t maxLevel = arguments.value("max_level", std::int64_t{1});
    const Disposal disposal = arguments.value("disposal", std::string("trash")) == "delete" ? Disposal::delete_
                                                                                             : Disposal::trash;
    ToolScan scan = scanForTool(context);
    return cleanPlanResponse(scan.hits, keys, maxLevel, disposal, store);
}

}  // namespace kelvor
