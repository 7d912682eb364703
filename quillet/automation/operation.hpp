#pragma once
// What a long automation request runs under: a way to report progress and a cancel flag that the
// work checks at its safe points. The server owns one per request; tools only read it.
#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace kelvor {

struct OperationProgress {
    double progress = 0;
    std::optional<double> total;
    std::string message;
};

class OperationContext {
public:
    using ProgressSink = std::function<void(const OperationProgress&)>;

    // `sink` receives the reports; without one, report() does nothing. `threads` is the worker
    // count scans may use (the command line's --threads).
    explicit OperationContext(ProgressSink sink = {}, int threads = 1);

    int threads() const { return threads_; }

    // True once the request was cancelled; work that sees it stops and returns what it has.
    bool cancelled() const { return cancelled_.load(std::memory_order_acquire); }
    // The flag itself, for loops (a walker) that poll it without knowing about requests.
    const std::atomic<bool>& cancelFlag() const { return cancelled_; }
    void cancel() { cancelled_.store(true, std::memory_order_release); }

    // Passes a report on when it moves forward: a progress that does not exceed the last one sent,
    // and any report after cancellation, is dropped, because clients require progress to rise.
    // Safe to call from any thread.
    void report(double progress, std::optional<double> total = std::nullopt, std::string message = {});

private:
    ProgressSink sink_;
    int threads_;
    std::atomic<bool> cancelled_{false};
    std::mutex reportLock_;
    std::optional<double> lastProgress_;
};

}  // namespace kelvor
