#include "quillet/main/entry.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "quillet/i18n/text.hpp"
#include "quillet/clean/ballast.hpp"
#include "quillet/clean/manifest.hpp"
#include "quillet/log/log.hpp"
#include "quillet/main/help.hpp"
#include "quillet/main/modes.hpp"
#include "quillet/main/remove_root.hpp"
#include "quillet/platform/heap.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/platform/sysinfo.hpp"
#include "quillet/quarantine/quarantine_store.hpp"

namespace kelvor {

namespace {

std::string joinedStyles() {
    std::string out;
    for (const std::string& style : RENDER_STYLES) out += (out.empty() ? "" : ", ") + style;
    return out;
}

// Start-up housekeeping before a mode: the quarantine's release sweep, the language, retired undo
// records past their age, and the space reserve that lets an undo record be written on a full disk.
void runHousekeeping(const Settings& settings) {
    SweepOutcome sweep = processQuarantine();
    initAppLang(settings.langOverride);
    if (sweep.unrecorded) std::printf("%s\n", trf(S::quarantineSweepUnrecorded).c_str());
    pruneConsumedManifests(std::chrono::system_clock::now());
    Ballast().ensure();
}

// Why --root cannot be walked, or none when it names a folder.
std::optional<std::string> rootRefusal(const std::string& root) {
    if (root.empty()) return trf(S::rootEmpty);
    struct stat info {};
    if (::stat(root.c_str(), &info) != 0) return trf(S::rootMissing, {escapeControls(root)});
    if (!S_ISDIR(info.st_mode)) return trf(S::rootNotFolder, {escapeControls(root)});
    return std::nullopt;
}

}  // namespace

int runKelvor(const std::vector<std::string>& args, const std::string& executablePath) {
    SettingDefaults defaults;
    defaults.home = homeDir();
    defaults.processors = processorCount();
    shareHeapAmongThreads(defaults.processors);
    defaults.insideAppBundle = executablePath.find(".app/Contents/") != std::string::npos;
    ParsedArguments parsed = parseArguments(args, defaults);

    if (parsed.removeRoot) {
        // As root the saved preference sits in a home someone else controls (a FIFO there would hang
        // the run): "system" skips it and takes the language from the locale alone.
        initAppLang(::geteuid() == 0 ? std::optional<std::string>("system") : std::nullopt);
        int status = runRemoveRoot(parsed.removeRootPaths);
        KelvorLog::drain();
        return status;
    }
    if (parsed.settings.wantHelp) {
        std::fwrite(HELP_TEXT.data(), 1, HELP_TEXT.size(), stdout);
        return 0;
    }
    // The refusals of step 1 are sentences too, so the language is known before they print.
    initAppLang(parsed.settings.langOverride);
    if (parsed.badTier) {
        std::printf("%s\n", trf(S::badTier, {escapeControls(*parsed.badTier)}).c_str());
        return 1;
    }
    if (parsed.badStyle) {
        std::printf("%s\n", trf(S::badStyle, {joinedStyles(), escapeControls(*parsed.badStyle)}).c_str());
        return 2;
    }
    if (parsed.rootGiven) {
        std::optional<std::string> refusal = rootRefusal(parsed.settings.root);
        if (refusal) {
            std::printf("%s\n", refusal->c_str());
            return 1;
        }
    }
    // A worker count no machine can serve is refused rather than guessed at, so a script notices.
    if (parsed.threadsOutOfRange) {
        std::fprintf(stderr, "%s\n",
                     trf(S::threadsOutOfRange, {escapeControls(*parsed.threadsOutOfRange),
                                                std::to_string(THREADS_PER_PROCESSOR_LIMIT * std::max(1, defaults.processors))})
                         .c_str());
        return 2;
    }
    installSettings(parsed.settings);
    const Settings& current = settings();
    const ModeEntry* single = current.modes.size() == 1 ? findMode(current.modes.front()) : nullptr;
    if (!single || single->housekeeping == Housekeeping::before) runHousekeeping(current);
    int status = dispatchModes(current);
    std::fflush(stdout);
    KelvorLog::drain();
    return status;
}

}  // namespace kelvor
