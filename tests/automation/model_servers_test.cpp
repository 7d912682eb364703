#include <gtest/gtest.h>

#include "quillet/automation/model_servers.hpp"

namespace kelvor {
namespace {

TEST(ModelServers, ServersAreRecognisedByTheWayTheyAreStartedAndClientsOrLookalikesAreNot) {
    struct Case {
        const char* path;
        const char* args;
        const char* server;
    };
    // Command lines as each project's documentation or packaging starts its server.
    const Case cases[] = {
        {"/usr/local/bin/ollama", "/usr/local/bin/ollama serve", "Ollama"},
        {"/Applications/Ollama.app/Contents/Resources/ollama", "/Applications/Ollama.app/Contents/Resources/ollama serve",
         "Ollama"},
        {"/usr/local/bin/ollama",
         "/usr/local/bin/ollama runner --model /usr/share/ollama/.ollama/models/blobs/sha256-6a0746a1 --ctx-size 8192 --port 40151",
         "Ollama"},
        {"/opt/llama.cpp/build/bin/llama-server", "./llama-server -m models/qwen2.5-7b-q4_k_m.gguf --port 8080",
         "llama.cpp server"},
        {"/usr/bin/python3.11", "python3 -m llama_cpp.server --model ./mistral.gguf", "llama.cpp server"},
        {"/home/ana/.venv/bin/python3", "/home/ana/.venv/bin/python3 /home/ana/.venv/bin/vllm serve Qwen/Qwen2.5-7B",
         "vLLM"},
        {"/usr/bin/python3", "python -m vllm.entrypoints.openai.api_server --model meta-llama/Llama-3.1-8B", "vLLM"},
        {"/opt/homebrew/bin/python3.12", "/opt/homebrew/bin/python3.12 /Users/ana/.local/bin/mlx_lm.server --port 8080",
         "MLX"},
        {"/usr/bin/python3", "python -m mlx_lm.server --model mlx-community/Mistral-7B-4bit", "MLX"},
        {"/Applications/LM Studio.app/Contents/MacOS/LM Studio", "/Applications/LM Studio.app/Contents/MacOS/LM Studio",
         "LM Studio"},
        {"/home/ana/.lmstudio/extensions/backends/llama.cpp-linux-x86_64/llm-engine",
         "/home/ana/.lmstudio/extensions/backends/llama.cpp-linux-x86_64/llm-engine", "LM Studio"},
        {"/tmp/.mount_LM-StuA1b2/lm-studio", "/tmp/.mount_LM-StuA1b2/lm-studio --no-sandbox", "LM Studio"},
        {"/home/ana/text-generation-webui/installer_files/env/bin/python3.11", "python server.py --listen --api",
         "text-generation-webui"},
        {"/usr/bin/python3", "python3 koboldcpp.py --model mythomax.gguf --usecublas", "koboldcpp"},
        {"/home/ana/koboldcpp-linux-x64", "./koboldcpp-linux-x64 --model x.gguf", "koboldcpp"},
        {"/usr/bin/local-ai", "local-ai run --models-path /var/lib/local-ai/models", "LocalAI"},
        {"/home/ana/Mistral-7B-Instruct.llamafile", "./Mistral-7B-Instruct.llamafile --server", "llamafile"},
        {"/usr/bin/python3", "python3 -m sglang.launch_server --model-path Qwen/Qwen2.5-7B", "SGLang"},
        {"/usr/local/bin/text-generation-launcher", "text-generation-launcher --model-id bigscience/bloom-560m",
         "Text Generation Inference"},
        // An unreadable executable link (another user's process) still leaves the command line.
        {"", "/usr/local/bin/ollama serve", "Ollama"},
        // Ollama's client holds no weights: the server it talks to does.
        {"/usr/local/bin/ollama", "ollama run llama3.2", ""},
        {"/usr/local/bin/ollama", "ollama ps", ""},
        // The macOS menu-bar app starts "ollama serve"; it is not the server itself.
        {"/Applications/Ollama.app/Contents/MacOS/Ollama", "/Applications/Ollama.app/Contents/MacOS/Ollama", ""},
        {"/usr/bin/grep", "grep llama-server /var/log/syslog", ""},
        {"/usr/bin/vim", "vim /home/ana/text-generation-webui/server.py", ""},
        {"/usr/bin/less", "less /home/ana/.lmstudio/server-logs/2026-11.log", ""},
        {"/usr/bin/python3", "python3 -m vllm_tools.bench", ""},
        {"/usr/bin/python3", "python3 -c import vllm; print(vllm.__version__) serve", ""},
        {"/usr/bin/pip", "pip install vllm", ""},
        {"/usr/sbin/sshd", "sshd: ana@pts/0", ""},
        {"", "", ""},
    };
    for (const Case& each : cases) {
        const ModelServerKind* kind = recogniseModelServer(Proc{.pid = 4242, .path = each.path, .args = each.args});
        EXPECT_EQ(kind ? std::string(kind->name) : "", each.server) << each.path << " | " << each.args;
    }
}

TEST(ModelServers, EveryServerEndsWithItsOwnKill) {
    for (const ModelServerKind& kind : MODEL_SERVER_KINDS) {
        std::vector<std::string> commands = stopCommandsFor(kind, 917);
        ASSERT_FALSE(commands.empty()) << kind.name;
        EXPECT_EQ(commands.back(), "kill 917") << kind.name;
    }
    const ModelServerKind* ollama = recogniseModelServer(Proc{.path = "/usr/bin/ollama", .args = "ollama serve"});
    ASSERT_NE(ollama, nullptr);
    std::vector<std::string> commands = stopCommandsFor(*ollama, 12);
    EXPECT_NE(std::find(commands.begin(), commands.end(), "ollama stop <model>"), commands.end());
}

}  // namespace
}  // namespace kelvor
