// Is what the person confirmed still what is there, and does another app claim it?
#include <algorithm>
#include <cctype>

#include "quillet/guards/guards.hpp"
#include "quillet/i18n/text.hpp"

namespace kelvor {

namespace {

bool equalIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](unsigned char x, unsigned char y) {
               return std::tolower(x) == std::tolower(y);
           });
}

}  // namespace

bool claimedByAnother(std::string_view identifier, const std::set<std::string>& claims) {
    for (const std::string& claim : claims) {
        if (claim.empty()) continue;
        if (equalIgnoringCase(identifier, claim)) return true;
        if (identifier.size() > claim.size() && identifier[claim.size()] == '.' &&
            equalIgnoringCase(identifier.substr(0, claim.size()), claim))
            return true;
    }
    return false;
}

std::optional<std::string> identityChangedNote(const std::string& recordedPath, const PathIdentity& recorded,
                                               const std::string& currentPath,
                                               const std::optional<PathIdentity>& current) {
    if (!current || currentPath != recordedPath) return trf(S::guardMovedAway);
    if (*current == recorded) return std::nullopt;
    // A folder where a file was (or the reverse) is not the thing confirmed in another copy.
    if (current->isDir != recorded.isDir) return trf(S::guardDifferentApp);
    return trf(S::guardReplacedCopy);
}

}  // namespace kelvor
