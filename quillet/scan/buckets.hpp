#pragma once
// Splitting a scan root into buckets: one per folder directly inside it.
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "quillet/scan/agg.hpp"
#include "quillet/scan/walker.hpp"

namespace kelvor {

struct Buckets {
    std::vector<std::string> names;  // the folders directly inside the root, in byte-wise name order
    std::vector<WorkItem> seeds;     // one per name, with its index
    std::uint64_t rootFileBytes = 0; // regular files directly in the root that have one link
    std::uint64_t rootFiles = 0;     // regular files directly in the root
    std::vector<LinkSighting> rootLinkedFiles;  // those with two or more links, counted per scan
    std::uint64_t denied = 0;        // the root's own read
    std::uint64_t errors = 0;
};

// Reads `root` once. An unreadable root gives no buckets and one denied or error count.
Buckets makeBuckets(const std::string& root);

// Puts what the root itself holds into a fresh aggregate: its files, its bucket folders and the
// failures of its read; its multiply-linked files are claimed before any bucket's are. Returns the
// allocated bytes of regular files directly in the root, each file once, shown as "(files at root)".
std::uint64_t countRootFiles(const Buckets& buckets, Agg& agg);

// Bucket name -> index.
std::unordered_map<std::string, int> bucketIndex(const Buckets& buckets);

}  // namespace kelvor
