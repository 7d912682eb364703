#pragma once
// How a store's content comes back after removal, from "downloaded again" to "never touched".
#include <optional>

namespace kelvor {

// Raw values 0..3 in this order; `protected_` because `protected` is a C++ keyword.
enum class Tier { redownload = 0, regenerate = 1, review = 2, protected_ = 3 };

inline int tierRawValue(Tier tier) { return static_cast<int>(tier); }

// The tier of a raw value 0..3, or none.
inline std::optional<Tier> tierFromRawValue(int raw) {
    if (raw < 0 || raw > 3) return std::nullopt;
    return static_cast<Tier>(raw);
}

}  // namespace kelvor
