#include "quillet/space/forget_mode.hpp"

#include <cstdio>
#include <string>

#include "quillet/i18n/text.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/scan/fmt_bytes.hpp"
#include "quillet/space/forget.hpp"

namespace kelvor {

namespace {

void say(const std::string& line) { std::printf("%s\n", line.c_str()); }

}  // namespace

int runForget(const Settings& settings) {
    Forgettable found = forgettable();
    say(trf(S::forgetHeader));
    std::uint64_t total = 0;
    for (const ForgettableItem& item : found.items) {
        say("  " + item.label + "  (" + fmtBytes(item.bytes) + ")");
        total += item.bytes;
    }
    if (!found.keeping.empty()) {
        say(trf(S::forgetKeptHeader));
        for (const KeptEntry& kept : found.keeping) say("    " + kept.label + " — " + kept.why);
    }
    if (found.items.empty()) {
        say(trf(S::forgetNothing));
        return 0;
    }
    if (!settings.cleanApply) {
        say(trf(S::forgetWouldClear, {fmtBytes(total)}));
        return 0;
    }
    ForgetOutcome outcome = clearForgetItems(found.items);
    say(trf(S::forgetCleared, {fmtBytes(outcome.freed)}));
    for (const ForgetFailure& failure : outcome.failed)
        std::fprintf(stderr, "%s\n", trf(S::forgetFailed, {escapeControls(failure.path), failure.reason}).c_str());
    return outcome.failed.empty() ? 0 : 1;
}

}  // namespace kelvor
