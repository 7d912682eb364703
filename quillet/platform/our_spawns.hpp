#pragma once
// The processes Kelvor itself started and has not yet reaped, so that a check over the process
// table can tell them from the person's own programs. Safe to use from any thread.
#include <vector>

namespace kelvor {

class OurSpawns {
public:
    // Records `pid` as started by this process.
    static void add(int pid);
    // Forgets `pid`: call it once the child is reaped, since its number may then be reused.
    static void remove(int pid);
    // True while `pid` is recorded.
    static bool contains(int pid);
    // Every recorded pid, in no particular order.
    static std::vector<int> all();
};

}  // namespace kelvor
