#include "quillet/i18n/translations.hpp"

#include "quillet/i18n/file_path.hpp"

namespace kelvor {

namespace {

constexpr Translation ROWS[] = {
#define SUBSYSTEM_FILE(subsystem) KELVOR_TABLE_FILE(zh_hans, subsystem)
#include "quillet/i18n/subsystems.def"
#undef SUBSYSTEM_FILE
};

}  // namespace

const std::span<const Translation> TR_ZH_HANS{ROWS};

}  // namespace kelvor
