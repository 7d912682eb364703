#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/ja/main.inc"
#include "quillet/i18n/tables/ja/clean.inc"
#include "quillet/i18n/tables/ja/space.inc"
#include "quillet/i18n/tables/ja/unclaimed.inc"
#include "quillet/i18n/tables/ja/scan.inc"
#include "quillet/i18n/tables/ja/catalog.inc"
#include "quillet/i18n/tables/ja/automation.inc"
#include "quillet/i18n/tables/ja/mcp_install.inc"
#include "quillet/i18n/tables/ja/catalog_linux.inc"
};

}  // namespace

const std::span<const Translation> TR_JA{ROWS};

}  // namespace kelvor
