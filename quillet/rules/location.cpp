#include "quillet/rules/location.hpp"

#include <algorithm>
#include <mutex>

#include "quillet/log/log.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/login_shell.hpp"

namespace kelvor {

namespace {

std::string joinPath(std::string_view head, std::string_view tail) {
    if (tail.empty()) return std::string(head);
    if (head.empty()) return std::string(tail);
    return std::string(head) + "/" + std::string(tail);
}

// A variable's value with a leading "~" (alone or before "/") put under `home`, as for every path.
std::string expandedValue(const std::string& value, std::string_view home) {
    if (value == "~") return std::string(home);
    if (value.starts_with("~/")) return joinPath(home, value.substr(2));
    return value;
}

LoginEnvironment readRealLoginEnvironment() {
    std::string shell = environment("SHELL");
    if (shell.empty()) return {};
    LoginShellRead read = readLoginShellEnvironment(shell, LOGIN_SHELL_TIME_LIMIT);
    if (read.failure) {
        KelvorLog::write("rules", "login shell " + shell + ": not read — " + loginReadFailureReason(*read.failure) +
                                      "; only the process environment counts");
        return {};
    }
    LoginEnvironment relocations;
    for (auto& [name, value] : read.environment)
        if (isRelocationVar(name) && !value.empty()) relocations.emplace(name, std::move(value));
    KelvorLog::write("rules", "login shell " + shell + ": " + std::to_string(relocations.size()) +
                                  " relocation variable(s)");
    return relocations;
}

struct LoginState {
    std::mutex lock;
    LoginEnvironmentReader reader;
    std::optional<LoginEnvironment> value;
};

LoginState& loginState() {
    static LoginState state;
    return state;
}

// The login environment, read on first need; the caller holds state.lock.
const LoginEnvironment& readOnce(LoginState& state) {
    if (!state.value) state.value = state.reader ? state.reader() : readRealLoginEnvironment();
    return *state.value;
}

}  // namespace

bool isRelocationVar(std::string_view name) {
    return std::find(RELOCATION_VARS.begin(), RELOCATION_VARS.end(), name) != RELOCATION_VARS.end();
}

RawPath resolveRawPath(const Rule& rule, const EnvLookup& lookup, std::string_view home) {
    auto valueOf = [&](std::string_view name) -> std::optional<std::string> {
        std::optional<std::string> value = lookup(name);
        if (!value) return std::nullopt;
        return expandedValue(*value, home);
    };
    if (rule.directEnv)
        if (std::optional<std::string> value = valueOf(*rule.directEnv))
            return {rule.envSub ? joinPath(*value, *rule.envSub) : *value, *rule.directEnv};
    for (const std::string& name : rule.base.envVars)
        if (std::optional<std::string> value = valueOf(name)) return {joinPath(*value, rule.sub), name};
    if (rule.base.xdgName)
        if (std::optional<std::string> value = valueOf(rule.base.xdgVar))
            return {joinPath(joinPath(*value, *rule.base.xdgName), rule.sub), rule.base.xdgVar};
    std::string relative = joinPath(rule.base.defaultPath, rule.sub);
    if (relative.starts_with("/")) return {relative, std::nullopt};
    return {joinPath(home, relative), std::nullopt};
}

RawPath ruleRawPath(const Rule& rule) { return resolveRawPath(rule, env, homeDir()); }

RawPath defaultRawPath(const Rule& rule) {
    return resolveRawPath(rule, [](std::string_view) { return std::optional<std::string>(); }, homeDir());
}

std::optional<std::string> env(std::string_view name) {
    std::string value = environment(std::string(name).c_str());
    if (!value.empty()) return value;
    if (!isRelocationVar(name)) return std::nullopt;
    LoginState& state = loginState();
    std::lock_guard<std::mutex> hold(state.lock);
    const LoginEnvironment& login = readOnce(state);
    auto found = login.find(name);
    if (found == login.end() || found->second.empty()) return std::nullopt;
    return found->second;
}

LoginEnvironment loginEnvironment() {
    LoginState& state = loginState();
    std::lock_guard<std::mutex> hold(state.lock);
    return readOnce(state);
}

void setLoginEnvironmentReader(LoginEnvironmentReader reader) {
    LoginState& state = loginState();
    std::lock_guard<std::mutex> hold(state.lock);
    state.reader = std::move(reader);
    state.value.reset();
}

}  // namespace kelvor
