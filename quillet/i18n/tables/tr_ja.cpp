#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/ja/main.inc"
#include "quillet/i18n/tables/ja/clean.inc"
#include "quillet/i18n/tables/ja/space.inc"
#include "quillet/i18n/tables/ja/scan.inc"
#include "quillet/i18n/tables/ja/catalog.inc"
#include "quillet/i18n/tables/ja/trash.inc"
#include "quillet/i18n/tables/ja/quarantine.inc"
};

}  // namespace

const std::span<const Translation> TR_JA{ROWS};

}  // namespace kelvor
