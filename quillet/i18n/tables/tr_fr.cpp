#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/fr/main.inc"
#include "quillet/i18n/tables/fr/clean.inc"
#include "quillet/i18n/tables/fr/space.inc"
#include "quillet/i18n/tables/fr/scan.inc"
#include "quillet/i18n/tables/fr/catalog.inc"
#include "quillet/i18n/tables/fr/trash.inc"
#include "quillet/i18n/tables/fr/quarantine.inc"
};

}  // namespace

const std::span<const Translation> TR_FR{ROWS};

}  // namespace kelvor
