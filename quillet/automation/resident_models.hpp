#pragma once
// The model servers running now, with what each holds resident and the model files it maps.
#include <cstdint>
#include <string>
#include <vector>

#include "quillet/automation/model_servers.hpp"
#include "quillet/platform/memory_probe.hpp"
#include "quillet/platform/procs.hpp"

namespace kelvor {

// Mapped files smaller than this are libraries and fonts, not weights, unless their extension
// says otherwise; Ollama's blobs carry no extension at all.
inline constexpr std::uint64_t LARGE_MAPPED_FILE_BYTES = 100ull * 1000 * 1000;

// True when `file` looks like model weights: a weights extension (".gguf", ".safetensors",
// ".bin", ".pt", …), or at least LARGE_MAPPED_FILE_BYTES and not a shared library.
bool isModelFile(const MappedFile& file);

// The models Ollama's manifests say use the blob at `blobPath` ("<models>/blobs/sha256-<hex>"),
// as "ollama stop" names them ("llama3.2:3b"). A name with anything but letters, digits and
// ". _ : / -" is left out: it comes from folder names on disk and ends up in a command a person
// may paste into a shell.
std::vector<std::string> ollamaModelNames(const std::string& blobPath);

struct RunningModelServer {
    Proc proc;
    const ModelServerKind* kind = nullptr;
    std::uint64_t residentBytes = 0;
    std::vector<MappedFile> modelFiles;
    std::vector<std::string> stopCommands;
    bool memoryUnreadable = false;     // its memory could not be read at all
    bool modelFilesHidden = false;     // its resident size is known, its mapped files are not
};

struct RunningModelServers {
    std::vector<RunningModelServer> servers;  // largest resident first
    bool tableUnreadable = false;              // the process table itself could not be read
    bool othersHidden = false;                 // other users' processes are hidden from this one
};

// Every recognised model server in `table`, measured through `probe`. A process that ends while
// it is measured is left out.
RunningModelServers findRunningModelServers(ProcessTable& table, MemoryProbe& probe);

}  // namespace kelvor
