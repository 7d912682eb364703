#pragma once
// A process-wide table built on first use and read-only afterwards. The builder keeps the table in
// a function-local static, so concurrent first readers see one complete table.
#include <cstddef>

namespace kelvor {

template <typename Container, const Container& (*Build)()>
struct LazyTable {
    // The table itself.
    const Container& operator*() const { return Build(); }
    const Container* operator->() const { return &Build(); }
    auto begin() const { return Build().begin(); }
    auto end() const { return Build().end(); }
    std::size_t size() const { return Build().size(); }
    // Membership, for set and map tables.
    template <typename Key>
    bool contains(const Key& key) const {
        return Build().find(key) != Build().end();
    }
};

}  // namespace kelvor
