#pragma once
// What Kelvor keeps about itself in the data folder: the records and caches that can be cleared
// without losing anything of the person's, and what is kept because it holds their decisions or
// their way back to removed data.
#include <cstdint>
#include <string>
#include <vector>

namespace kelvor {

// One file, or a group of files shown as one line.
struct ForgettableItem {
    std::string path;                // the file, or the folder holding the group
    std::string label;               // in the current language
    std::uint64_t bytes = 0;         // size on disk
    std::vector<std::string> files;  // exactly the files clearing deletes
};

// Something kept and never offered, with why.
struct KeptEntry {
    std::string label;
    std::string why;
};

struct Forgettable {
    std::vector<ForgettableItem> items;
    std::vector<KeptEntry> keeping;
};

// The forgettable items present in the data folder now, and the kept entries.
Forgettable forgettable();

struct ForgetFailure {
    std::string path;
    std::string reason;
};

struct ForgetOutcome {
    std::uint64_t freed = 0;
    std::vector<ForgetFailure> failed;
};

// Deletes each item's files, and nothing else: a file that is no longer a plain file is left and
// reported. One failure does not stop the others.
ForgetOutcome clearForgetItems(const std::vector<ForgettableItem>& items);

}  // namespace kelvor
