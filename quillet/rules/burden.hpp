#pragma once
// What removing a store costs the person beyond the bytes.
#include <optional>
#include <string_view>

namespace kelvor {

// Raw strings "transparent", "interruptive", "manual", "identity", in this order. Only a
// transparent row can be one-click.
enum class Burden { transparent, interruptive, manual, identity };

// The raw string of a burden.
std::string_view burdenRawValue(Burden burden);

// The burden of a raw string, or none for any other text (no case folding).
std::optional<Burden> burdenFromRawValue(std::string_view raw);

}  // namespace kelvor
