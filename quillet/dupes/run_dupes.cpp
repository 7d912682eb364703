#include "quillet/dupes/run_dupes.hpp"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>

#include "quillet/clean/manifest.hpp"
#include "quillet/clean/trash_move.hpp"
#include "quillet/dupes/collectors.hpp"
#include "quillet/dupes/find_duplicates.hpp"
#include "quillet/guards/guards.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/log/log.hpp"
#include "quillet/main/settings.hpp"
#include "quillet/platform/clone.hpp"
#include "quillet/platform/digest.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/platform/sysinfo.hpp"
#include "quillet/platform/trash.hpp"
#include "quillet/records/record_lock.hpp"
#include "quillet/scan/fmt_bytes.hpp"
#include "quillet/space/exclusions.hpp"

namespace kelvor {

namespace {

// The manifest reasons, kept in the record as data.
constexpr const char* STRAY_REASON = "duplicate (stray copy)";
constexpr const char* CLONED_REASON = "duplicate (clone-merged)";

std::string shown(const std::string& path) { return escapeControls(path); }

std::string ownerOf(const ModelCopy& copy) {
    if (copy.kind == ModelKind::ollamaBlob) return "Ollama";
    if (copy.kind == ModelKind::hfBlob) return "HuggingFace";
    return "Duplicates";
}

// One redundant copy the run will move, and how.
struct Planned {
    const DupeGroup* group;
    const ModelCopy* copy;
    bool clone;
};

// Whether every copy of `group` is still what was compared, and the keeper still has its digest;
// prints why not.
bool groupStillProven(const DupeGroup& group, std::vector<std::string>& lines) {
    for (const ModelCopy& copy : group.copies) {
        auto recorded = group.identities.find(copy.path);
        std::optional<DupeIdentity> now = inoCtime(copy.path);
        if (recorded == group.identities.end() || !now || !(*now == recorded->second)) {
            lines.push_back(trf(S::dupesGroupChanged) + " " + shown(copy.path));
            return false;
        }
    }
    std::uint64_t ignored = 0;
    const std::string& keeper = group.copies.front().path;
    if (sha256File(keeper, ignored) != group.digest) {
        lines.push_back(trf(S::dupesKeeperFails) + " " + shown(keeper));
        return false;
    }
    return true;
}

}  // namespace

DupesApplied applyDupes(const std::vector<DupeGroup>& groups, Dedupe dedupe, GuardMode guards) {
    DupesApplied applied;
    std::optional<std::vector<Proc>> procs;
    std::optional<OpenFileIndex> openFiles;
    if (guards == GuardMode::check) {
        procs = runningProcessesChecked();
        if (procs) openFiles.emplace(openHomeFiles(*procs));
    }
    std::vector<Planned> planned;
    for (const DupeGroup& group : groups) {
        if (group.copies.size() < 2) continue;
        bool everyInStore = true;
        for (const ModelCopy& copy : group.copies) everyInStore = everyInStore && copy.inToolStore;
        if (everyInStore && dedupe == Dedupe::no) {
            applied.lines.push_back(trf(S::dupesStoreOnly));
            continue;
        }
        if (!groupStillProven(group, applied.lines)) continue;
        for (std::size_t i = 1; i < group.copies.size(); ++i) {
            const ModelCopy& copy = group.copies[i];
            if (copy.inToolStore && dedupe == Dedupe::no) continue;
            if (guards == GuardMode::check) {
                std::vector<GuardViolation> violations;
                if (!procs) {
                    violations.push_back(GuardViolation{cannotSeeProcessesNote()});
                } else {
                    violations = checkGuards(ownerOf(copy), copy.path, *procs, &*openFiles, LiveSafe::no,
                                             RecentWriteCheck::run);
                }
                if (!violations.empty()) {
                    applied.lines.push_back(trf(S::dupesGuardSkipped, {violations.front().reason}) + " " +
                                            shown(copy.path));
                    continue;
                }
            }
            planned.push_back(Planned{&group, &copy, copy.inToolStore});
        }
    }
    if (planned.empty()) return applied;

    std::vector<ManifestItem> rows;
    for (const Planned& item : planned) {
        ManifestItem row;
        row.owner = ownerOf(*item.copy);
        row.component = item.clone ? CLONED_REASON : STRAY_REASON;
        row.originalPath = item.copy->path;
        row.trashedTo = item.copy->path;
        row.bytes = item.copy->bytes;
        row.forced = guards == GuardMode::force;
        row.action = item.clone ? "clone-merge" : "trash";
        if (item.clone) {
            row.cloneSource = item.group->copies.front().path;
            row.sha256 = item.group->digest;
        }
        row.originalParentID = parentID(item.copy->path);
        rows.push_back(row);
    }
    // No record, no move: the record is written and locked before anything is touched.
    std::optional<RecordLock> held;
    Result<std::string> record = newManifestPath();
    if (record) {
        Result<RecordLock> lock = RecordLock::hold(*record, LockWait::wait);
        if (lock) held.emplace(std::move(*lock));
        record = lock ? writeManifest(rows, *record, true) : Result<std::string>(lock.error());
    }
    if (!record) {
        KelvorLog::write("dupes", "the undo record cannot be written: " + record.error().describe());
        applied.recordUnwritable = true;
        applied.lines.push_back(trf(S::dupesRecordUnwritable));
        applied.lines.push_back(trf(S::dupesNothingApplied));
        return applied;
    }
    FileOps& files = FileOps::real();
    for (std::size_t i = 0; i < planned.size(); ++i) {
        const ModelCopy& copy = *planned[i].copy;
        Result<PathIdentity> identity = files.identity(copy.path);
        if (!identity) {
            applied.lines.push_back(trf(S::dupesTrashFailed) + " " + shown(copy.path));
            continue;
        }
        TrashOutcome trashed = trashItem(copy.path, copy.bytes, *identity, UndoRecord::written);
        if (!trashed.moved()) {
            KelvorLog::write("dupes", "could not move " + copy.path + ": " + trashed.refusal->message);
            applied.lines.push_back(trf(S::dupesTrashFailed) + " " + shown(copy.path));
            continue;
        }
        if (!planned[i].clone) {
            rows[i].trashedTo = trashed.destination;
            rows[i].pending = false;
            (void)checkpointManifest(rows, *record, Checkpoint::forced);
            applied.lines.push_back(trf(S::dupesTrashed) + " " + shown(copy.path));
            ++applied.trashed;
            continue;
        }
        if (trashed.destination.empty()) {
            applied.lines.push_back(trf(S::dupesNoDestination) + " " + shown(copy.path));
            continue;
        }
        rows[i].trashedTo = trashed.destination;
        rows[i].pending = false;
        (void)checkpointManifest(rows, *record, Checkpoint::forced);
        Result<void> cloned = cloneFile(planned[i].group->copies.front().path, copy.path);
        if (!cloned) {
            // Nothing is lost: the copy goes back where it was, and its row says it never moved.
            Result<void> back = files.rename(trashed.destination, copy.path);
            if (back) {
                forgetTrashRecord(trashed.destination);
                rows[i].trashedTo = copy.path;
                rows[i].pending = true;
                (void)checkpointManifest(rows, *record, Checkpoint::forced);
            } else {
                KelvorLog::write("dupes", "could not put back " + copy.path + ": " + back.error().describe());
            }
            applied.lines.push_back(trf(S::dupesCloneFailed, {std::to_string(cloned.error().code)}) + " " +
                                    shown(copy.path));
            continue;
        }
        applied.lines.push_back(trf(S::dupesCloneMerged) + " " + shown(copy.path));
        ++applied.cloned;
    }
    (void)writeManifest(rows, *record, false);
    return applied;
}

int runDupes(const Settings& settings) {
    const std::string root = settings.root;
    const std::uint64_t minBytes = static_cast<std::uint64_t>(settings.minMB) * 1'048'576ull;
    std::printf("%s\n", trf(S::dupesTitle, {shown(root), std::to_string(settings.minMB)}).c_str());
    auto started = std::chrono::steady_clock::now();
    std::vector<ModelCopy> ollama = collectOllamaCopies(ollamaModelsDir(), minBytes);
    std::vector<ModelCopy> hf = collectHFCopies(hfHubDir(), minBytes);
    Exclusions& exclusions = Exclusions::shared();
    std::vector<ModelCopy> wild =
        collectWildCopies(root, minBytes, [&](std::string_view path) { return exclusions.covers(path); });
    std::vector<ModelCopy> all = ollama;
    all.insert(all.end(), hf.begin(), hf.end());
    all.insert(all.end(), wild.begin(), wild.end());

    DigestCache cache(DigestCache::defaultFile());
    cache.load();
    int hashed = 0;
    std::uint64_t hashedBytes = 0;
    // Hashing keeps a processor busy per worker; more workers than processors only contend.
    std::vector<DupeGroup> groups =
        findDuplicates(all, cache, hashed, hashedBytes, std::min(settings.threads, processorCount()));
    if (hashed > 0) cache.save();
    DupeProof::shared().record(groups);
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    char elapsed[32];
    std::snprintf(elapsed, sizeof elapsed, "%.1f", seconds);
    std::printf("%s\n", trf(S::dupesStats, {std::to_string(all.size()), std::to_string(ollama.size()),
                                            std::to_string(hf.size()), std::to_string(wild.size()),
                                            std::to_string(hashed), fmtBytes(hashedBytes), elapsed})
                            .c_str());
    std::uint64_t total = 0;
    for (const DupeGroup& group : groups) {
        total += group.reclaimable();
        std::printf("%s\n", trf(S::dupesGroup, {fmtBytes(group.bytes), std::to_string(group.copies.size()),
                                                group.digest.substr(0, 12), fmtBytes(group.reclaimable())})
                                .c_str());
        for (std::size_t i = 0; i < group.copies.size(); ++i)
            std::printf("   %s %s  [%s]\n", i == 0 ? "✓" : "·", shown(group.copies[i].path).c_str(),
                        shown(group.copies[i].label).c_str());
    }
    if (groups.empty())
        std::printf("%s\n", trf(S::dupesNone).c_str());
    else
        std::printf("%s\n", trf(S::dupesTotal, {fmtBytes(total), std::to_string(groups.size())}).c_str());
    std::printf("%s\n%s\n", trf(S::dupesFormatsNote).c_str(), trf(S::dupesFormatsNoteEnd).c_str());
    if (!settings.cleanApply) {
        std::printf("%s\n", trf(S::dupesReportOnly).c_str());
        return 0;
    }
    DupesApplied applied = applyDupes(groups, settings.dedupeFlag ? Dedupe::yes : Dedupe::no,
                                      settings.cleanForce ? GuardMode::force : GuardMode::check);
    for (const std::string& line : applied.lines) std::printf("%s\n", line.c_str());
    if (applied.recordUnwritable) return 1;
    std::printf("%s\n", trf(S::dupesTrashedSummary, {std::to_string(applied.trashed)}).c_str());
    std::printf("%s\n", trf(S::dupesClonedSummary, {std::to_string(applied.cloned)}).c_str());
    return 0;
}

}  // namespace kelvor
