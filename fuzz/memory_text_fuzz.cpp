// The memory report's text: the kernel's memory files and the process table's command lines. A
// command line is whatever a process chose; the decoders stay inside the text and every figure
// they return stays inside what the kernel can report.
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/fuzz_check.hpp"
#include "quillet/automation/model_servers.hpp"
#include "quillet/platform/memory_text.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    if (auto stall = kelvor::parsePressureStall(text)) {
        FUZZ_CHECK(stall->someAverage10 >= 0 && stall->someAverage10 <= 100);
        if (stall->fullAverage10) FUZZ_CHECK(*stall->fullAverage10 >= 0 && *stall->fullAverage10 <= 100);
    }
    kelvor::MemoryTexts texts;
    texts.pressure = std::string(text);
    texts.meminfo = std::string(text);
    texts.zramMmStats = {std::string(text)};
    texts.zswapStoredPages = std::string(text);
    kelvor::MemorySnapshot snapshot = kelvor::snapshotFromTexts(texts);
    if (snapshot.swapUsedBytes) FUZZ_CHECK(snapshot.swapTotalBytes && *snapshot.swapUsedBytes <= *snapshot.swapTotalBytes);
    FUZZ_CHECK((snapshot.verdict == kelvor::PressureVerdict::unknown) == !snapshot.someAverage10);
    (void)kelvor::residentFromStatus(text);

    kelvor::Proc proc;
    proc.pid = 1;
    proc.args = std::string(text);
    size_t split = text.find('\n');
    if (split != std::string_view::npos) {
        proc.path = std::string(text.substr(0, split));
        proc.args = std::string(text.substr(split + 1));
    }
    if (const kelvor::ModelServerKind* kind = kelvor::recogniseModelServer(proc)) {
        std::vector<std::string> commands = kelvor::stopCommandsFor(*kind, proc.pid);
        FUZZ_CHECK(!commands.empty() && commands.back() == "kill 1");
    }
    return 0;
}
