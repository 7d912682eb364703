// The process table's text: whatever a process named itself or a file, the decoders stay inside
// the text, and what they return is a piece of it.
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_check.hpp"
#include "quillet/platform/proc_text.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    if (auto parent = kelvor::parentPidFromStat(text)) FUZZ_CHECK(*parent >= 0);
    FUZZ_CHECK(kelvor::argsFromCmdline(text).size() <= size);
    if (auto file = kelvor::openFileFromLink(text)) FUZZ_CHECK(file->size() <= size);
    if (auto mapped = kelvor::mappedFileFromMapsLine(text)) {
        FUZZ_CHECK(!mapped->empty());
        FUZZ_CHECK(mapped->size() < size);
    }
    (void)kelvor::procMountHidesOthers(text);
    kelvor::ExecutablePath executable = kelvor::executableFromLink(text);
    FUZZ_CHECK(executable.path.size() <= size);
    FUZZ_CHECK(text.starts_with(executable.path));
    return 0;
}
