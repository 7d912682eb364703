#pragma once
// The mode table: every name --mode accepts, what it does, what runs, and whether start-up
// housekeeping runs first.
#include <optional>
#include <span>
#include <string_view>

#include "quillet/main/settings.hpp"
#include "quillet/scan/harness.hpp"

namespace kelvor {

enum class Housekeeping { before, skipped };

struct ModeEntry {
    std::string_view name;
    std::string_view description;          // what the mode does, for whoever reads or lists the table
    int (*run)(const Settings&) = nullptr;  // null for a scan-speed walker
    Housekeeping housekeeping = Housekeeping::before;
    std::optional<Walker> walker{};        // set for a scan-speed walker: timed with the others named
};

// The table in dispatch order.
std::span<const ModeEntry> modeTable();

// The entry whose name is `name`, or null.
const ModeEntry* findMode(std::string_view name);

// Runs `settings.modes`: a one-name list naming a mode that runs alone runs it; otherwise each name
// is a scan-speed walker (all timed together by the harness, in the order named) or an unknown one
// (reported, status 0).
int dispatchModes(const Settings& settings);

}  // namespace kelvor
