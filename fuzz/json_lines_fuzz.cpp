// A JSON-lines record, torn or edited by hand. No line is lost: written out again and read back,
// it holds the same lines with the same values.
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_check.hpp"
#include "quillet/records/json_lines.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view content(reinterpret_cast<const char*>(data), size);
    kelvor::JsonLines first = kelvor::parseJsonLines(content);
    std::size_t unreadable = 0;
    for (const kelvor::JsonLine& line : first.lines) {
        FUZZ_CHECK(line.number >= 1);
        FUZZ_CHECK(line.text.find('\n') == std::string::npos);
        if (!line.value) ++unreadable;
    }
    FUZZ_CHECK(unreadable == first.unreadable);

    kelvor::JsonLines again = kelvor::parseJsonLines(kelvor::joinJsonLines(first));
    FUZZ_CHECK(again.lines.size() == first.lines.size());
    FUZZ_CHECK(again.unreadable == first.unreadable);
    FUZZ_CHECK(!again.tornEnd);
    for (std::size_t i = 0; i < first.lines.size(); ++i) {
        FUZZ_CHECK(again.lines[i].text == first.lines[i].text);
        FUZZ_CHECK(again.lines[i].value == first.lines[i].value);
    }
    return 0;
}
