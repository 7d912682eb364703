#pragma once
// The catalog as documents: a Markdown support matrix and the same rules as one JSON document.
#include <string>
#include <vector>

#include "quillet/rules/rule.hpp"

namespace kelvor {

// The variables that can move a rule's store, in the order the location rule consults them.
std::vector<std::string> relocatableVia(const Rule& rule);

// The rule's default location with "~" for the home folder, as no variable moves it.
std::string defaultDisplayPath(const Rule& rule);

// The support matrix in Markdown, in the current language's labels (the mode forces English).
// Its rule table lists every catalog rule once, sorted by owner, then path, then component.
std::string renderSupportMatrix();

// The catalog as JSON: {"generatedFrom", "count", "rules": [one object per rule with every field
// and the derived path, English texts, one-click and relocation variables]}.
std::string renderSupportJSON();

}  // namespace kelvor
