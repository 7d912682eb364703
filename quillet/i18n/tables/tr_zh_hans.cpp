#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/zh_hans/main.inc"
#include "quillet/i18n/tables/zh_hans/clean.inc"
#include "quillet/i18n/tables/zh_hans/space.inc"
#include "quillet/i18n/tables/zh_hans/scan.inc"
#include "quillet/i18n/tables/zh_hans/catalog.inc"
#include "quillet/i18n/tables/zh_hans/trash.inc"
#include "quillet/i18n/tables/zh_hans/quarantine.inc"
};

}  // namespace

const std::span<const Translation> TR_ZH_HANS{ROWS};

}  // namespace kelvor
