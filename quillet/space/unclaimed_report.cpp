#include "quillet/space/unclaimed_report.hpp"

#include <cstdio>

#include "quillet/platform/printable.hpp"
#include "quillet/platform/valid_utf8.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/scan/fmt_bytes.hpp"

namespace kelvor {

namespace {

// Sizes line up in a column as wide as the widest fmtBytes gives ("1000.0 TB").
std::string padded(const std::string& size) {
    constexpr size_t WIDTH = 10;
    return size.size() >= WIDTH ? size : std::string(WIDTH - size.size(), ' ') + size;
}

std::string joined(const std::vector<std::string>& parts) {
    std::string out;
    for (const std::string& part : parts) out += (out.empty() ? "" : ", ") + escapeControls(validUtf8(part));
    return out;
}

void line(std::string& out, const std::string& text) {
    out += text;
    out += '\n';
}

}  // namespace

std::string renderUnclaimed(const std::vector<UnclaimedReportRow>& rows, std::int64_t minMB, bool someUnreadable) {
    std::string out;
    line(out, trf(S::unclaimedTitle));
    line(out, trf(S::unclaimedRankedFirst));
    line(out, trf(S::unclaimedRankedSecond));
    line(out, "");
    std::uint64_t remainder = 0;
    for (const UnclaimedReportRow& row : rows) {
        const UnclaimedEntry& entry = row.entry;
        remainder += entry.remainder();
        line(out, trf(S::unclaimedEntryLine,
                      {padded(fmtBytes(entry.remainder())), fmtBytes(entry.total), escapeControls(validUtf8(entry.path))}));
        if (entry.partial) line(out, trf(S::unclaimedPartialWalk));
        if (entry.claimed > 0 && entry.total > 0) {
            const std::string percent = std::to_string(entry.claimed * 100 / entry.total);
            line(out, trf(S::unclaimedClaimedBy, {percent, joined(entry.owners)}));
        }
        for (const DrillRow& drill : row.drill)
            line(out, trf(S::unclaimedDrillLine, {fmtBytes(drill.unclaimed), escapeControls(validUtf8(drill.path))}));
    }
    if (!rows.empty()) {
        line(out, "");
        line(out, trf(S::unclaimedTotalLine, {std::to_string(rows.size()), fmtBytes(remainder)}));
    } else {
        const std::string floor = std::to_string(minMB);
        line(out, someUnreadable ? trf(S::unclaimedNothingReadable, {floor}) : trf(S::unclaimedNothingOver, {floor}));
    }
    line(out, "");
    line(out, trf(S::unclaimedClosingFirst));
    line(out, trf(S::unclaimedClosingSecond));
    return out;
}

std::string renderUnreadable(const std::vector<std::string>& roots) {
    if (roots.empty()) return "";
    std::string out;
    line(out, trf(S::unreadableRootsCount, {std::to_string(roots.size())}));
    line(out, trf(S::unreadableRootsBelow));
    for (const std::string& root : roots) line(out, "    " + escapeControls(validUtf8(root)));
    line(out, trf(S::unreadableRootsHint));
    return out;
}

void printUnreadable(const std::vector<std::string>& roots) { std::fputs(renderUnreadable(roots).c_str(), stdout); }

}  // namespace kelvor
