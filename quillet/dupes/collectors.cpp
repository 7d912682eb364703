#include "quillet/dupes/collectors.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>

#include <nlohmann/json.hpp>

#include "quillet/platform/dirs.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/trash.hpp"
#include "quillet/platform/workers.hpp"
#include "quillet/rules/location.hpp"
#include "quillet/scan/walker.hpp"

namespace kelvor {

const std::set<std::string, std::less<>> WILD_EXTENSIONS = {"gguf", "safetensors", "ckpt", "pt", "pth", "bin"};

namespace {

// The sweep is bound by the disk, not the processor: a few readers keep it busy.
constexpr int WILD_SWEEP_WORKERS = 4;

bool isHexDigest(std::string_view text) {
    return text.size() == 64 && text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::optional<struct stat> regularFile(const std::string& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
    return st;
}

std::vector<std::string> names(const std::string& folder) {
    std::vector<std::string> found;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
        found.push_back(it->path().filename().string());
    return found;
}

bool under(const std::string& path, const std::string& folder) {
    return !folder.empty() && path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 &&
           path[folder.size()] == '/';
}

}  // namespace

std::optional<ModelKind> sniffModelFile(const std::string& path) {
    int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    unsigned char head[16];
    ssize_t got = ::read(fd, head, sizeof head);
    ::close(fd);
    if (got < 16) return std::nullopt;
    if (std::memcmp(head, "GGUF", 4) == 0) return ModelKind::gguf;
    std::uint64_t headerLength = 0;
    for (int i = 7; i >= 0; --i) headerLength = (headerLength << 8) | head[i];
    if (headerLength >= 1 && headerLength <= 99'999'999 && head[8] == '{') return ModelKind::safetensors;
    return std::nullopt;
}

std::string ollamaModelsDir() {
    if (std::optional<std::string> set = env("OLLAMA_MODELS")) return *set;
    return homeDir() + "/.ollama/models";
}

std::string hfHubDir() {
    if (std::optional<std::string> set = env("HF_HUB_CACHE")) return *set;
    if (std::optional<std::string> set = env("HF_HOME")) return *set + "/hub";
    if (std::optional<std::string> set = env("XDG_CACHE_HOME")) return *set + "/huggingface/hub";
    return homeDir() + "/.cache/huggingface/hub";
}

bool inToolModelStore(const std::string& path) {
    return under(path, ollamaModelsDir()) || under(path, hfHubDir());
}

std::vector<ModelCopy> collectOllamaCopies(const std::string& modelsDir, std::uint64_t minBytes) {
    // Manifests live at manifests/<registry>/<namespace>/<model>/<tag>; each names its layers'
    // digests as "sha256:<hex>", and a blob's file name is "sha256-<hex>".
    std::map<std::string, std::set<std::string>> users;
    std::error_code error;
    std::string manifests = modelsDir + "/manifests";
    for (std::filesystem::recursive_directory_iterator it(manifests, error), end; !error && it != end;
         it.increment(error)) {
        if (!it->is_regular_file(error) || it->is_symlink(error)) continue;
        std::ifstream in(it->path());
        nlohmann::json manifest = nlohmann::json::parse(in, nullptr, false);
        if (!manifest.is_object()) continue;
        std::filesystem::path relative = it->path().lexically_relative(manifests);
        std::vector<std::string> parts;
        for (const auto& part : relative) parts.push_back(part.string());
        std::string name = parts.size() >= 2 ? parts[parts.size() - 2] + ":" + parts.back() : relative.string();
        if (parts.size() >= 3 && parts[parts.size() - 3] != "library") name = parts[parts.size() - 3] + "/" + name;
        std::vector<nlohmann::json> layers;
        if (auto config = manifest.find("config"); config != manifest.end()) layers.push_back(*config);
        if (auto list = manifest.find("layers"); list != manifest.end() && list->is_array())
            for (const auto& layer : *list) layers.push_back(layer);
        for (const auto& layer : layers) {
            if (!layer.is_object()) continue;
            auto digest = layer.find("digest");
            if (digest == layer.end() || !digest->is_string()) continue;
            std::string text = digest->get<std::string>();
            if (text.rfind("sha256:", 0) == 0) users[text.substr(7)].insert(name);
        }
    }
    std::vector<ModelCopy> copies;
    std::string blobs = modelsDir + "/blobs";
    for (const std::string& name : names(blobs)) {
        std::string path = blobs + "/" + name;
        std::optional<struct stat> st = regularFile(path);
        if (!st || static_cast<std::uint64_t>(st->st_size) < minBytes) continue;
        ModelCopy copy{path, static_cast<std::uint64_t>(st->st_size), ModelKind::ollamaBlob, name, {}, true};
        if (name.rfind("sha256-", 0) == 0 && isHexDigest(std::string_view(name).substr(7))) {
            copy.namedDigest = name.substr(7);
            auto found = users.find(*copy.namedDigest);
            if (found != users.end()) {
                std::string label;
                for (const std::string& user : found->second) label += (label.empty() ? "" : ", ") + user;
                copy.label = label;
            } else {
                copy.label = name + " (unreferenced blob)";
            }
        } else {
            copy.label = name + " (unreferenced blob)";
        }
        copies.push_back(copy);
    }
    return copies;
}

std::vector<ModelCopy> collectHFCopies(const std::string& hubDir, std::uint64_t minBytes) {
    // A cached repository is "models--<owner>--<name>" (or datasets--, spaces--) with its content
    // in "blobs/", each blob named by its digest.
    std::vector<ModelCopy> copies;
    for (const std::string& repo : names(hubDir)) {
        std::string::size_type cut = repo.find("--");
        if (cut == std::string::npos) continue;
        std::string label;
        for (std::string::size_type at = cut + 2; at < repo.size(); ++at) {
            if (repo.compare(at, 2, "--") == 0) {
                label += '/';
                ++at;
            } else {
                label += repo[at];
            }
        }
        std::string blobs = hubDir + "/" + repo + "/blobs";
        for (const std::string& name : names(blobs)) {
            std::string path = blobs + "/" + name;
            std::optional<struct stat> st = regularFile(path);
            if (!st || static_cast<std::uint64_t>(st->st_size) < minBytes) continue;
            ModelCopy copy{path, static_cast<std::uint64_t>(st->st_size), ModelKind::hfBlob, label, {}, true};
            if (isHexDigest(name)) copy.namedDigest = name;
            copies.push_back(copy);
        }
    }
    return copies;
}

std::vector<ModelCopy> collectWildCopies(const std::string& root, std::uint64_t minBytes,
                                         const std::function<bool(std::string_view)>& excluded) {
    const std::string trash = homeTrashFolder();
    auto skipped = [&](const std::string& path) {
        return path.find("/.Trash/") != std::string::npos || (path + "/").find("/.kelvor/") != std::string::npos ||
               path.find("/Library/Mobile Documents/") != std::string::npos || path == trash || under(path, trash) ||
               path.find("/.Trash-") != std::string::npos || inToolModelStore(path) || excluded(path);
    };
    std::mutex lock;
    std::vector<ModelCopy> copies;
    if (skipped(root)) return copies;
    WorkQueue queue({WorkItem{root}}, QueueOrder::depthFirst);
    auto work = [&](int) {
        std::vector<std::byte> buffer(BUF_SIZE);
        std::vector<ModelCopy> mine;
        while (std::optional<WorkItem> item = queue.pop()) {
            std::vector<WorkItem> found;
            std::uint64_t denied = 0, errors = 0;
            readDirBulk(item->path, buffer.data(), buffer.size(), denied, errors, [&](const BulkEntry& entry) {
                std::string path = childPath(item->path, entry.name);
                if (entry.objType == VDIR) {
                    if (!skipped(path)) found.push_back(WorkItem{path});
                    return;
                }
                if (entry.objType != VREG) return;
                std::string::size_type dot = entry.name.rfind('.');
                if (dot == std::string::npos || !WILD_EXTENSIONS.contains(std::string_view(entry.name).substr(dot + 1)))
                    return;
                if (skipped(path)) return;
                std::optional<struct stat> st = regularFile(path);
                if (!st || static_cast<std::uint64_t>(st->st_size) < minBytes) return;
                ModelKind kind = sniffModelFile(path).value_or(ModelKind::checkpoint);
                mine.push_back(ModelCopy{path, static_cast<std::uint64_t>(st->st_size), kind, entry.name, {}, false});
            }, EntryDetail::namesAndTypes);
            queue.finish(found);
        }
        std::lock_guard<std::mutex> hold(lock);
        copies.insert(copies.end(), mine.begin(), mine.end());
    };
    runWorkers(WILD_SWEEP_WORKERS, WORKER_STACK_BYTES, work);
    return copies;
}

}  // namespace kelvor
