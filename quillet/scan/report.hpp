#pragma once
// The speed report of one walker run: totals, how fast the bytes and the ranking of buckets settled,
// and the largest buckets.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "quillet/scan/agg.hpp"

namespace kelvor {

// Rows of the progressive-accuracy block: snapshots evenly spaced from the first to the last.
inline constexpr std::size_t PROGRESS_ROWS = 8;
// Rows of the largest-buckets block, empty buckets included when there are fewer with bytes.
inline constexpr std::size_t TOP_BUCKET_ROWS = 12;

// The indices of the `k` largest values; on ties the earlier index wins.
std::set<std::size_t> topSet(const std::vector<std::uint64_t>& values, std::size_t k);

// The indices of a snapshot's `k` largest buckets (k at most SNAPSHOT_TOP), as topSet ranks them.
std::set<std::size_t> topSet(const Snapshot& snapshot, std::size_t k);

// The time of the first snapshot whose bytes reach `fraction` of the last snapshot's; none when no
// snapshot does (or there are none).
std::optional<double> timeToFraction(const std::vector<Snapshot>& snapshots, double fraction);

// The earliest snapshot time from which topSet(snapshot, k) equals the last snapshot's and stays
// equal; none when there are no snapshots.
std::optional<double> topSetStableTime(const std::vector<Snapshot>& snapshots, std::size_t k);

// The snapshots the progressive-accuracy block shows: at most `rows` indices, evenly spaced, the
// first and the last included, ascending and distinct.
std::vector<std::size_t> progressRows(std::size_t snapshotCount, std::size_t rows);

// The whole report for walker `mode`, one line per "\n", beginning with an empty line. Bucket
// names are shown as valid UTF-8, bytes that are not replaced by U+FFFD. `wall` is
// the walk's duration in seconds; rates and shares divide by it floored at 0.001 s.
std::string report(std::string_view mode, const AggState& agg, double wall, std::uint64_t rootFileBytes);

}  // namespace kelvor
