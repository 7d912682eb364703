// The bulk attribute records: the first four bytes are the record count the call reported, the
// rest the buffer it filled. Every name handed on comes from inside the buffer and is valid UTF-8.
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "fuzz/fuzz_check.hpp"
#include "quillet/platform/attr_records.hpp"
#include "quillet/platform/valid_utf8.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < sizeof(std::uint32_t)) return 0;
    std::uint32_t count = 0;
    std::memcpy(&count, data, sizeof count);
    // An exact-size copy, so that a read one byte past the records is a finding.
    std::vector<std::byte> records(size - sizeof count);
    if (!records.empty()) std::memcpy(records.data(), data + sizeof count, records.size());
    std::uint64_t errors = 0;
    std::uint32_t entries = 0;
    const bool whole = kelvor::decodeAttrRecords(records, count, errors, [&](const kelvor::BulkEntry& entry) {
        FUZZ_CHECK(!entry.name.empty());
        // Each invalid byte may become a three-byte replacement character, never more.
        FUZZ_CHECK(entry.name.size() <= 3 * records.size());
        FUZZ_CHECK(kelvor::validUtf8(entry.name) == entry.name);
        ++entries;
    });
    FUZZ_CHECK(entries <= count);
    FUZZ_CHECK(whole || errors > 0);
    return 0;
}
