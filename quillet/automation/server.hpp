#pragma once
// The automation server's dispatcher: it takes protocol lines as they are read and answers them
// in arrival order on one worker thread, so the reading side stays free to see a cancellation
// while a long request runs.
#include <atomic>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string_view>
#include <thread>

#include "quillet/automation/operation.hpp"
#include "quillet/automation/protocol.hpp"
#include "quillet/automation/tools.hpp"

namespace kelvor {

// Receives each outgoing message as one line of JSON without its newline, one call at a time.
using LineSink = std::function<void(const std::string& line)>;

class McpServer {
public:
    // `tools` must outlive the server (MCP_TOOLS, or a test's own table).
    McpServer(LineSink sink, int threads, std::span<const McpTool> tools = MCP_TOOLS);
    ~McpServer();
    McpServer(const McpServer&) = delete;
    McpServer& operator=(const McpServer&) = delete;

    // One input line as read. A "notifications/cancelled" takes effect here at once; everything
    // else is queued and answered in order.
    void receive(std::string_view line);
    // A line that was longer than the limit.
    void receiveOversize();
    // Answers everything received so far, then stops the worker. Idempotent.
    void finish();

    ProtocolEra era() const { return modern_.load() ? ProtocolEra::modern : ProtocolEra::legacy; }

private:
    struct Job {
        Json message;                              // the parsed request, or null with `error` set
        std::optional<Json> error;                 // an answer decided while reading
        std::shared_ptr<OperationContext> context; // set for requests
    };

    void work();
    void cancel(const Json& requestId);
    std::optional<Json> answer(const Job& job);
    Json dispatch(const Json& id, const std::string& method, const Json& params, OperationContext& context);
    Json callTool(const Json& id, const Json& params, OperationContext& context);
    void send(const Json& message);

    LineSink sink_;
    int threads_;
    std::span<const McpTool> tools_;
    std::atomic<bool> modern_{false};

    std::mutex lock_;
    std::condition_variable wake_;
    std::deque<Job> queue_;
    Job* running_ = nullptr;  // the job being answered, guarded by lock_
    bool finishing_ = false;
    std::mutex sendLock_;
    std::thread worker_;
};

}  // namespace kelvor
