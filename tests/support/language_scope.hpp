#pragma once
// Sets the process's language for one test and puts English back afterwards.
#include "quillet/i18n/app_lang.hpp"

namespace kelvor::testing {

struct LanguageScope {
    explicit LanguageScope(AppLang lang) { forceAppLang(lang); }
    ~LanguageScope() { forceAppLang(AppLang::en); }
    LanguageScope(const LanguageScope&) = delete;
    LanguageScope& operator=(const LanguageScope&) = delete;
};

}  // namespace kelvor::testing
