#pragma once
// Where candidate model files are found: Ollama's blob store, the HuggingFace hub cache, and a
// sweep of the scan root for loose model files.
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "quillet/dupes/model_copy.hpp"

namespace kelvor {

// File extensions the sweep looks at.
extern const std::set<std::string, std::less<>> WILD_EXTENSIONS;

// What the first 16 bytes of `path` say it is: gguf, safetensors, or none.
std::optional<ModelKind> sniffModelFile(const std::string& path);

// Ollama's models folder ($OLLAMA_MODELS or ~/.ollama/models) and the HuggingFace hub cache.
std::string ollamaModelsDir();
std::string hfHubDir();

// True when `path` lies inside one of the tool model stores the other collectors read.
bool inToolModelStore(const std::string& path);

// The blobs of `modelsDir`/blobs of at least `minBytes`, labelled with the models whose manifests
// name them.
std::vector<ModelCopy> collectOllamaCopies(const std::string& modelsDir, std::uint64_t minBytes);

// The blobs of every cached repository of `hubDir` of at least `minBytes`, labelled with the repository.
std::vector<ModelCopy> collectHFCopies(const std::string& hubDir, std::uint64_t minBytes);

// Loose model files of at least `minBytes` under `root`, found on four workers. Skips Trashes,
// the data folder, cloud-synced files, tool model stores and whatever `excluded` covers.
std::vector<ModelCopy> collectWildCopies(const std::string& root, std::uint64_t minBytes,
                                         const std::function<bool(std::string_view)>& excluded);

}  // namespace kelvor
