#include "quillet/automation/resident_models.hpp"

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>
#include <string_view>

#include "quillet/dupes/collectors.hpp"

namespace kelvor {

namespace {

// The formats model weights are shipped in; ".bin" also covers older PyTorch and GGML files.
constexpr std::array<std::string_view, 11> WEIGHT_EXTENSIONS = {
    ".gguf", ".ggml", ".safetensors", ".bin", ".pt", ".pth", ".ckpt", ".onnx", ".npz", ".mlmodel", ".llamafile"};

bool isSharedLibrary(std::string_view name) {
    return name.ends_with(".so") || name.find(".so.") != std::string_view::npos || name.ends_with(".dylib");
}

bool safeModelName(std::string_view name) {
    if (name.empty() || name.front() == '-') return false;
    return std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '_' ||
               c == ':' || c == '/' || c == '-';
    });
}

constexpr std::string_view UNREFERENCED = " (unreferenced blob)";
constexpr std::string_view NAME_SEPARATOR = ", ";

}  // namespace

std::vector<std::string> ollamaModelNames(const std::string& blobPath) {
    const std::filesystem::path blob(blobPath);
    if (blob.parent_path().filename() != "blobs") return {};
    const std::string modelsDir = blob.parent_path().parent_path().string();
    std::set<std::string> names;
    for (const ModelCopy& copy : collectOllamaCopies(modelsDir, 0)) {
        if (copy.path != blobPath || copy.label.ends_with(UNREFERENCED)) continue;
        std::string_view label = copy.label;
        while (!label.empty()) {
            size_t end = label.find(NAME_SEPARATOR);
            std::string_view name = label.substr(0, end);
            if (safeModelName(name)) names.emplace(name);
            label = end == std::string_view::npos ? std::string_view() : label.substr(end + NAME_SEPARATOR.size());
        }
    }
    return {names.begin(), names.end()};
}

bool isModelFile(const MappedFile& file) {
    std::string_view path = file.path;
    std::string_view name = path.substr(path.rfind('/') == std::string_view::npos ? 0 : path.rfind('/') + 1);
    for (std::string_view extension : WEIGHT_EXTENSIONS)
        if (name.size() > extension.size() && name.ends_with(extension)) return true;
    return file.bytes >= LARGE_MAPPED_FILE_BYTES && !file.executable && !isSharedLibrary(name);
}

RunningModelServers findRunningModelServers(ProcessTable& table, MemoryProbe& probe) {
    RunningModelServers found;
    Result<std::vector<Proc>> procs = table.list();
    if (!procs) {
        found.tableUnreadable = true;
        return found;
    }
    found.othersHidden = table.othersHidden();
    for (const Proc& proc : *procs) {
        const ModelServerKind* kind = recogniseModelServer(proc);
        if (!kind) continue;
        RunningModelServer server;
        server.proc = proc;
        server.kind = kind;
        Result<ProcessMemory> memory = probe.processMemory(proc.pid);
        if (!memory) {
            if (memory.error().kind == ErrorKind::notFound) continue;
            server.memoryUnreadable = true;
        } else {
            server.residentBytes = memory->residentBytes;
            server.modelFilesHidden = memory->mappedFilesHidden;
            for (const MappedFile& file : memory->mappedFiles)
                if (isModelFile(file)) server.modelFiles.push_back(file);
        }
        // Only Ollama names its weights apart from their files; every other server is stopped whole.
        std::vector<std::string> names;
        if (kind->name == "Ollama")
            for (const MappedFile& file : server.modelFiles)
                for (std::string& name : ollamaModelNames(file.path)) names.push_back(std::move(name));
        server.stopCommands = stopCommandsFor(*kind, proc.pid, names);
        found.servers.push_back(std::move(server));
    }
    std::stable_sort(found.servers.begin(), found.servers.end(),
                     [](const RunningModelServer& a, const RunningModelServer& b) { return a.residentBytes > b.residentBytes; });
    return found;
}

}  // namespace kelvor
