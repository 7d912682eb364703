#pragma once
// The nine translation tables, each keyed by the exact English text of a registered sentence.
#include <span>
#include <string_view>

#include "quillet/i18n/app_lang.hpp"
#include "quillet/i18n/sentence.hpp"

namespace kelvor {

extern const std::span<const Translation> TR_JA;
extern const std::span<const Translation> TR_ES;
extern const std::span<const Translation> TR_FR;
extern const std::span<const Translation> TR_DE;
extern const std::span<const Translation> TR_IT;
extern const std::span<const Translation> TR_ZH_HANS;
extern const std::span<const Translation> TR_ZH_HANT;
extern const std::span<const Translation> TR_PT_BR;
extern const std::span<const Translation> TR_PL;

// The table of a language; empty for English and Korean, which need none.
std::span<const Translation> translationTable(AppLang lang);

// The translation of `english` in `lang`'s table, or none. Built into a map on first use.
const std::string_view* findTranslation(AppLang lang, std::string_view english);

}  // namespace kelvor
