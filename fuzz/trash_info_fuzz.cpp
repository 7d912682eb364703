// A ".trashinfo" record, which any program that can write the Trash may have written. A path read
// back holds no NUL, and writing it out again reads back the same path.
#include <cstdint>
#include <optional>
#include <string_view>

#include "fuzz/fuzz_check.hpp"
#include "quillet/platform/trash_info.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    std::optional<kelvor::TrashInfo> info = kelvor::parseTrashInfo(text);
    if (!info) return 0;
    FUZZ_CHECK(info->path.find('\0') == std::string::npos);
    std::optional<kelvor::TrashInfo> again = kelvor::parseTrashInfo(kelvor::trashInfoText(info->path, "2024-01-01T00:00:00"));
    FUZZ_CHECK(again);
    FUZZ_CHECK(again->path == info->path);
    return 0;
}
