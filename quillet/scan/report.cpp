#include "quillet/scan/report.hpp"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <numeric>

#include "quillet/i18n/text.hpp"
#include "quillet/i18n/width.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/platform/valid_utf8.hpp"
#include "quillet/scan/fmt_bytes.hpp"

namespace kelvor {

namespace {

constexpr double WALL_FLOOR = 0.001;
constexpr std::size_t STABLE_TOP = 20;
static_assert(STABLE_TOP <= SNAPSHOT_TOP, "snapshots keep every bucket a ranking compares");
constexpr std::size_t MATCH_TOP = 5;
constexpr std::size_t NAME_COLUMNS = 34;

std::uint64_t sum(const std::vector<std::uint64_t>& values) {
    return std::accumulate(values.begin(), values.end(), std::uint64_t{0});
}

std::string formatted(const char* pattern, ...) __attribute__((format(printf, 1, 2)));
std::string formatted(const char* pattern, ...) {
    char text[64];
    va_list arguments;
    va_start(arguments, pattern);
    std::vsnprintf(text, sizeof text, pattern, arguments);
    va_end(arguments);
    return text;
}

// The largest bucket of a snapshot, as the live view would name it; "" while nothing is counted.
std::string leaderColumn(const AggState& agg, const Snapshot& snapshot) {
    if (snapshot.top.empty()) return "";
    const BucketBytes& leader = snapshot.top.front();
    if (leader.bytes == 0 || leader.index >= agg.bucketNames.size()) return "";
    return trf(S::scanReportLeader, {escapeControls(validUtf8(agg.bucketNames[leader.index])), fmtBytes(leader.bytes)});
}

void appendProgress(std::string& out, const AggState& agg, const std::vector<Snapshot>& snapshots) {
    out += trf(S::scanReportProgressTitle) + "\n";
    const std::uint64_t finalBytes = snapshots.back().bytes;
    const std::set<std::size_t> finalTop = topSet(snapshots.back(), MATCH_TOP);
    const double settled = topSetStableTime(snapshots, STABLE_TOP).value_or(snapshots.back().t);
    for (std::size_t row : progressRows(snapshots.size(), PROGRESS_ROWS)) {
        const Snapshot& snapshot = snapshots[row];
        // An empty tree is fully known at once.
        double share = finalBytes == 0 ? 100.0 : 100.0 * static_cast<double>(snapshot.bytes) / static_cast<double>(finalBytes);
        std::set<std::size_t> top = topSet(snapshot, MATCH_TOP);
        std::size_t matched = 0;
        for (std::size_t index : top) matched += finalTop.count(index);
        // "✓" once the ranking the person sees has stopped changing.
        std::string settledMark = snapshot.t >= settled ? " ✓" : "  ";
        out += trf(S::scanReportProgressRow, {formatted("%.2f", snapshot.t), formatted("%3.0f", share),
                                              std::to_string(matched), settledMark, leaderColumn(agg, snapshot)});
        // A row whose last column is empty would end in blanks.
        while (!out.empty() && out.back() == ' ') out.pop_back();
        out += "\n";
    }
}

void appendTopBuckets(std::string& out, const AggState& agg, std::uint64_t rootFileBytes) {
    out += trf(S::scanReportTopTitle) + "\n";
    std::vector<std::pair<std::string, std::uint64_t>> rows;
    // Empty buckets too: a folder that holds nothing is still a folder the person sees.
    for (std::size_t i = 0; i < agg.totals.size() && i < agg.bucketNames.size(); ++i)
        rows.emplace_back(escapeControls(validUtf8(agg.bucketNames[i])), agg.totals[i]);
    if (rootFileBytes > 0) rows.emplace_back(trf(S::scanFilesAtRoot), rootFileBytes);
    std::stable_sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
    if (rows.size() > TOP_BUCKET_ROWS) rows.resize(TOP_BUCKET_ROWS);
    for (std::size_t i = 0; i < rows.size(); ++i)
        out += trf(S::scanReportTopRow, {formatted("%2zu", i + 1), padRight(rows[i].first, NAME_COLUMNS),
                                         fmtBytes(rows[i].second)}) +
               "\n";
}

}  // namespace

std::set<std::size_t> topSet(const std::vector<std::uint64_t>& values, std::size_t k) {
    std::vector<std::size_t> order(values.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::size_t take = std::min(k, order.size());
    std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(take), order.end(),
                      [&](std::size_t a, std::size_t b) { return values[a] != values[b] ? values[a] > values[b] : a < b; });
    return {order.begin(), order.begin() + static_cast<std::ptrdiff_t>(take)};
}

std::set<std::size_t> topSet(const Snapshot& snapshot, std::size_t k) {
    std::set<std::size_t> top;
    for (std::size_t i = 0; i < k && i < snapshot.top.size(); ++i) top.insert(snapshot.top[i].index);
    return top;
}

std::optional<double> timeToFraction(const std::vector<Snapshot>& snapshots, double fraction) {
    if (snapshots.empty()) return std::nullopt;
    const double target = fraction * static_cast<double>(snapshots.back().bytes);
    for (const Snapshot& snapshot : snapshots)
        if (static_cast<double>(snapshot.bytes) >= target) return snapshot.t;
    return std::nullopt;
}

std::optional<double> topSetStableTime(const std::vector<Snapshot>& snapshots, std::size_t k) {
    if (snapshots.empty()) return std::nullopt;
    const std::set<std::size_t> last = topSet(snapshots.back(), k);
    std::size_t from = snapshots.size() - 1;
    while (from > 0 && topSet(snapshots[from - 1], k) == last) --from;
    return snapshots[from].t;
}

std::vector<std::size_t> progressRows(std::size_t snapshotCount, std::size_t rows) {
    std::vector<std::size_t> chosen;
    if (snapshotCount == 0 || rows == 0) return chosen;
    if (rows == 1 || snapshotCount == 1) return {snapshotCount - 1};
    for (std::size_t i = 0; i < rows; ++i) {
        std::size_t index = (i * (snapshotCount - 1) + (rows - 1) / 2) / (rows - 1);
        if (chosen.empty() || chosen.back() != index) chosen.push_back(index);
    }
    return chosen;
}

std::string report(std::string_view mode, const AggState& agg, double wall, std::uint64_t rootFileBytes) {
    const double flooredWall = std::max(wall, WALL_FLOOR);
    // Every figure below reads the growth record; a scan without one is its own single snapshot.
    std::vector<Snapshot> snapshots = agg.snapshots;
    if (snapshots.empty()) snapshots.push_back(snapshotOf(wall, agg.totals));

    std::string out = "\n";
    auto line = [&](std::string text) { out += text + "\n"; };
    line(trf(S::scanReportTitle, {mode}));
    line(trf(S::scanReportTotal, {fmtBytes(sum(agg.totals) + rootFileBytes), std::to_string(agg.files),
                                  std::to_string(agg.dirs)}));
    line(trf(S::scanReportHardlinks, {std::to_string(agg.hardlinkDupes)}));
    line(trf(S::scanReportFailures, {std::to_string(agg.errors), std::to_string(agg.denied)}));
    line(trf(S::scanReportWall, {formatted("%.2f", wall)}));
    for (int percent : {50, 80, 95})
        if (std::optional<double> t = timeToFraction(snapshots, percent / 100.0))
            line(trf(S::scanReportFraction, {std::to_string(percent), formatted("%.2f", *t)}));
    const double stable = topSetStableTime(snapshots, STABLE_TOP).value_or(wall);
    line(trf(S::scanReportStable, {formatted("%.2f", stable), formatted("%.0f", 100.0 * stable / flooredWall)}));
    line(trf(S::scanReportThroughput, {formatted("%.0f", static_cast<double>(agg.files) / flooredWall)}));
    appendProgress(out, agg, snapshots);
    appendTopBuckets(out, agg, rootFileBytes);
    return out;
}

}  // namespace kelvor
