#include "quillet/scan/buckets.hpp"

#include <algorithm>
#include <memory>

#include "quillet/platform/dir_failures.hpp"
#include "quillet/platform/dirs.hpp"

namespace kelvor {

Buckets makeBuckets(const std::string& root) {
    Buckets buckets;
    auto buffer = std::make_unique<std::byte[]>(BUF_SIZE);
    Result<OpenDir> dir = OpenDir::open(root, FinalLink::follow);
    if (!dir) {
        countReadFailure(dir.error().kind, buckets.denied, buckets.errors);
        return buckets;
    }
    readOpenDir(
        *dir, buffer.get(), BUF_SIZE, buckets.denied, buckets.errors,
        [&](const BulkEntry& entry) {
            if (entry.objType == VDIR) {
                buckets.names.push_back(entry.name);
            } else if (entry.objType == VREG) {
                ++buckets.rootFiles;
                if (entry.linkCount < 2) buckets.rootFileBytes += entry.allocSize;
                else buckets.rootLinkedFiles.push_back(
                    {entry.fileID, entry.linkCount, entry.allocSize, entry.device != 0 ? entry.device : dir->device()});
            }
        },
        EntryDetail::regularFilesOnly);
    // Byte-wise order, so every run and every walker lists the same buckets the same way.
    std::sort(buckets.names.begin(), buckets.names.end());
    for (std::size_t i = 0; i < buckets.names.size(); ++i)
        buckets.seeds.push_back({childPath(root, buckets.names[i]), static_cast<int>(i)});
    return buckets;
}

std::uint64_t countRootFiles(const Buckets& buckets, Agg& agg) {
    std::uint64_t bytes = buckets.rootFileBytes;
    for (const LinkSighting& sighting : buckets.rootLinkedFiles)
        if (agg.claimLinkedFile(sighting)) bytes += sighting.allocSize;
    WorkerTally root;
    root.files = buckets.rootFiles;
    root.dirs = buckets.names.size();
    root.denied = buckets.denied;
    root.errors = buckets.errors;
    agg.flush(root);
    return bytes;
}

std::unordered_map<std::string, int> bucketIndex(const Buckets& buckets) {
    std::unordered_map<std::string, int> index;
    for (std::size_t i = 0; i < buckets.names.size(); ++i) index.emplace(buckets.names[i], static_cast<int>(i));
    return index;
}

}  // namespace kelvor
