#include "quillet/clean/trash_move.hpp"

#include <sys/stat.h>

#include <filesystem>

#include "quillet/clean/moved_mark.hpp"
#include "quillet/platform/trash_info.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/log/log.hpp"
#include "quillet/main/remove_root.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/path_inside.hpp"
#include "quillet/platform/remove_tree.hpp"
#include "quillet/platform/trash.hpp"

namespace kelvor {

namespace {

RemovalRefusal refusal(const Sentence& sentence) { return RemovalRefusal{trf(sentence)}; }
RemovalRefusal refusal(const DesktopSentence& sentence) { return RemovalRefusal{trf(sentence)}; }

// The Trash folders of --remove-root, and always the home Trash this process moves into: as root
// those rules know only the homes of the password database, not a home given by HOME.
TrashRules ownTrashRules() {
    TrashRules rules = currentTrashRules();
    std::error_code failed;
    std::filesystem::path home = std::filesystem::canonical(homeTrashFolder(), failed);
    rules.homeTrashes.push_back(failed ? homeTrashFolder() : home.string());
    return rules;
}

}  // namespace

bool insideDataFolder(const std::string& path) {
    Result<std::string> real = realPathOfEntry(path);
    return pathInside(path, dataDir()) || (real && pathInside(*real, dataDir()));
}

TrashOutcome trashItem(const std::string& path, std::uint64_t, const PathIdentity& identity, UndoRecord undo,
                       WallClock::time_point now, FileOps& ops) {
    if (insideDataFolder(path)) return {"", refusal(S::trashOwnState)};
    if (undo == UndoRecord::missing) return {"", refusal(S::trashNoUndoRecord)};
    if (onSealedSystemVolume(path)) return {"", refusal(S::trashSealedSystem)};
    Result<std::string> real = realPathOfEntry(path);
    Result<PathIdentity> current = real ? ops.identity(*real) : Result<PathIdentity>(real.error());
    if (!current) return {"", refusal(S::trashItemGone)};
    if (!(*current == identity)) return {"", refusal(S::trashItemChanged)};
    Result<std::string> moved = ops.moveToTrash(*real);
    if (!moved) return {"", RemovalRefusal{trf(S::trashMoveFailed, {moved.error().describe()})}};
    // The item has moved and cannot be unmoved safely; a missing mark only means that Kelvor will
    // not delete it for good later.
    Result<void> marked = markMoved(*moved, *real, now);
    if (!marked) KelvorLog::write("trash", "moved mark not written: " + *moved + " — " + marked.error().describe());
    KelvorLog::write("trash", "moved to the Trash: " + *real + " → " + *moved);
    return {*moved, std::nullopt};
}

bool insideAnyTrash(const std::string& path) {
    Result<std::string> real = realPathOfEntry(path);
    return real && insideATrash(*real, ownTrashRules());
}

bool canReadTrash(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) == 0) return true;
    return errno != EACCES && errno != EPERM;
}

bool finderRecordSays(const std::string& cameFrom, const std::string& path) {
    std::optional<std::string> origin = trashRecordOrigin(path);
    return origin && withoutDataVolumePrefix(*origin) == withoutDataVolumePrefix(cameFrom);
}

DiscardCheck verifyDiscard(const std::string& path, const std::string& expectedOriginal) {
    Result<std::string> real = realPathOfEntry(path);
    std::string realPath = real ? *real : path;
    if (insideDataFolder(realPath)) return {realPath, refusal(S::trashOwnState)};
    if (!real || !insideATrash(realPath, ownTrashRules())) return {realPath, refusal(S::discardNotInTrash)};
    if (!canReadTrash(realPath)) return {realPath, refusal(S::discardCannotRead)};
    struct stat info {};
    if (::lstat(realPath.c_str(), &info) != 0) return {realPath, refusal(S::discardSpotChanged)};
    std::optional<MovedMark> mark = movedMark(realPath);
    if (!mark) return {realPath, refusal(S::discardNoMark)};
    if (expectedOriginal.empty()) return {realPath, refusal(S::discardNoExpectedOriginal)};
    if (withoutDataVolumePrefix(mark->originalPath) != withoutDataVolumePrefix(expectedOriginal))
        return {realPath, refusal(S::discardOtherOrigin)};
    // Where the OS keeps a put-back record for the spot, it must still name the same item.
    std::optional<std::string> recorded = trashRecordOrigin(realPath);
    if (recorded && withoutDataVolumePrefix(*recorded) != withoutDataVolumePrefix(expectedOriginal))
        return {realPath, refusal(S::discardSpotChanged)};
    return {realPath, std::nullopt};
}

}  // namespace kelvor
