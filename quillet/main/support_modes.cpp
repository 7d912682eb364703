#include "quillet/main/support_modes.hpp"

#include <cstdio>

#include "quillet/i18n/app_lang.hpp"
#include "quillet/rules/support_matrix.hpp"

namespace kelvor {

int runSupportMatrix(const Settings&) {
    // The matrix is the published English document, whatever the person's language.
    forceAppLang(AppLang::en);
    std::fputs(renderSupportMatrix().c_str(), stdout);
    return 0;
}

int runSupportJson(const Settings&) {
    std::fputs(renderSupportJSON().c_str(), stdout);
    return 0;
}

}  // namespace kelvor
