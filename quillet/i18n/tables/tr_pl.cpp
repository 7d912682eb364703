#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/pl/main.inc"
#include "quillet/i18n/tables/pl/clean.inc"
#include "quillet/i18n/tables/pl/space.inc"
#include "quillet/i18n/tables/pl/scan.inc"
#include "quillet/i18n/tables/pl/catalog.inc"
#include "quillet/i18n/tables/pl/trash.inc"
#include "quillet/i18n/tables/pl/quarantine.inc"
};

}  // namespace

const std::span<const Translation> TR_PL{ROWS};

}  // namespace kelvor
