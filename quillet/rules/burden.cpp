#include "quillet/rules/burden.hpp"

#include <array>

namespace kelvor {

namespace {

constexpr std::array<std::string_view, 4> RAW_VALUES = {"transparent", "interruptive", "manual", "identity"};

}  // namespace

std::string_view burdenRawValue(Burden burden) { return RAW_VALUES[static_cast<size_t>(burden)]; }

std::optional<Burden> burdenFromRawValue(std::string_view raw) {
    for (size_t i = 0; i < RAW_VALUES.size(); ++i)
        if (RAW_VALUES[i] == raw) return static_cast<Burden>(i);
    return std::nullopt;
}

}  // namespace kelvor
