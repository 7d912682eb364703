#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/pl/main.inc"
#include "quillet/i18n/tables/pl/clean.inc"
#include "quillet/i18n/tables/pl/space.inc"
#include "quillet/i18n/tables/pl/unclaimed.inc"
#include "quillet/i18n/tables/pl/scan.inc"
#include "quillet/i18n/tables/pl/catalog.inc"
#include "quillet/i18n/tables/pl/automation.inc"
#include "quillet/i18n/tables/pl/mcp_install.inc"
#include "quillet/i18n/tables/pl/catalog_linux.inc"
};

}  // namespace

const std::span<const Translation> TR_PL{ROWS};

}  // namespace kelvor
