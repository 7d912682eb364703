// The exclusion list's file, as a person may have edited it. Whatever it holds, every entry
// decoded is an absolute path in the canonical form, and decoding it again changes nothing.
#include <cstdint>
#include <string>

#include "fuzz/fuzz_check.hpp"
#include "quillet/space/exclusions.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string text(reinterpret_cast<const char*>(data), size);
    kelvor::Result<std::set<std::string>> entries = kelvor::decodeExclusionEntries(kelvor::decodeJsonRecord(text));
    if (!entries) {
        FUZZ_CHECK(!entries.error().context.empty());
        return 0;
    }
    for (const std::string& entry : *entries) {
        FUZZ_CHECK(entry.starts_with('/'));
        FUZZ_CHECK(entry == "/" || !entry.ends_with('/'));
        FUZZ_CHECK(entry.find("//") == std::string::npos);
        FUZZ_CHECK(kelvor::canonExclusion(entry) == entry);
    }
    return 0;
}
