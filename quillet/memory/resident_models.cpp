#include "quillet/memory/resident_models.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace kelvor {

namespace {

// The formats model weights are shipped in; ".bin" also covers older PyTorch and GGML files.
constexpr std::array<std::string_view, 11> WEIGHT_EXTENSIONS = {
    ".gguf", ".ggml", ".safetensors", ".bin", ".pt", ".pth", ".ckpt", ".onnx", ".npz", ".mlmodel", ".llamafile"};

bool isSharedLibrary(std::string_view name) {
    return name.ends_with(".so") || name.find(".so.") != std::string_view::npos || name.ends_with(".dylib");
}

}  // namespace

bool isModelFile(const MappedFile& file) {
    std::string_view path = file.path;
    std::string_view name = path.substr(path.rfind('/') == std::string_view::npos ? 0 : path.rfind('/') + 1);
    for (std::string_view extension : WEIGHT_EXTENSIONS)
        if (name.size() > extension.size() && name.ends_with(extension)) return true;
    return file.bytes >= LARGE_MAPPED_FILE_BYTES && !isSharedLibrary(name);
}

RunningModelServers findRunningModelServers(ProcessTable& table, MemoryProbe& probe) {
    RunningModelServers found;
    Result<std::vector<Proc>> procs = table.list();
    if (!procs) {
        found.tableUnreadable = true;
        return found;
    }
    for (const Proc& proc : *procs) {
        const ModelServerKind* kind = recogniseModelServer(proc);
        if (!kind) continue;
        RunningModelServer server;
        server.proc = proc;
        server.kind = kind;
        server.stopCommands = stopCommandsFor(*kind, proc.pid);
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
        found.servers.push_back(std::move(server));
    }
    std::stable_sort(found.servers.begin(), found.servers.end(),
                     [](const RunningModelServer& a, const RunningModelServer& b) { return a.residentBytes > b.residentBytes; });
    return found;
}

}  // namespace kelvor
