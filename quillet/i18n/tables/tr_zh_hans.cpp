#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/zh_hans/main.inc"
#include "quillet/i18n/tables/zh_hans/clean.inc"
#include "quillet/i18n/tables/zh_hans/space.inc"
#include "quillet/i18n/tables/zh_hans/unclaimed.inc"
#include "quillet/i18n/tables/zh_hans/scan.inc"
#include "quillet/i18n/tables/zh_hans/catalog.inc"
#include "quillet/i18n/tables/zh_hans/automation.inc"
#include "quillet/i18n/tables/zh_hans/mcp_install.inc"
#include "quillet/i18n/tables/zh_hans/catalog_linux.inc"
};

}  // namespace

const std::span<const Translation> TR_ZH_HANS{ROWS};

}  // namespace kelvor
