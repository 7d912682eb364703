#pragma once
// The mode table: every name --mode accepts, what runs, and whether start-up housekeeping runs first.
#include <span>
#include <string_view>

#include "quillet/main/settings.hpp"

namespace kelvor {

enum class Housekeeping { before, skipped };

struct ModeEntry {
    std::string_view name;
    int (*run)(const Settings&);
    Housekeeping housekeeping = Housekeeping::before;
};

// The table in dispatch order.
std::span<const ModeEntry> modeTable();

// The entry whose name is `name`, or null.
const ModeEntry* findMode(std::string_view name);

// Runs `settings.modes`: a one-name list found in the table runs that mode; otherwise each name is
// a scan-speed mode (run together by the harness) or an unknown one (reported, status 0).
int dispatchModes(const Settings& settings);

}  // namespace kelvor
