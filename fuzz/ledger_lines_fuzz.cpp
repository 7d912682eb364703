// The quarantine ledger, edited by hand or cut off by a crash. No line is lost: each one that is
// not blank is either a row (keeping its text) or kept as damaged, and a row written out again
// reads back as a row for the same paths.
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_check.hpp"
#include "quillet/quarantine/ledger.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    kelvor::LedgerContents contents = kelvor::ledgerLines(text);
    for (const kelvor::QuarantineEntry& entry : contents.entries) {
        FUZZ_CHECK(!entry.rawLine.empty());
        kelvor::LedgerContents again = kelvor::ledgerLines(kelvor::ledgerLine(entry));
        FUZZ_CHECK(again.entries.size() == 1);
        FUZZ_CHECK(again.entries[0].originalPath == entry.originalPath);
        FUZZ_CHECK(again.entries[0].quarantinePath == entry.quarantinePath);
    }
    return 0;
}
