#include "quillet/automation/operation.hpp"

#include <utility>

namespace kelvor {

OperationContext::OperationContext(ProgressSink sink, int threads) : sink_(std::move(sink)), threads_(threads) {}

void OperationContext::report(double progress, std::optional<double> total, std::string message) {
    if (!sink_ || cancelled()) return;
    std::lock_guard<std::mutex> hold(reportLock_);
    if (lastProgress_ && progress <= *lastProgress_) return;
    lastProgress_ = progress;
    sink_(OperationProgress{progress, total, std::move(message)});
}

}  // namespace kelvor
