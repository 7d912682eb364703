#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/zh_hant/main.inc"
#include "quillet/i18n/tables/zh_hant/clean.inc"
#include "quillet/i18n/tables/zh_hant/space.inc"
#include "quillet/i18n/tables/zh_hant/scan.inc"
#include "quillet/i18n/tables/zh_hant/catalog.inc"
#include "quillet/i18n/tables/zh_hant/trash.inc"
#include "quillet/i18n/tables/zh_hant/quarantine.inc"
};

}  // namespace

const std::span<const Translation> TR_ZH_HANT{ROWS};

}  // namespace kelvor
