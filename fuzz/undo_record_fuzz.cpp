// An undo record edited by hand, cut off by a crash or written by another version. Decoding never
// crashes; every row it accepts has a place to go back to, and written out again it reads back as
// the same row, so an undo never acts on a row that changed on the way through.
#include <cstdint>
#include <string>

#include "fuzz/fuzz_check.hpp"
#include "quillet/clean/manifest.hpp"
#include "quillet/records/json_record.hpp"

namespace {

bool sameRow(const kelvor::ManifestItem& a, const kelvor::ManifestItem& b) {
    return a.owner == b.owner && a.component == b.component && a.originalPath == b.originalPath &&
           a.trashedTo == b.trashedTo && a.bytes == b.bytes && a.forced == b.forced && a.action == b.action &&
           a.cloneSource == b.cloneSource && a.undoCmd == b.undoCmd && a.pending == b.pending &&
           a.sha256 == b.sha256 && a.ruleTier == b.ruleTier && a.ruleVerified == b.ruleVerified &&
           a.originalParentID == b.originalParentID && a.restored == b.restored;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kelvor::JsonRecord record = kelvor::decodeJsonRecord(std::string(reinterpret_cast<const char*>(data), size));
    FUZZ_CHECK(record.readable() == record.problem.empty());
    if (!record.readable() || !record.value->is_object() || !record.value->contains("items")) return 0;
    const nlohmann::json& rows = (*record.value)["items"];
    if (!rows.is_array()) return 0;
    for (const nlohmann::json& row : rows) {
        std::optional<kelvor::ManifestItem> item = kelvor::manifestItemFrom(row);
        if (!item) continue;
        FUZZ_CHECK(!item->originalPath.empty());
        std::optional<kelvor::ManifestItem> again = kelvor::manifestItemFrom(kelvor::manifestItemJson(*item));
        FUZZ_CHECK(again && sameRow(*item, *again));
    }
    return 0;
}
