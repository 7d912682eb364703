#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#include "quillet/i18n/tables/fr/main.inc"
#include "quillet/i18n/tables/fr/catalog.inc"
};

}  // namespace

const std::span<const Translation> TR_FR{ROWS};

}  // namespace kelvor
