#include "quillet/platform/our_spawns.hpp"

#include <mutex>
#include <unordered_set>

namespace kelvor {

namespace {

struct Registry {
    std::mutex lock;
    std::unordered_set<int> pids;
};

Registry& registry() {
    static Registry shared;
    return shared;
}

}  // namespace

void OurSpawns::add(int pid) {
    Registry& r = registry();
    std::lock_guard hold(r.lock);
    r.pids.insert(pid);
}

void OurSpawns::remove(int pid) {
    Registry& r = registry();
    std::lock_guard hold(r.lock);
    r.pids.erase(pid);
}

bool OurSpawns::contains(int pid) {
    Registry& r = registry();
    std::lock_guard hold(r.lock);
    return r.pids.contains(pid);
}

std::vector<int> OurSpawns::all() {
    Registry& r = registry();
    std::lock_guard hold(r.lock);
    return {r.pids.begin(), r.pids.end()};
}

}  // namespace kelvor
