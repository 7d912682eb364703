#include "quillet/automation/tool_duplicates.hpp"

#include <cmath>

#include "quillet/dupes/collectors.hpp"
#include "quillet/dupes/find_duplicates.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/main/settings.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/scan/fmt_bytes.hpp"
#include "quillet/space/exclusions.hpp"

namespace kelvor {

namespace {

// Below one megabyte every empty or tiny ".bin" would be a "duplicate" of every other.
constexpr double SMALLEST_MIN_MB = 1;
// The finder's steps, for progress: three collectors, then the comparison.
constexpr double STEPS = 4;

Json groupOf(const DupeGroup& group) {
    Json copies = Json::array();
    for (std::size_t i = 0; i < group.copies.size(); ++i) {
        const ModelCopy& copy = group.copies[i];
        copies.push_back(Json{{"path", copy.path},
                              {"label", copy.label},
                              {"kind", modelKindName(copy.kind)},
                              {"in_tool_store", copy.inToolStore},
                              {"keeper", i == 0}});
    }
    return Json{{"sha256", group.digest},
                {"bytes", group.bytes},
                {"human", fmtBytes(group.bytes)},
                {"keeper", group.copies.front().path},
                {"copies", std::move(copies)},
                {"reclaimable_bytes", group.reclaimable()},
                {"reclaimable_human", fmtBytes(group.reclaimable())}};
}

}  // namespace

Json duplicatesReport(const std::string& root, double minMB, OperationContext& context) {
    if (!std::isfinite(minMB) || minMB < SMALLEST_MIN_MB) minMB = SMALLEST_MIN_MB;
    const auto minBytes = static_cast<std::uint64_t>(minMB * 1'048'576.0);
    Json payload{{"root", root}, {"min_mb", minMB}};

    context.report(0, STEPS, trf(S::dupesProgressStores));
    std::vector<ModelCopy> ollama = collectOllamaCopies(ollamaModelsDir(), minBytes);
    context.report(1, STEPS, trf(S::dupesProgressStores));
    std::vector<ModelCopy> hf = collectHFCopies(hfHubDir(), minBytes);
    context.report(2, STEPS, trf(S::dupesProgressSweep, {root}));
    std::vector<ModelCopy> wild;
    if (!context.cancelled()) {
        Exclusions& exclusions = Exclusions::shared();
        wild = collectWildCopies(root, minBytes, [&](std::string_view path) { return exclusions.covers(path); });
    }
    std::vector<ModelCopy> all = ollama;
    all.insert(all.end(), hf.begin(), hf.end());
    all.insert(all.end(), wild.begin(), wild.end());
    payload["candidates"] = Json{{"total", all.size()}, {"ollama", ollama.size()}, {"huggingface", hf.size()},
                                 {"sweep", wild.size()}};

    context.report(3, STEPS, trf(S::dupesProgressCompare, {std::to_string(all.size())}));
    std::vector<DupeGroup> groups;
    int hashed = 0;
    std::uint64_t hashedBytes = 0;
    if (!context.cancelled()) {
        DigestCache cache(DigestCache::defaultFile());
        cache.load();
        groups = findDuplicates(all, cache, hashed, hashedBytes, context.threads());
        if (hashed > 0) (void)cache.save();
        // The same proofs the command line records, so a later clean can name the copy that stays.
        DupeProof::shared().record(groups);
    }
    context.report(STEPS, STEPS);

    Json list = Json::array();
    std::uint64_t total = 0;
    for (const DupeGroup& group : groups) {
        if (group.copies.empty()) continue;
        list.push_back(groupOf(group));
        total += group.reclaimable();
    }
    payload["fully_hashed"] = Json{{"files", hashed}, {"bytes", hashedBytes}, {"human", fmtBytes(hashedBytes)}};
    payload["groups"] = std::move(list);
    payload["total_reclaimable"] = total;
    payload["total_reclaimable_human"] = fmtBytes(total);
    payload["note"] = trf(S::dupesToolNote);
    payload["for_the_assistant"] = trf(groups.empty() ? S::dupesToolNoneBriefing : S::dupesToolBriefing);
    return payload;
}

Json toolDuplicates(double minMB, OperationContext& context) {
    const std::string& root = settings().root;
    return duplicatesReport(root.empty() ? homeDir() : root, minMB, context);
}

}  // namespace kelvor
