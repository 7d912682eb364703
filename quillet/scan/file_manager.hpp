#pragma once
// The reference walk for the speed harness: the standard library's directory iterator on one
// thread, measuring exactly what the bulk walker measures.
#include <string>
#include <unordered_map>

#include "quillet/scan/agg.hpp"

namespace kelvor {

// Walks every folder of `root` named in `bucketIndex` (name -> bucket) and adds into `agg` as the
// bulk walker does: allocated bytes of regular files per bucket, a multiply-linked file once,
// symbolic links never followed, folders that cannot be opened counted as denied or errors.
// Files directly in `root` are left to countRootFiles.
void scanFileManager(const std::string& root, Agg& agg, const std::unordered_map<std::string, int>& bucketIndex);

}  // namespace kelvor
