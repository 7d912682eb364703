#include "quillet/platform/workers.hpp"

#include <pthread.h>

#include <memory>
#include <vector>

namespace kelvor {

namespace {

struct WorkerStart {
    const std::function<void(int)>* body;
    int index;
};

void* enterWorker(void* argument) {
    std::unique_ptr<WorkerStart> start(static_cast<WorkerStart*>(argument));
    (*start->body)(start->index);
    return nullptr;
}

}  // namespace

struct WorkerGroup::Started {
    std::vector<pthread_t> threads;
};

WorkerGroup::WorkerGroup(std::size_t stackBytes, std::function<void(int)> body)
    : stackBytes_(stackBytes), body_(std::move(body)), started_(std::make_unique<Started>()) {}

WorkerGroup::~WorkerGroup() { join(); }

// std::thread cannot choose its stack size; the walker's workers are deliberately small.
int WorkerGroup::growTo(int count) {
    std::vector<pthread_t>& threads = started_->threads;
    if (joined_) return static_cast<int>(threads.size());
    pthread_attr_t attributes;
    bool sized = pthread_attr_init(&attributes) == 0;
    if (sized && pthread_attr_setstacksize(&attributes, stackBytes_) != 0) {
        pthread_attr_destroy(&attributes);
        sized = false;
    }
    while (!refused_ && static_cast<int>(threads.size()) < count) {
        auto* start = new WorkerStart{&body_, static_cast<int>(threads.size())};
        pthread_t thread;
        if (pthread_create(&thread, sized ? &attributes : nullptr, enterWorker, start) != 0) {
            delete start;
            refused_ = true;
            break;
        }
        threads.push_back(thread);
    }
    if (sized) pthread_attr_destroy(&attributes);
    return static_cast<int>(threads.size());
}

int WorkerGroup::join() {
    if (joined_) return 0;
    joined_ = true;
    const std::vector<pthread_t>& threads = started_->threads;
    if (threads.empty()) {
        body_(0);
        return 1;
    }
    for (pthread_t thread : threads) pthread_join(thread, nullptr);
    return static_cast<int>(threads.size());
}

int runWorkers(int count, std::size_t stackBytes, const std::function<void(int)>& body) {
    WorkerGroup group(stackBytes, body);
    group.growTo(count < 1 ? 1 : count);
    return group.join();
}

}  // namespace kelvor
