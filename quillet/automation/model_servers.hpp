#pragma once
// Which running processes are model servers (Ollama, llama.cpp's server, LM Studio, vLLM, MLX and
// their like), told from the executable's name and the command line alone.
#include <string>
#include <string_view>
#include <vector>

#include "quillet/platform/procs.hpp"

namespace kelvor {

// One kind of model server: how its processes are recognised, and how it is told to let go.
struct ModelServerKind {
    std::string_view name;  // "Ollama"
    // Executable or script names (lower case) that are this server, when one of `subcommands`
    // follows on the command line (none listed: the name alone is enough).
    std::vector<std::string_view> programs = {};
    std::vector<std::string_view> subcommands = {};
    // Python modules run with "-m" that are this server (a module or its submodules).
    std::vector<std::string_view> modules = {};
    // Lower-case pieces of the path of what runs (the executable, or the script an interpreter
    // runs) that only this server has: the folder it is installed in.
    std::vector<std::string_view> markers = {};
    // The tool's own ways to make it let go of its models, most gentle first. The process's
    // own kill is not listed here: every server has it last.
    std::vector<std::string_view> stopCommands = {};
};

// Where a stop command needs the name of a loaded model ("ollama stop <model>").
inline constexpr std::string_view MODEL_PLACEHOLDER = "<model>";

// Every kind this report knows, most specific first. Built once, never changed.
extern const std::vector<ModelServerKind> MODEL_SERVER_KINDS;

// The kind `proc` is, from `kinds`; null for any other process.
const ModelServerKind* recogniseModelServer(const Proc& proc,
                                            const std::vector<ModelServerKind>& kinds = MODEL_SERVER_KINDS);

// The commands that stop a server of `kind` running as `pid`: the tool's own, then "kill <pid>".
// A command with MODEL_PLACEHOLDER is given once per name in `modelNames`, or kept as it is
// when there are none. The names must already be safe to paste into a shell.
std::vector<std::string> stopCommandsFor(const ModelServerKind& kind, std::int32_t pid,
                                         const std::vector<std::string>& modelNames = {});

}  // namespace kelvor
