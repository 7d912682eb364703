#pragma once
// The stores of a Linux machine: rows in the catalog's shape for the places Linux tools use, kept
// beside the catalog (whose rows name the macOS places) and used where the platform says so.
#include <functional>
#include <string>
#include <vector>

#include "quillet/rules/rule.hpp"

namespace kelvor {

// Two rows for one store whose tool keeps using an older folder while it exists (ccache's ~/.ccache,
// RubyGems' ~/.gem, pipx's ~/.local/pipx): `older` counts when its folder is there, else `newer`.
struct OlderFolderFirst {
    Rule older;
    Rule newer;
};

namespace linux_rows {
std::vector<Rule> developerTools();           // build caches, package managers, SDKs, language tools
std::vector<Rule> editorsAndApps();           // VS Code and its relatives, browsers, chat apps
std::vector<Rule> systemStores();             // desktop caches and stores only their own tool may clear
std::vector<OlderFolderFirst> olderFirst();   // the tools that prefer an older folder when it exists
}  // namespace linux_rows

// Whether a folder exists at an absolute path (a link to one counts; tests pass their own).
using FolderExists = std::function<bool(const std::string& path)>;

// Every Linux row in table order, each older-first pair settled the way its tool settles it: the
// older row when its unrelocated folder exists, otherwise the newer row.
std::vector<Rule> linuxStoreRules(const FolderExists& exists);
std::vector<Rule> linuxStoreRules();

// Every row of the table, both sides of each older-first pair included, for the documents.
const std::vector<Rule>& linuxTableRules();

}  // namespace kelvor
