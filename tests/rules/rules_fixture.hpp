#pragma once
// What the rules tests share: a catalog row found by owner and path, a plain rule of the tests'
// own, and a login shell replaced for one test.
#include <gtest/gtest.h>

#include "quillet/rules/catalog.hpp"
#include "quillet/rules/location.hpp"
#include "quillet/rules/resolve.hpp"

namespace kelvor::testing {

inline const Rule& catalogRule(const std::string& owner, const std::string& sub) {
    for (const Rule& rule : CATALOG)
        if (rule.owner == owner && rule.sub == sub) return rule;
    ADD_FAILURE() << "no catalog rule " << owner << " " << sub;
    return CATALOG->front();
}

// A verified tier-A folder rule.
inline Rule folderRule(std::string owner, std::string sub, std::string component = "모델") {
    return Rule{.owner = std::move(owner), .component = std::move(component), .sub = std::move(sub),
                .tier = Tier::redownload, .verified = true};
}

// `rule` resolved to `path`, neither moved by a variable nor reached through a link.
inline ResolvedRule resolvedAt(Rule rule, std::string path) {
    return {std::move(rule), std::move(path), std::nullopt, std::nullopt};
}

// The login shell's environment replaced while the scope lives; afterwards it reads nothing again,
// as the test binary set it up.
struct LoginScope {
    explicit LoginScope(LoginEnvironmentReader reader) { setLoginEnvironmentReader(std::move(reader)); }
    explicit LoginScope(LoginEnvironment values = {}) : LoginScope([values] { return values; }) {}
    ~LoginScope() { setLoginEnvironmentReader([] { return LoginEnvironment{}; }); }
    LoginScope(const LoginScope&) = delete;
    LoginScope& operator=(const LoginScope&) = delete;
};

}  // namespace kelvor::testing
