#pragma once
// The Trash as a whole: its entries, those other programs put there (`TrashOther`), and what may
// be done with them.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace kelvor {

// A Trash entry that Kelvor did not put there.
struct TrashOther {
    std::string id;                     // its path in the Trash
    std::uint64_t size = 0;             // allocated bytes
    std::string date;                   // when it was trashed as its record says, else its change time
    std::optional<std::string> origin;  // where the OS's record says it came from
};

// Every entry of every Trash folder, the home Trash first.
std::vector<std::string> trashContents();

// True when the entry at `path` carries Kelvor's mark and the Trash's record agrees with it.
bool isKelvorEntry(const std::string& path);

// The entries Kelvor did not move, leaving out `known` paths, at most `limit` of them.
std::vector<TrashOther> trashOthers(const std::set<std::string>& known, std::size_t limit);

// How many entries of the Trash Kelvor did not move.
std::size_t trashForeignCount();

// What putBackOther and deleteOther did: the report line, and whether it was done.
struct TrashAction {
    bool done = false;
    std::string message;
};

// Puts a foreign entry back where the Trash's record says it came from; never over anything.
TrashAction putBackOther(const TrashOther& item);

// Deletes a foreign entry for good; refuses anything that is not an entry of a Trash.
TrashAction deleteOther(const TrashOther& item);

// Deletes from the home Trash only the entries Kelvor moved there; returns how many went.
std::size_t emptyHomeTrash();

}  // namespace kelvor
