#pragma once
// The location rule: where a rule's store is on this machine, and which variable moved it there.
#include <array>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "quillet/rules/rule.hpp"

namespace kelvor {

// The variables that relocate tool stores, the only ones taken from the login shell's environment.
inline constexpr std::array<std::string_view, 49> RELOCATION_VARS = {
    "HF_HOME",          "HF_HUB_CACHE",       "HF_ASSETS_CACHE",     "HF_XET_CACHE",
    "OLLAMA_MODELS",    "UV_CACHE_DIR",       "PIP_CACHE_DIR",       "GRADLE_USER_HOME",
    "CARGO_HOME",       "RUSTUP_HOME",        "TORCH_HOME",          "XDG_CACHE_HOME",
    "XDG_DATA_HOME",    "XDG_CONFIG_HOME",    "XDG_STATE_HOME",      "MISE_DATA_DIR",
    "MISE_CACHE_DIR",   "HELM_CACHE_HOME",    "PUB_CACHE",           "FVM_CACHE_PATH",
    "FLUTTER_ROOT",     "ASDF_DATA_DIR",      "RBENV_ROOT",          "NUGET_PACKAGES",
    "NUGET_HTTP_CACHE_PATH", "LIMA_HOME",     "COLIMA_HOME",         "COLIMA_CACHE_HOME",
    "LLAMA_CACHE",      "CCACHE_DIR",         "ZIG_GLOBAL_CACHE_DIR", "FNM_DIR",
    "MINT_PATH",        "KUBECACHEDIR",       "BAZELISK_HOME",       "COURSIER_CACHE",
    "COURSIER_ARCHIVE_CACHE", "PIXI_CACHE_DIR", "PIXI_HOME",         "KONAN_DATA_DIR",
    "VAGRANT_HOME",     "JULIA_DEPOT_PATH",   "GHCUP_INSTALL_BASE_PREFIX", "CABAL_DIR",
    "STACK_ROOT",       "UPM_CACHE_ROOT",     "ASSETSTORE_CACHE_PATH", "HEX_HOME",
    "MIX_HOME",
};

// Whether `name` is one of RELOCATION_VARS.
bool isRelocationVar(std::string_view name);

// A rule's store as the location rule finds it: an absolute path (or one below `home`) and the
// variable that moved it away from its default, if any.
struct RawPath {
    std::string path;
    std::optional<std::string> relocated;

    bool operator==(const RawPath&) const = default;
};

// A variable's value as the location rule sees it; none for unset or empty.
using EnvLookup = std::function<std::optional<std::string>(std::string_view name)>;

// The location rule over any lookup and home folder, first match winning: the rule's direct
// variable (+ envSub); the base's variables in order (+ sub); the base's XDG variable + xdgName (+ sub)
// for a base that has one; else home + defaultPath + sub. A sub that is already absolute stays as is.
// A variable's value that starts with "~" (alone or before "/") is put under `home`.
RawPath resolveRawPath(const Rule& rule, const EnvLookup& lookup, std::string_view home);

// The location rule with env() and the home folder.
RawPath ruleRawPath(const Rule& rule);

// Where the rule's store is when no variable is set: its default place under the home folder.
RawPath defaultRawPath(const Rule& rule);

// The process environment's value when set and non-empty; otherwise, for a relocation variable
// only, the login shell's value when set and non-empty; otherwise none.
std::optional<std::string> env(std::string_view name);

// The login shell's relocation variables, by name.
using LoginEnvironment = std::map<std::string, std::string, std::less<>>;
using LoginEnvironmentReader = std::function<LoginEnvironment()>;

// The login shell's relocation variables, read once through the current reader; a failed read is
// an empty environment, so only the process environment counts.
LoginEnvironment loginEnvironment();

// Replaces how the login environment is read (tests) and forgets what was read before; an empty
// reader restores the real one: $SHELL run as a login shell, bounded by LOGIN_SHELL_TIME_LIMIT.
void setLoginEnvironmentReader(LoginEnvironmentReader reader);

}  // namespace kelvor
