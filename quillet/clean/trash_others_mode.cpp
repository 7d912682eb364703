#include "quillet/clean/trash_others_mode.hpp"

#include <cstdio>

#include "quillet/clean/trash_others.hpp"
#include "quillet/i18n/text.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/scan/fmt_bytes.hpp"

namespace kelvor {

int runTrashOthers(const Settings&) {
    std::vector<TrashOther> others = trashOthers({}, TRASH_OTHERS_LIMIT);
    if (others.empty()) {
        std::printf("%s\n", trf(S::trashOthersNone).c_str());
        return 0;
    }
    std::printf("%s\n", trf(S::trashOthersHeader, {std::to_string(others.size())}).c_str());
    for (const TrashOther& item : others) {
        std::string origin = item.origin ? trf(S::trashOthersOrigin, {escapeControls(*item.origin)})
                                         : trf(S::trashOthersNoOrigin);
        std::printf("  %s\n    %s · %s · %s\n", escapeControls(item.id).c_str(), origin.c_str(),
                    fmtBytes(item.size).c_str(), item.date.c_str());
    }
    return 0;
}

}  // namespace kelvor
