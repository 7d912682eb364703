// Is work going on inside a tree right now? A write within the window says it may be.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

#include "quillet/guards/guards.hpp"
#include "quillet/platform/defaults.hpp"
#include "quillet/platform/dirs.hpp"

namespace kelvor {

namespace {

constexpr std::size_t WALK_BUFFER_BYTES = 256 * 1024;

}  // namespace

bool treeHasRecentWrite(const std::string& path, std::int64_t withinSeconds) {
    return treeHasRecentWrite(path, withinSeconds, Clock::real());
}

bool treeHasRecentWrite(const std::string& path, std::int64_t withinSeconds, Clock& clock) {
    const std::int64_t now =
        std::chrono::duration_cast<std::chrono::seconds>(clock.now().time_since_epoch()).count();
    const std::int64_t cutoff = now - withinSeconds;
    Result<BulkEntry> top = entryAt(path);
    if (!top) return false;
    if (top->mtime > cutoff) return true;
    if (top->objType != VDIR) return false;

    std::vector<std::byte> buffer(WALK_BUFFER_BYTES);
    std::vector<std::string> folders{path};
    std::uint64_t denied = 0;
    std::uint64_t errors = 0;
    bool recent = false;
    while (!folders.empty() && !recent) {
        std::string folder = std::move(folders.back());
        folders.pop_back();
        readDirBulk(folder, buffer.data(), buffer.size(), denied, errors, [&](const BulkEntry& entry) {
            if (recent) return;  // the reader finishes its folder; nothing more is looked at
            if (entry.mtime > cutoff) {
                recent = true;
                return;
            }
            if (entry.objType == VDIR) folders.push_back(folder + "/" + entry.name);
        });
    }
    return recent;
}

std::int64_t recentWriteWindowFor(std::optional<std::int64_t> minutes) {
    if (!minutes || *minutes < 1) return 600;
    if (*minutes == 1) return 60;
    return std::min<std::int64_t>(*minutes, 120) * 60;
}

std::int64_t recentWriteWindow() { return recentWriteWindowFor(userDefaultInteger("kelvor.recentWriteMinutes")); }

bool recentWriteGuardOn() { return userDefaultBool("kelvor.recentWriteGuard").value_or(true); }

}  // namespace kelvor
