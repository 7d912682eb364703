#include "quillet/i18n/translations.hpp"

#include <array>
#include <mutex>
#include <unordered_map>

namespace kelvor {

std::span<const Translation> translationTable(AppLang lang) {
    switch (lang) {
        case AppLang::ja: return TR_JA;
        case AppLang::es: return TR_ES;
        case AppLang::fr: return TR_FR;
        case AppLang::de: return TR_DE;
        case AppLang::it: return TR_IT;
        case AppLang::zhHans: return TR_ZH_HANS;
        case AppLang::zhHant: return TR_ZH_HANT;
        case AppLang::ptBR: return TR_PT_BR;
        case AppLang::pl: return TR_PL;
        case AppLang::en:
        case AppLang::ko: return {};
    }
    return {};
}

const std::string_view* findTranslation(AppLang lang, std::string_view english) {
    using Index = std::unordered_map<std::string_view, std::string_view>;
    static std::array<Index, ALL_APP_LANGS.size()> indexes;
    static std::once_flag built;
    std::call_once(built, [] {
        for (AppLang each : ALL_APP_LANGS)
            for (const Translation& row : translationTable(each))
                indexes[static_cast<size_t>(each)].emplace(row.english, row.text);
    });
    const Index& index = indexes[static_cast<size_t>(lang)];
    auto found = index.find(english);
    return found == index.end() ? nullptr : &found->second;
}

}  // namespace kelvor
