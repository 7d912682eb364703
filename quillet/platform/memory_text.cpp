#include "quillet/platform/memory_text.hpp"

#include <charconv>

namespace kelvor {

namespace {

// Pressure thresholds, in percent of the last ten seconds. Android's low-memory killer starts on
// a partial stall of 7% and systemd-oomd kills at 60% full stall, so "warning" sits where a
// desktop starts to stutter (some task waits a tenth of the time) and "critical" where every
// task waits a tenth of the time, or some task nearly half of it — well before oomd acts.
constexpr double WARNING_SOME_PERCENT = 10.0;
constexpr double CRITICAL_SOME_PERCENT = 40.0;
constexpr double CRITICAL_FULL_PERCENT = 10.0;

std::string_view trimmed(std::string_view text) {
    size_t first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos) return {};
    size_t last = text.find_last_not_of(" \t\r\n");
    return text.substr(first, last - first + 1);
}

// Calls `each` with every line of `text`, without its newline.
template <typename Each>
void forEachLine(std::string_view text, Each each) {
    while (!text.empty()) {
        size_t end = text.find('\n');
        each(text.substr(0, end));
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
}

std::optional<std::uint64_t> wholeNumber(std::string_view text) {
    std::uint64_t number = 0;
    auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
    return number;
}

// The "avg10=" value of a pressure line ("some avg10=1.25 avg60=… total=…").
std::optional<double> average10(std::string_view line) {
    constexpr std::string_view KEY = "avg10=";
    size_t at = line.find(KEY);
    if (at == std::string_view::npos) return std::nullopt;
    std::string_view rest = line.substr(at + KEY.size());
    rest = rest.substr(0, rest.find(' '));
    double value = 0;
    auto [end, failure] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
    if (failure != std::errc() || end != rest.data() + rest.size() || rest.empty()) return std::nullopt;
    if (!(value >= 0 && value <= 100)) return std::nullopt;
    return value;
}

// "Name:   1234 kB" → 1234 × 1024 bytes; a value without a unit is taken as bytes.
std::optional<std::uint64_t> meminfoBytes(std::string_view value) {
    value = trimmed(value);
    std::uint64_t scale = 1;
    if (value.ends_with("kB")) {
        scale = 1024;
        value = trimmed(value.substr(0, value.size() - 2));
    }
    std::optional<std::uint64_t> number = wholeNumber(value);
    if (!number || *number > UINT64_MAX / scale) return std::nullopt;
    return *number * scale;
}

}  // namespace

std::optional<PressureStall> parsePressureStall(std::string_view text) {
    std::optional<double> some, full;
    forEachLine(text, [&](std::string_view line) {
        line = trimmed(line);
        if (line.starts_with("some ")) some = average10(line);
        else if (line.starts_with("full ")) full = average10(line);
    });
    if (!some) return std::nullopt;
    return PressureStall{*some, full};
}

PressureVerdict verdictFromStall(const PressureStall& stall) {
    double full = stall.fullAverage10.value_or(0);
    if (full >= CRITICAL_FULL_PERCENT || stall.someAverage10 >= CRITICAL_SOME_PERCENT) return PressureVerdict::critical;
    if (stall.someAverage10 >= WARNING_SOME_PERCENT) return PressureVerdict::warning;
    return PressureVerdict::normal;
}

Meminfo parseMeminfo(std::string_view text) {
    Meminfo info;
    forEachLine(text, [&](std::string_view line) {
        size_t colon = line.find(':');
        if (colon == std::string_view::npos) return;
        std::string_view name = line.substr(0, colon);
        std::optional<std::uint64_t>* field = nullptr;
        if (name == "MemTotal") field = &info.totalBytes;
        else if (name == "MemAvailable") field = &info.availableBytes;
        else if (name == "SwapTotal") field = &info.swapTotalBytes;
        else if (name == "SwapFree") field = &info.swapFreeBytes;
        else if (name == "Zswap") field = &info.zswapBytes;
        else if (name == "Zswapped") field = &info.zswappedBytes;
        if (field) *field = meminfoBytes(line.substr(colon + 1));
    });
    return info;
}

std::optional<ZramUsage> parseZramMmStat(std::string_view text) {
    std::optional<std::uint64_t> fields[3];
    text = trimmed(text);
    for (auto& field : fields) {
        size_t start = text.find_first_not_of(' ');
        if (start == std::string_view::npos) return std::nullopt;
        text.remove_prefix(start);
        size_t end = text.find(' ');
        field = wholeNumber(text.substr(0, end));
        if (!field) return std::nullopt;
        text.remove_prefix(end == std::string_view::npos ? text.size() : end);
    }
    return ZramUsage{*fields[0], *fields[1], *fields[2]};
}

std::optional<std::uint64_t> residentFromStatus(std::string_view text) {
    std::optional<std::uint64_t> resident;
    forEachLine(text, [&](std::string_view line) {
        if (line.starts_with("VmRSS:")) resident = meminfoBytes(line.substr(6));
    });
    return resident;
}

std::optional<std::uint64_t> parseCounter(std::string_view text) { return wholeNumber(trimmed(text)); }

MemorySnapshot snapshotFromTexts(const MemoryTexts& texts) {
    MemorySnapshot snapshot;
    if (texts.pressure) {
        if (std::optional<PressureStall> stall = parsePressureStall(*texts.pressure)) {
            snapshot.verdict = verdictFromStall(*stall);
            snapshot.someAverage10 = stall->someAverage10;
            snapshot.fullAverage10 = stall->fullAverage10;
        }
    }
    Meminfo info = texts.meminfo ? parseMeminfo(*texts.meminfo) : Meminfo{};
    snapshot.totalBytes = info.totalBytes;
    snapshot.availableBytes = info.availableBytes;
    snapshot.swapTotalBytes = info.swapTotalBytes;
    if (info.swapTotalBytes && info.swapFreeBytes)
        snapshot.swapUsedBytes = *info.swapTotalBytes >= *info.swapFreeBytes ? *info.swapTotalBytes - *info.swapFreeBytes : 0;

    if (info.zswappedBytes.value_or(0) > 0) {
        snapshot.compressor = CompressorKind::zswap;
        snapshot.compressedBytes = info.zswapBytes.value_or(0);
        snapshot.compressedOriginalBytes = info.zswappedBytes;
        return snapshot;
    }
    // Before 5.19 only debugfs tells, and only root may read it.
    std::optional<std::uint64_t> pool = texts.zswapPoolBytes ? parseCounter(*texts.zswapPoolBytes) : std::nullopt;
    std::optional<std::uint64_t> pages = texts.zswapStoredPages ? parseCounter(*texts.zswapStoredPages) : std::nullopt;
    if (pages && *pages > 0 && *pages <= UINT64_MAX / texts.pageBytes) {
        snapshot.compressor = CompressorKind::zswap;
        snapshot.compressedBytes = pool.value_or(0);
        snapshot.compressedOriginalBytes = *pages * texts.pageBytes;
        return snapshot;
    }
    bool anyZram = false;
    std::uint64_t used = 0, original = 0;
    for (const std::string& stat : texts.zramMmStats) {
        std::optional<ZramUsage> usage = parseZramMmStat(stat);
        if (!usage) continue;
        anyZram = true;
        used += usage->memoryUsedBytes;
        original += usage->originalBytes;
    }
    if (anyZram) {
        snapshot.compressor = CompressorKind::zram;
        snapshot.compressedBytes = used;
        snapshot.compressedOriginalBytes = original;
    }
    return snapshot;
}

}  // namespace kelvor
