#include "quillet/dupes/model_copy.hpp"

#include <sys/stat.h>

namespace kelvor {

std::string_view modelKindName(ModelKind kind) {
    switch (kind) {
        case ModelKind::gguf: return "gguf";
        case ModelKind::safetensors: return "safetensors";
        case ModelKind::checkpoint: return "checkpoint";
        case ModelKind::ollamaBlob: return "ollama-blob";
        case ModelKind::hfBlob: return "hf-blob";
    }
    return "checkpoint";
}

std::optional<DupeIdentity> inoCtime(const std::string& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0) return std::nullopt;
    return DupeIdentity{static_cast<std::uint64_t>(st.st_ino), st.st_ctim.tv_sec, st.st_ctim.tv_nsec,
                        static_cast<std::uint64_t>(st.st_size)};
}

}  // namespace kelvor
