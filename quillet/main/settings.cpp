#include "quillet/main/settings.hpp"

#include <algorithm>
#include <charconv>

#include "quillet/platform/home.hpp"
#include "quillet/scan/worker_count.hpp"

namespace kelvor {

namespace {

Settings& installed() {
    static Settings value;
    return value;
}

// A decimal integer, whole; none otherwise (the setting then stays as it was).
std::optional<int> parseInteger(const std::string& text) {
    int value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
    return value;
}

std::string upperCased(std::string text) {
    for (char& c : text)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return text;
}

}  // namespace

ParsedArguments parseArguments(const std::vector<std::string>& args, const SettingDefaults& defaults) {
    ParsedArguments parsed;
    Settings& s = parsed.settings;
    s.root = defaults.home;
    s.modes = defaults.insideAppBundle ? std::vector<std::string>{"gui"} : TERMINAL_DEFAULT_MODES;
    s.threads = defaultWalkWorkers(defaults.processors);
    s.walkWorkers = growingWalkWorkers(defaults.processors);
    s.args = args;

    if (auto at = std::find(args.begin(), args.end(), "--remove-root"); at != args.end()) {
        parsed.removeRoot = true;
        parsed.removeRootPaths.assign(at + 1, args.end());
        return parsed;
    }

    size_t i = 0;
    // A value option consumes the next argument only when there is one.
    auto value = [&]() -> std::optional<std::string> {
        if (i + 1 < args.size()) {
            std::string next = args[i + 1];
            i += 2;
            return next;
        }
        i += 1;
        return std::nullopt;
    };
    auto flag = [&](bool& field, bool to) {
        field = to;
        i += 1;
    };
    while (i < args.size()) {
        const std::string& word = args[i];
        if (word == "--lang") {
            if (auto v = value()) s.langOverride = *v;
        } else if (word == "--root") {
            if (auto v = value()) {
                s.root = expandTilde(*v, defaults.home);
                parsed.rootGiven = true;
            }
        } else if (word == "--mode") {
            if (auto v = value()) s.modes = {*v};
        } else if (word == "--threads") {
            if (auto v = value())
                if (auto n = parseInteger(*v)) {
                    int most = THREADS_PER_PROCESSOR_LIMIT * std::max(1, defaults.processors);
                    s.threads = std::clamp(*n, 1, most);
                    s.walkWorkers = exactWalkWorkers(s.threads);
                    parsed.threadsOutOfRange.reset();
                    if (s.threads != *n) parsed.threadsOutOfRange = *v;
                }
        } else if (word == "--out") {
            if (auto v = value()) s.renderPath = *v;
        } else if (word == "--style") {
            if (auto v = value()) {
                if (std::find(RENDER_STYLES.begin(), RENDER_STYLES.end(), *v) != RENDER_STYLES.end()) {
                    s.style = *v;
                    parsed.badStyle.reset();
                } else {
                    parsed.badStyle = *v;
                }
            }
        } else if (word == "--apply") {
            flag(s.cleanApply, true);
        } else if (word == "--yes") {
            flag(s.cleanYes, true);
        } else if (word == "--help" || word == "-h") {
            flag(s.wantHelp, true);
        } else if (word == "--force") {
            flag(s.cleanForce, true);
        } else if (word == "--discard") {
            flag(s.discard, true);
        } else if (word == "--include-unverified") {
            flag(s.cleanUnverified, true);
        } else if (word == "--owner") {
            if (auto v = value()) s.cleanOwner = *v;
        } else if (word == "--undo") {
            if (i + 1 < args.size() && !args[i + 1].starts_with("--")) {
                s.undoTarget = args[i + 1];
                i += 2;
            } else {
                s.undoTarget = "last";
                i += 1;
            }
        } else if (word == "--no-cache") {
            flag(s.useCache, false);
        } else if (word == "--min-mb") {
            if (auto v = value())
                if (auto n = parseInteger(*v)) s.minMB = *n;
        } else if (word == "--dedupe") {
            flag(s.dedupeFlag, true);
        } else if (word == "--dest") {
            if (auto v = value()) s.destPath = *v;
        } else if (word == "--age-days") {
            if (auto v = value())
                if (auto n = parseInteger(*v)) s.ageDays = *n;
        } else if (word == "--path") {
            if (auto v = value()) s.explicitPath = *v;
        } else if (word == "--tier") {
            if (auto v = value()) {
                std::string tier = upperCased(*v);
                parsed.badTier.reset();
                if (tier == "A") s.cleanTiers = {Tier::redownload};
                else if (tier == "B") s.cleanTiers = {Tier::regenerate};
                else if (tier == "AB") s.cleanTiers = {Tier::redownload, Tier::regenerate};
                else parsed.badTier = *v;
            }
        } else {
            i += 1;
        }
    }
    // "kelvor --undo last" means "kelvor --mode clean --undo last".
    if (s.undoTarget && s.modes == TERMINAL_DEFAULT_MODES) s.modes = {"clean"};
    return parsed;
}

const Settings& settings() { return installed(); }

void installSettings(Settings value) { installed() = std::move(value); }

}  // namespace kelvor
