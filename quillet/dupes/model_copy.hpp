#pragma once
// The candidates of the duplicate finder and the groups of byte-identical copies it proves.
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelvor {

enum class ModelKind { gguf, safetensors, checkpoint, ollamaBlob, hfBlob };

// The stored form of a kind ("ollama-blob", …).
std::string_view modelKindName(ModelKind kind);

// One candidate file.
struct ModelCopy {
    std::string path;
    std::uint64_t bytes = 0;
    ModelKind kind = ModelKind::checkpoint;
    std::string label;                       // the store's model name, or the file name
    std::optional<std::string> namedDigest;  // the SHA-256 the store's naming claims
    bool inToolStore = false;
};

// What a copy was when it was compared; equal only when all four fields are.
struct DupeIdentity {
    std::uint64_t ino = 0;
    std::int64_t ctime = 0;
    std::int64_t ctimeNsec = 0;
    std::uint64_t size = 0;

    bool operator==(const DupeIdentity&) const = default;
};

// The identity of the file at `path` now (by lstat); none when it cannot be read.
std::optional<DupeIdentity> inoCtime(const std::string& path);

struct DupeGroup {
    std::string digest;
    std::uint64_t bytes = 0;
    std::vector<ModelCopy> copies;  // keeper first
    std::map<std::string, DupeIdentity> identities;

    // The bytes of every copy but the keeper.
    std::uint64_t reclaimable() const { return copies.size() < 2 ? 0 : bytes * (copies.size() - 1); }
};

}  // namespace kelvor
