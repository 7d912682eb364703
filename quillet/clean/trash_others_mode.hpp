#pragma once
// `kelvor --mode trash-others`: what other programs put in the Trash.
#include "quillet/main/settings.hpp"

namespace kelvor {

// At most TRASH_OTHERS_LIMIT entries are listed.
inline constexpr std::size_t TRASH_OTHERS_LIMIT = 500;

// Lists each entry Kelvor did not move with where it came from, its size and date. 0.
int runTrashOthers(const Settings& settings);

}  // namespace kelvor
