#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/zh_hant/main.inc"
#include "quillet/i18n/tables/zh_hant/clean.inc"
#include "quillet/i18n/tables/zh_hant/space.inc"
#include "quillet/i18n/tables/zh_hant/unclaimed.inc"
#include "quillet/i18n/tables/zh_hant/scan.inc"
#include "quillet/i18n/tables/zh_hant/catalog.inc"
#include "quillet/i18n/tables/zh_hant/automation.inc"
#include "quillet/i18n/tables/zh_hant/mcp_install.inc"
#include "quillet/i18n/tables/zh_hant/catalog_linux.inc"
};

}  // namespace

const std::span<const Translation> TR_ZH_HANT{ROWS};

}  // namespace kelvor
