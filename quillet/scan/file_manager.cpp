#include "quillet/scan/file_manager.hpp"

#include <filesystem>
#include <system_error>
#include <vector>

#include "quillet/platform/dirs.hpp"
#include "quillet/scan/walker.hpp"

namespace kelvor {

namespace fs = std::filesystem;

namespace {

void countFailure(const std::error_code& error, WorkerTally& tally) {
    if (error == std::errc::permission_denied || error == std::errc::operation_not_permitted) ++tally.denied;
    else ++tally.errors;
}

}  // namespace

void scanFileManager(const std::string& root, Agg& agg, const std::unordered_map<std::string, int>& bucketIndex) {
    WorkerTally tally;
    std::uint64_t sinceFlush = 0;
    std::vector<std::pair<fs::path, int>> folders;
    std::error_code error;
    for (fs::directory_iterator it(root, error), end; !error && it != end; it.increment(error)) {
        auto found = bucketIndex.find(it->path().filename().string());
        if (found != bucketIndex.end() && it->symlink_status(error).type() == fs::file_type::directory)
            folders.emplace_back(it->path(), found->second);
    }
    while (!folders.empty()) {
        auto [folder, bucket] = std::move(folders.back());
        folders.pop_back();
        std::error_code opened;
        fs::directory_iterator it(folder, opened);
        if (opened) {
            countFailure(opened, tally);
            continue;
        }
        for (fs::directory_iterator end; it != end;) {
            ++sinceFlush;
            std::error_code typed;
            fs::file_type type = it->symlink_status(typed).type();
            if (type == fs::file_type::directory) {
                folders.emplace_back(it->path(), bucket);
                ++tally.dirs;
            } else if (type == fs::file_type::regular) {
                // The iterator knows names and types only; sizes on disk and link counts need a look.
                Result<BulkEntry> file = entryAt(it->path().string());
                if (!file) {
                    if (file.error().kind != ErrorKind::notFound) ++tally.errors;  // gone since the listing: not an error
                } else {
                    ++tally.files;
                    if (file->linkCount < 2 || agg.claimLinkedFile({file->fileID, file->linkCount, file->allocSize, file->device}))
                        tally.bytes[bucket] += file->allocSize;
                }
            }
            std::error_code stepped;
            it.increment(stepped);
            if (stepped) {
                ++tally.errors;
                break;
            }
        }
        if (sinceFlush >= FLUSH_EVERY) {
            agg.flush(tally);
            sinceFlush = 0;
        }
    }
    agg.flush(tally);
}

}  // namespace kelvor
