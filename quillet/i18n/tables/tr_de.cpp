#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/de/main.inc"
#include "quillet/i18n/tables/de/clean.inc"
#include "quillet/i18n/tables/de/space.inc"
#include "quillet/i18n/tables/de/scan.inc"
#include "quillet/i18n/tables/de/catalog.inc"
#include "quillet/i18n/tables/de/trash.inc"
#include "quillet/i18n/tables/de/quarantine.inc"
};

}  // namespace

const std::span<const Translation> TR_DE{ROWS};

}  // namespace kelvor
