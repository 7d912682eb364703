#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/it/main.inc"
#include "quillet/i18n/tables/it/clean.inc"
#include "quillet/i18n/tables/it/space.inc"
#include "quillet/i18n/tables/it/scan.inc"
#include "quillet/i18n/tables/it/catalog.inc"
#include "quillet/i18n/tables/it/trash.inc"
#include "quillet/i18n/tables/it/quarantine.inc"
};

}  // namespace

const std::span<const Translation> TR_IT{ROWS};

}  // namespace kelvor
