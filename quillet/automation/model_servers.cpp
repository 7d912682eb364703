#include "quillet/automation/model_servers.hpp"

#include <algorithm>

#include "quillet/platform/path_parts.hpp"

namespace kelvor {

// One table so that a new server is one row and no code: the names, modules and markers come
// from each project's own documentation and packaging, and the stop commands are the ones each
// tool documents (Ollama: "ollama stop" unloads a model, the Linux installer's unit is
// "ollama.service"; LM Studio: "lms unload --all", "lms server stop"; LocalAI's installer writes
// "local-ai.service"). Servers without a command of their own (llama.cpp, vLLM, MLX, koboldcpp,
// text-generation-webui, SGLang) shut down cleanly on SIGTERM, the kill that every row ends with.
const std::vector<ModelServerKind> MODEL_SERVER_KINDS = {
    {.name = "Ollama",
     .programs = {"ollama"},
     .subcommands = {"serve", "runner"},
     .stopCommands = {"ollama ps", "ollama stop <model>", "sudo systemctl stop ollama"}},
    {.name = "LM Studio",
     .programs = {"lm studio", "lm-studio", "lmstudio", "llmster"},
     .markers = {"/lm studio.app/", "/.lmstudio/", "/.cache/lm-studio/", "lm-studio.appimage"},
     .stopCommands = {"lms unload --all", "lms server stop"}},
    {.name = "llama.cpp server",
     .programs = {"llama-server", "llama-cpp-server", "llama.cpp-server"},
     .modules = {"llama_cpp.server"}},
    {.name = "llamafile", .programs = {"llamafile"}, .markers = {".llamafile"}},
    {.name = "vLLM", .programs = {"vllm"}, .subcommands = {"serve"}, .modules = {"vllm.entrypoints"}},
    {.name = "MLX", .programs = {"mlx_lm.server", "mlx_vlm.server"}, .modules = {"mlx_lm.server", "mlx_vlm.server"}},
    {.name = "SGLang", .modules = {"sglang.launch_server"}},
    {.name = "Text Generation Inference", .programs = {"text-generation-launcher", "text-generation-server"}},
    {.name = "text-generation-webui", .markers = {"text-generation-webui", "text_generation_webui"}},
    {.name = "koboldcpp", .programs = {"koboldcpp", "koboldcpp.py", "koboldcpp-linux-x64", "koboldcpp-mac-arm64"}},
    {.name = "LocalAI", .programs = {"local-ai", "localai"}, .stopCommands = {"sudo systemctl stop local-ai"}},
    {.name = "GPT4All", .programs = {"gpt4all"}, .markers = {"/gpt4all/bin/", "gpt4all.app/"}},
};

namespace {

std::string lower(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return out;
}

std::vector<std::string> words(std::string_view text) {
    std::vector<std::string> out;
    size_t at = 0;
    while (at < text.size()) {
        size_t end = text.find(' ', at);
        if (end == std::string_view::npos) end = text.size();
        if (end > at) out.push_back(lower(text.substr(at, end - at)));
        at = end + 1;
    }
    return out;
}

// "python", "python3", "python3.12", "node": programs that run the script named after them.
bool isInterpreter(std::string_view name) {
    return name == "node" || name == "bun" || name == "uv" || name.starts_with("python");
}

bool contains(const std::vector<std::string_view>& list, std::string_view value) {
    return std::find(list.begin(), list.end(), value) != list.end();
}

// A word that names the running program (the executable, the first argument, the script an
// interpreter runs), its base name, and the index of the argument after it.
struct Program {
    std::string word;
    std::string name;
    size_t next = 0;
};

std::vector<Program> programsOf(const Proc& proc, const std::vector<std::string>& argv) {
    std::vector<Program> programs;
    if (!proc.path.empty()) programs.push_back({lower(proc.path), lower(nameIn(proc.path)), 1});
    if (argv.empty()) return programs;
    programs.push_back({argv[0], std::string(nameIn(argv[0])), 1});
    if (!isInterpreter(programs.back().name)) return programs;
    for (size_t i = 1; i < argv.size(); ++i) {
        if (argv[i] == "-m" || argv[i] == "-c") break;  // a module or inline code, not a script
        if (argv[i].starts_with('-')) continue;
        if (argv[i] == "run") continue;  // "uv run <script>"
        programs.push_back({argv[i], std::string(nameIn(argv[i])), i + 1});
        break;
    }
    return programs;
}

bool moduleMatches(const std::vector<std::string>& argv, const ModelServerKind& kind) {
    for (size_t i = 0; i + 1 < argv.size(); ++i) {
        if (argv[i] != "-m") continue;
        const std::string& module = argv[i + 1];
        for (std::string_view wanted : kind.modules)
            if (module == wanted || (module.starts_with(wanted) && module[wanted.size()] == '.')) return true;
    }
    return false;
}

bool programMatches(const std::vector<Program>& programs, const std::vector<std::string>& argv,
                    const ModelServerKind& kind) {
    for (const Program& program : programs) {
        if (!contains(kind.programs, program.name)) continue;
        if (kind.subcommands.empty()) return true;
        for (size_t i = program.next; i < argv.size(); ++i)
            if (contains(kind.subcommands, argv[i])) return true;
    }
    return false;
}

}  // namespace

const ModelServerKind* recogniseModelServer(const Proc& proc, const std::vector<ModelServerKind>& kinds) {
    if (proc.args.empty() && proc.path.empty()) return nullptr;  // a kernel thread
    const std::vector<std::string> argv = words(proc.args);
    const std::vector<Program> programs = programsOf(proc, argv);
    for (const ModelServerKind& kind : kinds) {
        if (programMatches(programs, argv, kind) || moduleMatches(argv, kind)) return &kind;
        // Markers are looked for in what runs, never in the other arguments: an editor or a grep
        // with a server's folder on its command line is not that server.
        for (std::string_view marker : kind.markers)
            for (const Program& program : programs)
                if (program.word.find(marker) != std::string::npos) return &kind;
    }
    return nullptr;
}

std::vector<std::string> stopCommandsFor(const ModelServerKind& kind, std::int32_t pid,
                                         const std::vector<std::string>& modelNames) {
    std::vector<std::string> commands;
    for (std::string_view command : kind.stopCommands) {
        size_t at = command.find(MODEL_PLACEHOLDER);
        if (at == std::string_view::npos || modelNames.empty()) {
            commands.emplace_back(command);
            continue;
        }
        for (const std::string& name : modelNames)
            commands.push_back(std::string(command.substr(0, at)) + name +
                               std::string(command.substr(at + MODEL_PLACEHOLDER.size())));
    }
    commands.push_back("kill " + std::to_string(pid));
    return commands;
}

}  // namespace kelvor
