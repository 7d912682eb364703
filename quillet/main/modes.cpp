#include "quillet/main/modes.hpp"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "quillet/clean/clean_plan.hpp"
#include "quillet/clean/trash_others_mode.hpp"
#include "quillet/i18n/check.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/main/support_modes.hpp"
#include "quillet/quarantine/quarantine_mode.hpp"
#include "quillet/scan/harness.hpp"
#include "quillet/space/exclude_mode.hpp"

namespace kelvor {

namespace {

// Modes whose work is not part of this build say so and exit 2, so scripts can tell.
int runUnavailable(const Settings& settings) {
    std::printf("%s\n", trf(S::modeUnavailable, {settings.modes.front()}).c_str());
    return 2;
}

int runI18n(const Settings&) { return runI18nCheck() == 0 ? 0 : 1; }

constexpr ModeEntry MODE_TABLE[] = {
    {"support-matrix", runSupportMatrix, Housekeeping::skipped},
    {"support-json", runSupportJson, Housekeeping::skipped},
    {"mcp", runUnavailable},
    {"mcp-install", runUnavailable},
    {"detect", runUnavailable},
    {"quarantine", runQuarantine},
    {"forget", runUnavailable},
    {"unclaimed", runUnavailable},
    {"oneclick", runUnavailable},
    {"ruleaudit", runUnavailable},
    {"audit", runUnavailable},
    {"i18n", runI18n},
    {"verify", runUnavailable},
    {"gui", runUnavailable},
    {"dupes", runUnavailable},
    {"similar", runUnavailable},
    {"trash-others", runTrashOthers},
    {"restore", runUnavailable},
    {"docker", runUnavailable},
    {"mem", runUnavailable},
    {"relocate", runUnavailable},
    {"archive", runUnavailable},
    {"exclude", runExclude},
    {"icon", runUnavailable},
    {"icon-art", runUnavailable},
    {"clean", runClean},
    {"treemap", runUnavailable},
    {"bars", runUnavailable},
    {"icicle", runUnavailable},
    {"sunburst", runUnavailable},
};

}  // namespace

std::span<const ModeEntry> modeTable() { return MODE_TABLE; }

const ModeEntry* findMode(std::string_view name) {
    for (const ModeEntry& entry : MODE_TABLE)
        if (entry.name == name) return &entry;
    return nullptr;
}

int dispatchModes(const Settings& settings) {
    if (settings.modes.size() == 1)
        if (const ModeEntry* entry = findMode(settings.modes.front())) return entry->run(settings);
    std::vector<std::string> walkers;
    for (const std::string& name : settings.modes) {
        if (std::find(SCAN_SPEED_MODES.begin(), SCAN_SPEED_MODES.end(), name) != SCAN_SPEED_MODES.end())
            walkers.push_back(name);
        else
            std::printf("%s\n", trf(S::unknownMode, {name}).c_str());
    }
    if (!walkers.empty()) return runScanSpeed(settings, walkers);
    return 0;
}

}  // namespace kelvor
