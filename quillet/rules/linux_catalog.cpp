#include "quillet/rules/linux_catalog.hpp"

#include <sys/stat.h>

#include "quillet/platform/home.hpp"
#include "quillet/rules/location.hpp"

namespace kelvor {

namespace {

bool isFolder(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// Where a row's store is when no variable moves it: the place its tool looks for first.
std::string unrelocatedPath(const Rule& rule) {
    return resolveRawPath(rule, [](std::string_view) { return std::optional<std::string>(); }, homeDir()).path;
}

void append(std::vector<Rule>& into, std::vector<Rule> rows) {
    into.insert(into.end(), std::make_move_iterator(rows.begin()), std::make_move_iterator(rows.end()));
}

}  // namespace

std::vector<Rule> linuxStoreRules(const FolderExists& exists) {
    std::vector<Rule> rules;
    append(rules, linux_rows::developerTools());
    append(rules, linux_rows::editorsAndApps());
    append(rules, linux_rows::systemStores());
    for (OlderFolderFirst& pair : linux_rows::olderFirst())
        rules.push_back(exists(unrelocatedPath(pair.older)) ? std::move(pair.older) : std::move(pair.newer));
    return rules;
}

std::vector<Rule> linuxStoreRules() { return linuxStoreRules(isFolder); }

const std::vector<Rule>& linuxTableRules() {
    static const std::vector<Rule> rules = [] {
        std::vector<Rule> all;
        append(all, linux_rows::developerTools());
        append(all, linux_rows::editorsAndApps());
        append(all, linux_rows::systemStores());
        for (OlderFolderFirst& pair : linux_rows::olderFirst()) {
            all.push_back(std::move(pair.older));
            all.push_back(std::move(pair.newer));
        }
        return all;
    }();
    return rules;
}

}  // namespace kelvor
