#include "quillet/i18n/app_lang.hpp"

#include <atomic>
#include <mutex>

#include "quillet/platform/defaults.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/languages.hpp"

namespace kelvor {

namespace {

struct LangInfo {
    std::string_view code;
    std::string_view nativeName;
    std::string_view localeId;
};

constexpr LangInfo LANG_INFO[] = {
    {"en", "English", "en_US"},        {"ko", "한국어", "ko_KR"},
    {"ja", "日本語", "ja_JP"},          {"es", "Español", "es_ES"},
    {"fr", "Français", "fr_FR"},       {"de", "Deutsch", "de_DE"},
    {"it", "Italiano", "it_IT"},       {"zh-Hans", "简体中文", "zh_Hans_CN"},
    {"zh-Hant", "繁體中文", "zh_Hant_TW"}, {"pt-BR", "Português (Brasil)", "pt_BR"},
    {"pl", "Polski", "pl_PL"},
};

const LangInfo& info(AppLang lang) { return LANG_INFO[static_cast<int>(lang)]; }

std::once_flag resolvedOnce;
std::atomic<AppLang> current{AppLang::en};

}  // namespace

std::string_view langCode(AppLang lang) { return info(lang).code; }
std::string_view langNativeName(AppLang lang) { return info(lang).nativeName; }
std::string_view langLocaleId(AppLang lang) { return info(lang).localeId; }

std::optional<AppLang> parseAppLang(std::string_view raw) {
    std::string code(raw);
    for (char& c : code)
        if (c == '_') c = '-';
    auto starts = [&](std::string_view prefix) { return code.starts_with(prefix); };
    if (starts("ko")) return AppLang::ko;
    if (starts("ja")) return AppLang::ja;
    if (starts("es")) return AppLang::es;
    if (starts("fr")) return AppLang::fr;
    if (starts("de")) return AppLang::de;
    if (starts("it")) return AppLang::it;
    if (starts("pt")) return AppLang::ptBR;
    if (starts("pl")) return AppLang::pl;
    if (starts("zh")) {
        bool traditional = code.find("Hant") != std::string::npos || starts("zh-TW") || starts("zh-HK") ||
                           starts("zh-MO");
        return traditional ? AppLang::zhHant : AppLang::zhHans;
    }
    if (starts("en")) return AppLang::en;
    return std::nullopt;
}

AppLang resolveAppLang(const std::optional<std::string>& langOverride) {
    std::optional<std::string> chosen = langOverride;
    if (!chosen) {
        std::string fromEnvironment = environment("GLIMSTER_LANG");
        if (!fromEnvironment.empty()) chosen = fromEnvironment;
    }
    if (!chosen) {
        std::optional<std::string> saved = userDefaultString("kelvor.lang");
        if (saved && *saved != "system") chosen = saved;
    }
    if (chosen)
        if (auto lang = parseAppLang(*chosen)) return *lang;
    for (const std::string& preferred : preferredLanguages())
        if (auto lang = parseAppLang(preferred)) return *lang;
    return AppLang::en;
}

void initAppLang(const std::optional<std::string>& langOverride) {
    std::call_once(resolvedOnce, [&] { current = resolveAppLang(langOverride); });
}

AppLang appLang() {
    initAppLang(std::nullopt);
    return current;
}

void forceAppLang(AppLang lang) {
    std::call_once(resolvedOnce, [] {});
    current = lang;
}

}  // namespace kelvor
