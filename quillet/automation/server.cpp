#include "quillet/automation/server.hpp"

#include <exception>
#include <utility>

#include "quillet/log/log.hpp"
#include "quillet/main/version.hpp"

namespace kelvor {

namespace {

// A JSON-RPC id is a string or a number; null is tolerated and echoed.
bool validId(const Json& id) { return id.is_string() || id.is_number() || id.is_null(); }

Json serverInfo() { return Json{{"name", MCP_SERVER_NAME}, {"version", PROGRAM_VERSION}}; }

Json supportedList() {
    Json list = Json::array();
    for (std::string_view version : SUPPORTED_PROTOCOLS) list.push_back(version);
    return list;
}

Json progressNotification(const Json& token, const OperationProgress& progress) {
    Json params{{"progressToken", token}, {"progress", progress.progress}};
    if (progress.total) params["total"] = *progress.total;
    if (!progress.message.empty()) params["message"] = progress.message;
    return Json{{"jsonrpc", "2.0"}, {"method", "notifications/progress"}, {"params", std::move(params)}};
}

}  // namespace

McpServer::McpServer(LineSink sink, int threads, std::span<const McpTool> tools)
    : sink_(std::move(sink)), threads_(threads), tools_(tools), worker_([this] { work(); }) {}

McpServer::~McpServer() { finish(); }

void McpServer::receive(std::string_view line) {
    Job job;
    const bool tooDeep = jsonNestingDepth(line) > MCP_MAX_NESTING;
    Json message = tooDeep ? Json() : Json::parse(line, nullptr, false);
    if (tooDeep) {
        job.error = mcpError(nullptr, MCP_INVALID_REQUEST, "request too deeply nested");
    } else if (message.is_discarded()) {
        job.error = mcpError(nullptr, MCP_PARSE_ERROR, "parse error");
    } else if (!message.is_object()) {
        job.error = mcpError(nullptr, MCP_INVALID_REQUEST, "invalid request");
    } else if (!message.contains("id")) {
        // A notification: never answered. Only a cancellation means anything to this server.
        if (message.value("method", Json()) == "notifications/cancelled") {
            const Json& params = message.contains("params") ? message["params"] : Json();
            if (params.is_object() && params.contains("requestId")) cancel(params["requestId"]);
        }
        return;
    } else if (!message.contains("method") && (message.contains("result") || message.contains("error"))) {
        return;  // a client's answer to a request; this server sends none, so it is not waited for
    } else {
        // Progress is reported only where the request asked for it with a token.
        OperationContext::ProgressSink sink;
        const Json& params = message.contains("params") ? message["params"] : Json();
        if (params.is_object() && params.contains("_meta") && params["_meta"].is_object() &&
            params["_meta"].contains("progressToken")) {
            Json token = params["_meta"]["progressToken"];
            if (token.is_string() || token.is_number())
                sink = [this, token](const OperationProgress& progress) { send(progressNotification(token, progress)); };
        }
        job.context = std::make_shared<OperationContext>(std::move(sink), threads_);
        job.message = std::move(message);
    }
    std::lock_guard<std::mutex> hold(lock_);
    queue_.push_back(std::move(job));
    wake_.notify_one();
}

void McpServer::receiveOversize() {
    Job job;
    job.error = mcpError(nullptr, MCP_INVALID_REQUEST, "request too large");
    std::lock_guard<std::mutex> hold(lock_);
    queue_.push_back(std::move(job));
    wake_.notify_one();
}

void McpServer::cancel(const Json& requestId) {
    std::lock_guard<std::mutex> hold(lock_);
    auto matches = [&](const Job& job) {
        return job.context && job.message.is_object() && job.message.contains("id") && job.message["id"] == requestId;
    };
    if (running_ && matches(*running_)) running_->context->cancel();
    for (Job& job : queue_)
        if (matches(job)) job.context->cancel();
}

void McpServer::finish() {
    {
        std::lock_guard<std::mutex> hold(lock_);
        finishing_ = true;
        wake_.notify_one();
    }
    if (worker_.joinable()) worker_.join();
}

void McpServer::work() {
    for (;;) {
        Job job;
        {
            std::unique_lock<std::mutex> hold(lock_);
            wake_.wait(hold, [&] { return finishing_ || !queue_.empty(); });
            if (queue_.empty()) return;
            job = std::move(queue_.front());
            queue_.pop_front();
            running_ = &job;
        }
        std::optional<Json> reply = answer(job);
        bool cancelled = job.context && job.context->cancelled();
        {
            std::lock_guard<std::mutex> hold(lock_);
            running_ = nullptr;
        }
        // A cancelled request gets no answer: the client has already stopped waiting for it.
        if (cancelled) KelvorLog::write("mcp", "a request was cancelled by the client");
        else if (reply) send(*reply);
    }
}

std::optional<Json> McpServer::answer(const Job& job) {
    if (job.error) return job.error;
    if (job.context->cancelled()) return std::nullopt;
    const Json& message = job.message;
    const Json& rawId = message["id"];
    if (!validId(rawId)) return mcpError(nullptr, MCP_INVALID_REQUEST, "invalid request");
    if (!message.contains("method") || !message["method"].is_string())
        return mcpError(rawId, MCP_INVALID_REQUEST, "invalid request");
    Json params = message.contains("params") ? message["params"] : Json::object();
    if (params.is_null()) params = Json::object();
    if (!params.is_object()) return mcpError(rawId, MCP_INVALID_PARAMS, "invalid params: params must be an object");
    if (params.contains("_meta") && params["_meta"].is_object() &&
        params["_meta"].contains(PROTOCOL_VERSION_META)) {
        const Json& announced = params["_meta"][std::string(PROTOCOL_VERSION_META)];
        if (!announced.is_string() || !isSupportedProtocol(announced.get_ref<const std::string&>()))
            return mcpError(rawId, MCP_UNSUPPORTED_PROTOCOL, "Unsupported protocol version",
                            Json{{"supported", supportedList()}, {"requested", announced}});
        modern_.store(true);
    }
    try {
        return dispatch(rawId, message["method"].get<std::string>(), params, *job.context);
    } catch (const std::exception& failure) {
        KelvorLog::write("mcp", std::string("internal error: ") + failure.what());
        return mcpError(rawId, MCP_INTERNAL_ERROR, "internal error");
    }
}

Json McpServer::dispatch(const Json& id, const std::string& method, const Json& params, OperationContext& context) {
    if (method == "initialize") {
        Json requested = params.contains("protocolVersion") ? params["protocolVersion"] : Json();
        return mcpResult(id,
                         Json{{"protocolVersion", negotiatedProtocol(requested)},
                              {"capabilities", {{"tools", Json::object()}}},
                              {"serverInfo", serverInfo()},
                              {"instructions", MCP_INSTRUCTIONS}},
                         era());
    }
    if (method == "server/discover") {
        return mcpResult(id,
                         Json{{"supportedVersions", supportedList()},
                              {"capabilities", {{"tools", Json::object()}}},
                              {"_meta", {{"io.modelcontextprotocol/serverInfo", serverInfo()}}},
                              {"instructions", MCP_INSTRUCTIONS}},
                         era());
    }
    if (method == "ping") return mcpResult(id, Json::object(), era());
    if (method == "tools/list") {
        Json tools = Json::array();
        for (const McpTool& tool : tools_) tools.push_back(toolListEntry(tool));
        Json result{{"tools", std::move(tools)}};
        if (era() == ProtocolEra::modern) {
            result["ttlMs"] = 3600000;
            result["cacheScope"] = "public";
        }
        return mcpResult(id, std::move(result), era());
    }
    if (method == "tools/call") return callTool(id, params, context);
    return mcpError(id, MCP_METHOD_NOT_FOUND, "method not found");
}

Json McpServer::callTool(const Json& id, const Json& params, OperationContext& context) {
    if (!params.contains("name") || !params["name"].is_string())
        return mcpError(id, MCP_INVALID_PARAMS, "invalid params: tools/call needs a tool name");
    const std::string& name = params["name"].get_ref<const std::string&>();
    const McpTool* tool = findMcpTool(tools_, name);
    if (!tool) return mcpError(id, MCP_INVALID_PARAMS, "unknown tool: " + name);
    Json arguments = params.contains("arguments") ? params["arguments"] : Json::object();
    if (!arguments.is_null() && !arguments.is_object())
        return mcpError(id, MCP_INVALID_PARAMS, "invalid params: arguments must be an object");
    Json read = readToolArguments(*tool, arguments);

    ToolOutcome outcome = tool->run ? tool->run(read, context) : toolNotBuilt(*tool, read);
    return mcpResult(id, textContent(std::move(outcome.payload), outcome.isError), era());
}

void McpServer::send(const Json& message) {
    std::string line = protocolLine(message);
    std::lock_guard<std::mutex> hold(sendLock_);
    sink_(line);
}

}  // namespace kelvor
