#pragma once
// The recovery report the automation server's kelvor_recovery tool answers with: what Kelvor
// removed, where each item is now and the exact command that puts it back.
#include <vector>

#include "quillet/automation/protocol.hpp"
#include "quillet/recovery/restorable.hpp"

namespace kelvor {

// Held items at or under this many days left get a note to restore them before they move on.
inline constexpr int RECOVERY_SOON_DAYS = 3;

// The report over `rows` (the restore centre's list, numbered as it shows them):
// "quarantined_items", "trash_items", "gone_items" (a recorded command brings them back) and
// "already_superseded_items" (the owning tool made the place again), each row with
// "how_to_get_it_back" and, where it applies, "days_until_it_moves_to_the_trash". Reads nothing.
Json recoveryReport(const std::vector<RestorableItem>& rows);

// recoveryReport over the restore centre's current list.
Json toolRecovery();

}  // namespace kelvor
