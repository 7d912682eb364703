#pragma once
// The interface languages, and the one current language of this process.
#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace kelvor {

enum class AppLang { en, ko, ja, es, fr, de, it, zhHans, zhHant, ptBR, pl };

inline constexpr std::array<AppLang, 11> ALL_APP_LANGS = {
    AppLang::en, AppLang::ko, AppLang::ja, AppLang::es, AppLang::fr, AppLang::de,
    AppLang::it, AppLang::zhHans, AppLang::zhHant, AppLang::ptBR, AppLang::pl};

// "en", "ko", "ja", "es", "fr", "de", "it", "zh-Hans", "zh-Hant", "pt-BR", "pl".
std::string_view langCode(AppLang lang);
// The language's own name for itself ("Deutsch", "한국어", ...).
std::string_view langNativeName(AppLang lang);
// A locale identifier for formatting in that language ("de_DE", "zh_Hant_TW", ...).
std::string_view langLocaleId(AppLang lang);

// A language code to a language: "_" becomes "-", then a case-sensitive prefix decides;
// none for anything it does not know (including "EN" and "kr").
std::optional<AppLang> parseAppLang(std::string_view code);

// The language from an explicit choice (--lang), GLIMSTER_LANG, the "kelvor.lang" preference
// (skipped when "system"), then the system's preferred languages; English when nothing parses.
AppLang resolveAppLang(const std::optional<std::string>& langOverride);

// The process's language: resolved once (with the override given to initAppLang, if any).
AppLang appLang();
// Resolves the process's language with --lang's value; later calls change nothing.
void initAppLang(const std::optional<std::string>& langOverride);
// Sets the process's language outright (support documents are always English; tests).
void forceAppLang(AppLang lang);

}  // namespace kelvor
