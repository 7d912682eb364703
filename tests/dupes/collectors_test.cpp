// Where candidates come from: what a file's first bytes say, the stores' labels, and what the sweep
// never looks at.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "quillet/dupes/collectors.hpp"
#include "tests/support/temp_home.hpp"

namespace kelvor {
namespace {

namespace fs = std::filesystem;
using testing::TempHome;
constexpr auto write = testing::writeFile;

std::string safetensorsHead(std::uint64_t headerLength) {
    std::string bytes(8, '\0');
    for (int i = 0; i < 8; ++i) bytes[i] = static_cast<char>((headerLength >> (8 * i)) & 0xff);
    return bytes + "{\"__metadata__\":{}}";
}

TEST(SniffModelFile, TellsGgufAndSafetensorsApartFromEverythingElse) {
    TempHome home;
    const std::pair<std::string, std::optional<ModelKind>> cases[] = {
        {"GGUF" + std::string(20, '\x03'), ModelKind::gguf},
        {safetensorsHead(123), ModelKind::safetensors},
        {safetensorsHead(99'999'999), ModelKind::safetensors},
        {safetensorsHead(100'000'000), std::nullopt},  // a header that long is not a header
        {safetensorsHead(0), std::nullopt},
        {std::string(8, '\x05') + "[not a header..", std::nullopt},
        {"GGUF short", std::nullopt},  // shorter than 16 bytes
        {"PK\x03\x04 pickle zip archive", std::nullopt},
    };
    for (const auto& [bytes, kind] : cases) {
        write(home / "f", bytes);
        EXPECT_EQ(sniffModelFile(home / "f"), kind) << bytes;
    }
    EXPECT_EQ(sniffModelFile(home / "missing"), std::nullopt);
}

TEST(CollectOllamaCopies, LabelsBlobsWithTheModelsThatNameThemAndMarksTheRest) {
    TempHome home;
    std::string used(64, 'a');
    std::string unused(64, 'b');
    write(home / "models/blobs/sha256-" + used, std::string(4000, 'x'));
    write(home / "models/blobs/sha256-" + unused, std::string(4000, 'y'));
    write(home / "models/blobs/sha256-" + std::string(64, 'c'), "tiny");
    write(home / "models/manifests/registry.ollama.ai/library/llama3/8b",
          R"({"layers":[{"digest":"sha256:)" + used + R"("}]})");
    write(home / "models/manifests/registry.ollama.ai/someone/coder/latest", "not json at all");
    std::vector<ModelCopy> copies = collectOllamaCopies(home / "models", 1000);
    ASSERT_EQ(copies.size(), 2u) << "the blob under the minimum size is left out";
    std::sort(copies.begin(), copies.end(), [](const auto& a, const auto& b) { return a.path < b.path; });
    EXPECT_EQ(copies[0].label, "llama3:8b");
    EXPECT_EQ(copies[0].namedDigest, used);
    EXPECT_TRUE(copies[0].inToolStore);
    EXPECT_EQ(copies[0].kind, ModelKind::ollamaBlob);
    EXPECT_TRUE(copies[1].label.ends_with(" (unreferenced blob)")) << copies[1].label;
}

TEST(CollectHFCopies, LabelsBlobsWithTheirRepository) {
    TempHome home;
    std::string digest(64, 'd');
    write(home / "hub/models--meta-llama--Llama-3.1-8B/blobs/" + digest, std::string(3000, 'z'));
    fs::create_directories(home / "hub/models--meta-llama--Llama-3.1-8B/snapshots/main");
    fs::create_symlink("../../blobs/" + digest, home / "hub/models--meta-llama--Llama-3.1-8B/snapshots/main/model.gguf");
    write(home / "hub/version.txt", "1");
    std::vector<ModelCopy> copies = collectHFCopies(home / "hub", 1000);
    ASSERT_EQ(copies.size(), 1u) << "a snapshot link is not a second copy";
    EXPECT_EQ(copies[0].label, "meta-llama/Llama-3.1-8B");
    EXPECT_EQ(copies[0].namedDigest, digest);
    EXPECT_EQ(copies[0].kind, ModelKind::hfBlob);
}

TEST(CollectWildCopies, FindsLooseModelsAndSkipsTrashesDataStoresAndExclusions) {
    TempHome home;
    home.setEnv("OLLAMA_MODELS", home / "ollama");
    std::string model = "GGUF" + std::string(2000, 'q');
    write(home / "work/a.gguf", model);
    write(home / "work/deep/b.pth", std::string(2000, 'p'));
    write(home / "work/notes.txt", model);
    write(home / "work/small.gguf", "GGUF tiny but 16+");
    write(home / ".local/share/Trash/files/c.gguf", model);
    write(home / "mnt/.Trash/d.gguf", model);
    write(home / ".kelvor/e.gguf", model);
    write(home / "Library/Mobile Documents/f.gguf", model);
    write(home / "ollama/blobs/g.bin", model);
    write(home / "private/h.gguf", model);
    fs::create_symlink(home / "work", home / "link");
    std::vector<ModelCopy> copies = collectWildCopies(home.path(), 1000, [&](std::string_view path) {
        return path == home / "private";
    });
    std::vector<std::string> paths;
    for (const ModelCopy& copy : copies) {
        paths.push_back(copy.path);
        EXPECT_FALSE(copy.inToolStore);
    }
    std::sort(paths.begin(), paths.end());
    EXPECT_EQ(paths, (std::vector<std::string>{home / "work/a.gguf", home / "work/deep/b.pth"}));
    for (const ModelCopy& copy : copies)
        EXPECT_EQ(copy.kind, copy.path.ends_with(".gguf") ? ModelKind::gguf : ModelKind::checkpoint) << copy.path;
}

}  // namespace
}  // namespace kelvor
