#include "quillet/platform/workers.hpp"

#include <pthread.h>

#include <vector>

namespace kelvor {

namespace {

struct WorkerStart {
    const std::function<void(int)>* body;
    int index;
};

void* enterWorker(void* argument) {
    auto* start = static_cast<WorkerStart*>(argument);
    (*start->body)(start->index);
    return nullptr;
}

}  // namespace

// std::thread cannot choose its stack size; the walker's workers are deliberately small.
int runWorkers(int count, std::size_t stackBytes, const std::function<void(int)>& body) {
    if (count < 1) count = 1;
    std::vector<WorkerStart> starts(static_cast<std::size_t>(count));
    std::vector<pthread_t> threads;
    threads.reserve(starts.size());
    pthread_attr_t attributes;
    bool sized = pthread_attr_init(&attributes) == 0;
    if (sized && pthread_attr_setstacksize(&attributes, stackBytes) != 0) {
        pthread_attr_destroy(&attributes);
        sized = false;
    }
    for (int i = 0; i < count; ++i) {
        starts[static_cast<std::size_t>(i)] = {&body, static_cast<int>(threads.size())};
        pthread_t thread;
        if (pthread_create(&thread, sized ? &attributes : nullptr, enterWorker, &starts[static_cast<std::size_t>(i)]) == 0)
            threads.push_back(thread);
    }
    if (sized) pthread_attr_destroy(&attributes);
    if (threads.empty()) {
        body(0);
        return 1;
    }
    for (pthread_t thread : threads) pthread_join(thread, nullptr);
    return static_cast<int>(threads.size());
}

}  // namespace kelvor
