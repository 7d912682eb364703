#include "quillet/main/modes.hpp"

#include <cstdio>
#include <string>
#include <vector>

#include "quillet/automation/mcp_install.hpp"
#include "quillet/automation/run_mcp.hpp"
#include "quillet/clean/clean_plan.hpp"
#include "quillet/clean/trash_others_mode.hpp"
#include "quillet/dupes/run_dupes.hpp"
#include "quillet/i18n/check.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/main/support_modes.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/quarantine/quarantine_mode.hpp"
#include "quillet/recovery/restore_mode.hpp"
#include "quillet/scan/harness.hpp"
#include "quillet/space/exclude_mode.hpp"
#include "quillet/space/forget_mode.hpp"
#include "quillet/space/unclaimed_mode.hpp"

namespace kelvor {

namespace {

// Modes whose work is not part of this build say so and exit 2, so scripts can tell.
int runUnavailable(const Settings& settings) {
    std::printf("%s\n", trf(S::modeUnavailable, {escapeControls(settings.modes.front())}).c_str());
    return 2;
}

int runI18n(const Settings&) { return runI18nCheck() == 0 ? 0 : 1; }

constexpr ModeEntry MODE_TABLE[] = {
    {"support-matrix", "the catalog as a Markdown document", runSupportMatrix, Housekeeping::skipped},
    {"support-json", "the catalog as JSON", runSupportJson, Housekeeping::skipped},
    {"mcp", "the automation server on standard input and output", runMcp},
    {"mcp-install", "connect every AI assistant found on this machine", runMCPInstall},
    {"detect", "AI and developer tool detection report", runUnavailable},
    {"quarantine", "the quarantine ledger report; with --undo, restore from quarantine", runQuarantine},
    {"forget", "clear what Kelvor keeps about itself", runForget},
    {"unclaimed", "space no rule accounts for", runUnclaimedMode},
    {"oneclick", "the rule audit (as ruleaudit)", runUnavailable},
    {"ruleaudit", "the rule audit", runUnavailable},
    {"audit", "re-run the provers against live stores", runUnavailable},
    {"i18n", "check that every language table holds every sentence", runI18n},
    {"verify", "check each rule's verdict against the machine", runUnavailable},
    {"gui", "the desktop application", runUnavailable},
    {"dupes", "duplicate model files, proven by digest", runDupes},
    {"similar", "similar photos and clips", runUnavailable},
    {"trash-others", "what other programs left in the Trash", runTrashOthers},
    {"restore", "the restore centre: recorded ways back", runRestoreCentre},
    {"docker", "Docker images, build cache and simulator runtimes", runUnavailable},
    {"mem", "memory report", runUnavailable},
    {"relocate", "move stores to another disk", runUnavailable},
    {"archive", "archive old files", runUnavailable},
    {"exclude", "list, add and remove paths never offered again", runExclude},
    {"icon", "render the application icon set", runUnavailable},
    {"icon-art", "render the icon artwork", runUnavailable},
    {"clean", "the clean plan; with --apply --yes, move it to the Trash; with --undo, restore", runClean},
    {"treemap", "the visual report as a treemap", runUnavailable},
    {"bars", "the visual report as bars", runUnavailable},
    {"icicle", "the visual report as an icicle chart", runUnavailable},
    {"sunburst", "the visual report as a sunburst", runUnavailable},
    {.name = "fm",
     .description = "scan speed: the standard library's iterator, one thread",
     .walker = Walker::fileManager},
    {.name = "bulk",
     .description = "scan speed: bulk directory reads on one worker",
     .walker = Walker::bulk},
    {.name = "par",
     .description = "scan speed: bulk reads on every worker, depth first",
     .walker = Walker::parallel},
    {.name = "bfs",
     .description = "scan speed: bulk reads on every worker, breadth first",
     .walker = Walker::breadthFirst},
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
        if (const ModeEntry* entry = findMode(settings.modes.front()); entry && entry->run)
            return entry->run(settings);
    std::vector<WalkerRun> walkers;
    for (const std::string& name : settings.modes) {
        const ModeEntry* entry = findMode(name);
        if (entry && entry->walker) walkers.push_back({name, *entry->walker});
        else std::printf("%s\n", trf(S::unknownMode, {escapeControls(name)}).c_str());
    }
    if (!walkers.empty()) return runScanSpeed(settings, walkers);
    return 0;
}

}  // namespace kelvor
