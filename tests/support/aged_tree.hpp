#pragma once
// Sets every time in a tree three hours back, so the guard against recent writes leaves it alone.
#include <chrono>
#include <filesystem>
#include <string>

namespace kelvor::testing {

inline void ageTree(const std::string& root) {
    namespace fs = std::filesystem;
    const auto old = fs::file_time_type::clock::now() - std::chrono::hours(3);
    // A link's time would be set on what it points to, possibly outside the tree.
    for (const auto& entry : fs::recursive_directory_iterator(root))
        if (!entry.is_symlink()) fs::last_write_time(entry.path(), old);
    fs::last_write_time(root, old);
}

}  // namespace kelvor::testing
