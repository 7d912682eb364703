#include "quillet/rules/catalog.hpp"

#include "quillet/rules/catalog_groups.hpp"

namespace kelvor {

const std::vector<Rule>& catalogRules() {
    static const std::vector<Rule> rules = [] {
        std::vector<Rule> all;
        for (auto group : {catalog_rows::aiTools, catalog_rows::editors, catalog_rows::appleAndBuild,
                           catalog_rows::aiApps, catalog_rows::packageManagers, catalog_rows::toolchains,
                           catalog_rows::apps}) {
            std::vector<Rule> rows = group();
            all.insert(all.end(), std::make_move_iterator(rows.begin()), std::make_move_iterator(rows.end()));
        }
        return all;
    }();
    return rules;
}

const OwnerSet& catalogOwners() {
    static const OwnerSet owners = [] {
        OwnerSet built;
        for (const Rule& rule : catalogRules()) built.insert(rule.owner);
        return built;
    }();
    return owners;
}

}  // namespace kelvor
