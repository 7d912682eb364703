#pragma once
// The process-wide settings: written once by the argument parser, then only read.
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "quillet/rules/tier.hpp"
#include "quillet/scan/worker_count.hpp"

namespace kelvor {

// The walker's constants live with the walker: VREG, VDIR, VLNK in quillet/platform/dirs.hpp,
// FSOPT_PACK_INVAL_ATTRS in quillet/platform/attr_records.hpp, BUF_SIZE and FLUSH_EVERY in
// quillet/scan/walker.hpp.

// The modes a terminal run takes when none is named.
inline const std::vector<std::string> TERMINAL_DEFAULT_MODES = {"fm", "bulk", "par"};

struct Settings {
    std::string root;                        // --root; the home folder by default
    std::vector<std::string> modes;          // --mode; see TERMINAL_DEFAULT_MODES
    int threads = 1;                         // --threads; defaultWalkWorkers() by default
    WalkWorkers walkWorkers{};               // the scan's walk: exactly --threads; growingWalkWorkers() by default
    std::optional<std::string> renderPath;   // --out
    std::string style = "treemap";           // --style
    bool cleanApply = false;                 // --apply
    bool cleanYes = false;                   // --yes
    bool wantHelp = false;                   // --help, -h
    bool cleanForce = false;                 // --force
    bool discard = false;                    // --discard
    std::set<Tier> cleanTiers{Tier::redownload, Tier::regenerate};  // --tier A|B|AB
    bool cleanUnverified = false;            // --include-unverified
    std::optional<std::string> cleanOwner;   // --owner
    std::optional<std::string> undoTarget;   // --undo [last|path]
    bool useCache = true;                    // --no-cache
    int minMB = 100;                         // --min-mb
    bool dedupeFlag = false;                 // --dedupe
    std::optional<std::string> destPath;     // --dest
    int ageDays = 30;                        // --age-days
    std::optional<std::string> explicitPath; // --path
    std::optional<std::string> langOverride; // --lang (LANG_OVERRIDE)
    std::vector<std::string> args;           // the process arguments without the program path
};

// What the parser starts from, decided by how the program was started.
struct SettingDefaults {
    std::string home;
    int processors = 1;
    bool insideAppBundle = false;  // the executable's path ends in ".app/...": the desktop app
};

struct ParsedArguments {
    Settings settings;
    std::optional<std::string> badTier;   // the value of a rejected --tier
    std::optional<std::string> badStyle;  // the value of a rejected --style
    bool rootGiven = false;               // "--root" came with a value: it must name a folder
    std::optional<std::string> threadsOutOfRange;  // a --threads value replaced by the nearest in range
    bool removeRoot = false;              // "--remove-root" was on the line
    std::vector<std::string> removeRootPaths;  // every argument after it
};

// More workers than this many per processor only add contention; a million would exhaust memory.
inline constexpr int THREADS_PER_PROCESSOR_LIMIT = 64;

// The argument walk: options in a fixed order of comparison, values consumed only when present,
// unknown words skipped, later occurrences overwriting earlier ones.
ParsedArguments parseArguments(const std::vector<std::string>& args, const SettingDefaults& defaults);

// The styles --style accepts, in the order the refusal lists them.
inline const std::vector<std::string> RENDER_STYLES = {"treemap", "bars", "icicle", "sunburst", "all"};

// The settings of this process; valid after installSettings.
const Settings& settings();
void installSettings(Settings settings);

}  // namespace kelvor
