// A ".DS_Store" at the top of a Trash, copied there from a damaged or hostile disk. Whatever its
// bytes, the reader stays inside them and every put-back record it yields names an entry.
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_check.hpp"
#include "quillet/platform/ds_store.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // An exact-size copy, so that a read one byte past the file is a finding.
    std::vector<char> bytes(data, data + size);
    std::map<std::string, kelvor::PutBackInfo> records =
        kelvor::DSStorePutBack::parse(std::string_view(bytes.data(), bytes.size()));
    for (const auto& [entry, info] : records) {
        FUZZ_CHECK(!entry.empty());
        const std::string original = info.originalPath();
        FUZZ_CHECK(original.empty() || original.starts_with('/'));
    }
    return 0;
}
