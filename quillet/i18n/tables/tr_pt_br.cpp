#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/pt_br/main.inc"
#include "quillet/i18n/tables/pt_br/clean.inc"
#include "quillet/i18n/tables/pt_br/space.inc"
#include "quillet/i18n/tables/pt_br/scan.inc"
#include "quillet/i18n/tables/pt_br/catalog.inc"
#include "quillet/i18n/tables/pt_br/trash.inc"
#include "quillet/i18n/tables/pt_br/quarantine.inc"
};

}  // namespace

const std::span<const Translation> TR_PT_BR{ROWS};

}  // namespace kelvor
