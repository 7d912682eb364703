// Telling whose program a process is: an owner's app by its executable's path, an owner's tool by
// the command it runs, a library by the words an interpreter was given.
#include <pwd.h>

#include <algorithm>
#include <string>
#include <vector>

#include "quillet/guards/guards.hpp"
#include "quillet/guards/owner_guards.hpp"
#include "quillet/platform/path_parts.hpp"

namespace kelvor {

namespace {

std::vector<std::string_view> words(std::string_view text) {
    std::vector<std::string_view> found;
    size_t at = 0;
    while (at < text.size()) {
        size_t end = text.find(' ', at);
        if (end == std::string_view::npos) end = text.size();
        if (end > at) found.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return found;
}

// Programs that run a script named by a later argument: the script is the tool.
bool isInterpreter(std::string_view name) {
    for (std::string_view shell : {"sh", "bash", "dash", "zsh", "fish", "ksh", "env", "node", "nodejs", "bun", "deno",
                                   "ruby", "perl", "java"})
        if (name == shell) return true;
    // python, python3, python3.12 and the like.
    return name.starts_with("python");
}

// The index of the first argument that is not an interpreter or one of its options, so that
// "/usr/bin/env python3 -u /home/a/bin/hf download" is seen as "hf download".
size_t commandStart(const std::vector<std::string_view>& argv) {
    size_t at = 0;
    while (at < argv.size() && isInterpreter(nameIn(argv[at]))) {
        ++at;
        while (at < argv.size() && argv[at].starts_with('-')) ++at;
    }
    return at;
}

bool appFragmentMatches(const OwnerGuard& row, std::string_view path) {
    if (path.empty()) return false;
    auto inPath = [&](std::string_view fragment) { return path.find(fragment) != std::string_view::npos; };
    return std::any_of(row.appFragments.begin(), row.appFragments.end(), inPath) ||
           std::any_of(row.linuxAppFragments.begin(), row.linuxAppFragments.end(), inPath);
}

}  // namespace

std::optional<std::string> guardProcLabel(const Proc& proc) {
    for (const OwnerGuard& row : OWNER_GUARDS)
        if (appFragmentMatches(row, proc.path)) return std::string(row.owner);
    // Any other macOS app, named by its bundle.
    constexpr std::string_view BUNDLE = ".app/Contents/MacOS/";
    size_t bundle = proc.path.find(BUNDLE);
    if (bundle == std::string::npos) return std::nullopt;
    std::string_view before = std::string_view(proc.path).substr(0, bundle);
    std::string_view name = nameIn(before);
    if (name.empty()) return std::nullopt;
    return std::string(name);
}

bool procRunsTool(const Proc& proc, std::string_view tool) {
    std::vector<std::string_view> toolWords = words(tool);
    if (toolWords.empty()) return false;
    std::vector<std::string_view> argv = words(proc.args);
    if (toolWords.size() == 1 && nameIn(proc.path) == toolWords[0]) return true;
    for (size_t start : {size_t{0}, commandStart(argv)}) {
        if (start + toolWords.size() > argv.size()) continue;
        if (nameIn(argv[start]) != toolWords[0]) continue;
        if (std::equal(toolWords.begin() + 1, toolWords.end(), argv.begin() + static_cast<std::ptrdiff_t>(start) + 1))
            return true;
    }
    return false;
}

bool procRunsAsUser(const Proc& proc, std::string_view user) {
    if (proc.uid < 0 || user.empty()) return false;
    struct passwd entry {};
    struct passwd* found = nullptr;
    std::vector<char> buffer(16384);
    const std::string name(user);
    if (::getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) != 0 || !found) return false;
    return static_cast<std::int64_t>(found->pw_uid) == proc.uid;
}

std::string procCommandName(const Proc& proc) {
    std::vector<std::string_view> argv = words(proc.args);
    size_t start = commandStart(argv);
    if (start > 0 && start < argv.size()) return std::string(argv[start]);
    if (!proc.path.empty()) return proc.path;
    return argv.empty() ? std::string() : std::string(argv[0]);
}

bool procMentionsToken(const Proc& proc, std::string_view token) {
    if (token.empty()) return false;
    std::vector<std::string_view> argv = words(proc.args);
    bool interpreted = isInterpreter(nameIn(proc.path)) || (!argv.empty() && isInterpreter(nameIn(argv[0])));
    if (!interpreted) return false;
    for (std::string_view word : argv) {
        // "-m huggingface_hub", "transformers.pipelines", ".../site-packages/datasets/...".
        if (word == token) return true;
        if (word.starts_with(token) && word.size() > token.size() && word[token.size()] == '.') return true;
        for (size_t at = word.find(token); at != std::string_view::npos; at = word.find(token, at + 1)) {
            bool startsPart = at > 0 && word[at - 1] == '/';
            size_t end = at + token.size();
            bool endsPart = end == word.size() || word[end] == '/';
            if (startsPart && endsPart) return true;
        }
    }
    return false;
}

}  // namespace kelvor
