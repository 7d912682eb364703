#include "quillet/automation/tool_memory.hpp"

#include <algorithm>
#include <string>
#include <string_view>

#include "quillet/i18n/text.hpp"
#include "quillet/automation/resident_models.hpp"
#include "quillet/scan/fmt_bytes.hpp"

namespace kelvor {

namespace {

// A byte count as both the number and the form people read; null when it is not known.
void putBytes(Json& into, const std::string& key, const std::optional<std::uint64_t>& bytes) {
    if (!bytes) {
        into[key + "_bytes"] = nullptr;
        return;
    }
    into[key + "_bytes"] = *bytes;
    into[key + "_human"] = fmtBytes(*bytes);
}

// Servers take their API keys and tokens on the command line (llama-server and vLLM's
// --api-key, --hf-token); the assistant is told what runs, never those.
std::string withoutSecrets(std::string_view args) {
    constexpr std::string_view HIDDEN = "<hidden>";
    auto secretOption = [](std::string_view word) {
        if (!word.starts_with('-')) return false;
        std::string lowered(word.substr(0, word.find('=')));
        for (char& c : lowered)
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        for (std::string_view secret : {"key", "token", "secret", "password", "passwd", "auth"})
            if (lowered.find(secret) != std::string::npos) return true;
        return false;
    };
    std::string out;
    bool hideNext = false;
    size_t at = 0;
    for (;;) {
        size_t end = std::min(args.find(' ', at), args.size());
        std::string_view word = args.substr(at, end - at);
        if (at > 0) out += ' ';
        if (hideNext && !word.empty()) {
            out += HIDDEN;
            hideNext = false;
        } else if (secretOption(word) && word.find('=') != std::string_view::npos) {
            out += word.substr(0, word.find('=') + 1);
            out += HIDDEN;
        } else {
            hideNext = hideNext || secretOption(word);
            out += word;
        }
        if (end == args.size()) break;
        at = end + 1;
    }
    return out;
}

Json pressureOf(const MemorySnapshot& snapshot) {
    Json pressure{{"verdict", pressureVerdictName(snapshot.verdict)}};
    if (snapshot.someAverage10) pressure["some_avg10_percent"] = *snapshot.someAverage10;
    if (snapshot.fullAverage10) pressure["full_avg10_percent"] = *snapshot.fullAverage10;
    return pressure;
}

Json serverOf(const RunningModelServer& server) {
    Json entry{{"pid", server.proc.pid}, {"server", server.kind->name}, {"executable", server.proc.path},
               {"command_line", withoutSecrets(server.proc.args)}};
    if (server.memoryUnreadable) {
        entry["resident_bytes"] = nullptr;
    } else {
        putBytes(entry, "resident", server.residentBytes);
    }
    Json files = Json::array();
    for (const MappedFile& file : server.modelFiles)
        files.push_back(Json{{"path", file.path}, {"bytes", file.bytes}, {"human", fmtBytes(file.bytes)}});
    entry["mapped_model_files"] = std::move(files);
    if (server.memoryUnreadable || server.modelFilesHidden) entry["mapped_files_unreadable"] = true;
    entry["stop_commands"] = server.stopCommands;
    return entry;
}

}  // namespace

Json toolMemory(MemoryProbe& probe, ProcessTable& table) {
    const MemorySnapshot snapshot = probe.snapshot();
    Json payload;
    payload["pressure"] = pressureOf(snapshot);
    Json memory = Json::object();
    putBytes(memory, "total", snapshot.totalBytes);
    putBytes(memory, "available", snapshot.availableBytes);
    payload["memory"] = std::move(memory);
    Json swap = Json::object();
    putBytes(swap, "total", snapshot.swapTotalBytes);
    putBytes(swap, "used", snapshot.swapUsedBytes);
    payload["swap"] = std::move(swap);
    Json compressed{{"kind", compressorKindName(snapshot.compressor)}};
    putBytes(compressed, "occupies", snapshot.compressedBytes);
    putBytes(compressed, "holds", snapshot.compressedOriginalBytes);
    payload["compressed"] = std::move(compressed);

    const RunningModelServers found = findRunningModelServers(table, probe);
    Json servers = Json::array();
    std::uint64_t resident = 0;
    for (const RunningModelServer& server : found.servers) {
        servers.push_back(serverOf(server));
        resident += server.residentBytes;
    }
    payload["model_servers"] = std::move(servers);
    putBytes(payload, "model_servers_resident", resident);

    std::string briefing = trf(S::memoryBriefing);
    if (found.tableUnreadable) {
        payload["process_table_unreadable"] = true;
        briefing += " " + trf(S::memoryProcessesUnreadable);
    } else if (found.servers.empty()) {
        briefing += " " + trf(S::memoryNoServers);
    } else {
        briefing += " " + trf(S::memoryServersAdvice);
    }
    if (found.othersHidden) {
        payload["other_users_processes_hidden"] = true;
        briefing += " " + trf(S::memoryOthersHidden);
    }
    if (snapshot.verdict == PressureVerdict::unknown) briefing += " " + trf(S::memoryNoVerdict);
    payload["for_the_assistant"] = briefing;
    return payload;
}

Json toolMemory() { return toolMemory(MemoryProbe::real(), ProcessTable::real()); }

}  // namespace kelvor
