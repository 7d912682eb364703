#include "quillet/guards/owner_guards.hpp"

namespace kelvor {

// Linux paths: the Debian packages and tarballs' install folders, "/snap/<name>/" for Snaps and the
// "/app/..." paths that a Flatpak's processes show from inside their sandbox. AppImages run from a
// "/tmp/.mount_<Name>" folder.
const std::vector<OwnerGuard> OWNER_GUARDS = {
    // Apps.
    {.owner = "VS Code",
     .appFragments = {"Visual Studio Code.app", "Code Helper"},
     .linuxAppFragments = {"/usr/share/code/", "/snap/code/", "/app/extra/vscode/", "/opt/visual-studio-code/"}},
    {.owner = "Cursor",
     .appFragments = {"Cursor.app"},
     .linuxAppFragments = {"/usr/share/cursor/", "/opt/Cursor/", "/opt/cursor/", "/.mount_Cursor"}},
    {.owner = "Windsurf",
     .appFragments = {"Windsurf.app"},
     .linuxAppFragments = {"/usr/share/windsurf/", "/opt/Windsurf/", "/app/extra/windsurf/"}},
    {.owner = "Zed",
     .appFragments = {"Zed.app", "Zed Preview.app"},
     .linuxAppFragments = {"/zed.app/libexec/", "/zed-preview.app/libexec/", "/app/libexec/zed-editor"}},
    {.owner = "Docker Desktop",
     .appFragments = {"Docker.app", "com.docker.backend", "com.docker.virtualization"},
     .linuxAppFragments = {"/opt/docker-desktop/"}},
    {.owner = "Docker",
     .appFragments = {"Docker.app", "com.docker.backend", "com.docker.virtualization"},
     .linuxAppFragments = {"/opt/docker-desktop/", "/usr/bin/dockerd", "/usr/bin/containerd", "/snap/docker/"}},
    {.owner = "UTM", .appFragments = {"UTM.app"}},
    {.owner = "Godot",
     .appFragments = {"Godot.app", "Godot_mono.app"},
     .linuxAppFragments = {"/Godot_v", "/usr/bin/godot", "/snap/godot", "/app/bin/godot"}},
    {.owner = "Postman",
     .appFragments = {"Postman.app"},
     .linuxAppFragments = {"/opt/Postman/", "/snap/postman/", "/Postman/app/", "/app/extra/Postman/"}},
    {.owner = "DBeaver",
     .appFragments = {"DBeaver.app"},
     .linuxAppFragments = {"/usr/share/dbeaver-ce/", "/opt/dbeaver/", "/snap/dbeaver-ce/", "/app/dbeaver/"}},
    {.owner = "Google Chrome",
     .appFragments = {"Google Chrome.app", "Google Chrome Helper"},
     .linuxAppFragments = {"/opt/google/chrome/", "/app/extra/chrome/"}},
    {.owner = "CapCut", .appFragments = {"CapCut.app"}},
    {.owner = "Claude Desktop", .appFragments = {"Claude.app"}, .linuxAppFragments = {"/usr/lib/claude-desktop/"}},
    {.owner = "ChatGPT", .appFragments = {"ChatGPT.app"}},
    {.owner = "Safari", .appFragments = {"Safari.app", "com.apple.WebKit.", "SafariBookmarksSyncAgent"}},

    // Apps that also ship a command.
    {.owner = "Ollama",
     .appFragments = {"Ollama.app", "/ollama"},
     .linuxAppFragments = {"/usr/local/bin/ollama", "/usr/bin/ollama", "/usr/local/lib/ollama/", "/snap/ollama/"},
     .toolNames = {"ollama"},
     .linuxServiceUser = "ollama"},
    {.owner = "LM Studio",
     .appFragments = {"LM Studio.app"},
     .linuxAppFragments = {"/.mount_LM-Stu", "/LM-Studio", "/lm-studio/"},
     .toolNames = {"lms"}},
    {.owner = "OrbStack", .appFragments = {"OrbStack.app"}, .toolNames = {"orb", "orbctl"}},
    {.owner = "Rancher Desktop",
     .appFragments = {"Rancher Desktop.app"},
     .linuxAppFragments = {"/opt/rancher-desktop/"},
     .toolNames = {"rdctl"}},
    {.owner = "VirtualBox",
     .appFragments = {"VirtualBox.app", "VirtualBoxVM.app"},
     .linuxAppFragments = {"/usr/lib/virtualbox/", "/opt/VirtualBox/"},
     .toolNames = {"VBoxManage", "VBoxHeadless", "VBoxSVC", "VirtualBox"}},
    {.owner = "Antigravity",
     .appFragments = {"Antigravity.app"},
     .linuxAppFragments = {"/usr/share/antigravity/", "/opt/Antigravity/"},
     .toolNames = {"antigravity"}},

    // Xcode: the IDE, its build products and the Simulator's runtime.
    {.owner = "Xcode",
     .appFragments = {"Xcode.app/Contents/MacOS/Xcode", "xcodebuild", "Xcode.app/Contents/Developer", "Simulator.app",
                      "CoreSimulator", "ibtoold", "IBAgent"}},

    // Commands.
    {.owner = "Gradle", .toolNames = {"gradle", "gradlew"}},
    {.owner = "npm", .toolNames = {"npm", "npx"}},
    {.owner = "Cargo", .toolNames = {"cargo"}},
    {.owner = "conda", .toolNames = {"conda", "mamba", "micromamba"}},
    {.owner = "Rust", .toolNames = {"rustup", "rustc", "cargo"}},
    {.owner = "Claude Code", .toolNames = {"claude"}},
    {.owner = "Codex", .toolNames = {"codex"}},
    {.owner = "Grok CLI", .toolNames = {"grok"}},
    {.owner = "Gemini CLI", .toolNames = {"gemini"}},
    {.owner = "pip", .toolNames = {"pip", "pip3"}},
    {.owner = "uv", .toolNames = {"uv", "uvx"}},
    {.owner = "mise", .toolNames = {"mise"}},
    {.owner = "asdf", .toolNames = {"asdf"}},
    {.owner = "NuGet", .toolNames = {"nuget", "dotnet"}},
    {.owner = "Lima", .toolNames = {"limactl", "lima"}},
    {.owner = "Colima", .toolNames = {"colima"}},
    {.owner = "Podman", .toolNames = {"podman", "conmon"}},
    {.owner = "minikube", .toolNames = {"minikube"}},
    {.owner = "pixi", .toolNames = {"pixi"}},
    {.owner = "kubectl", .toolNames = {"kubectl"}},
    {.owner = "Julia", .toolNames = {"julia", "juliaup"}},
    {.owner = "ghcup", .toolNames = {"ghcup"}},
    {.owner = "Cursor CLI", .toolNames = {"cursor-agent"}},
    {.owner = "Copilot CLI", .toolNames = {"copilot"}},
    {.owner = "SwiftPM", .toolNames = {"swift-build", "swift-package", "swift-test", "swift-run"}},
    {.owner = "Homebrew", .toolNames = {"brew"}},

    // Model downloads, run as commands or from Python.
    {.owner = "HuggingFace",
     .toolNames = {"huggingface-cli", "hf download"},
     .libraryTokens = {"huggingface_hub", "transformers", "datasets"}},
};

const OwnerGuard* ownerGuard(std::string_view owner) {
    for (const OwnerGuard& row : OWNER_GUARDS)
        if (row.owner == owner) return &row;
    return nullptr;
}

}  // namespace kelvor
