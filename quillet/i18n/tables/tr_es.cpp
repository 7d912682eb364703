#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/es/main.inc"
#include "quillet/i18n/tables/es/clean.inc"
#include "quillet/i18n/tables/es/space.inc"
#include "quillet/i18n/tables/es/scan.inc"
#include "quillet/i18n/tables/es/catalog.inc"
#include "quillet/i18n/tables/es/trash.inc"
#include "quillet/i18n/tables/es/quarantine.inc"
};

}  // namespace

const std::span<const Translation> TR_ES{ROWS};

}  // namespace kelvor
