#pragma once
// Where a tool keeps its data when nothing relocates it, and the variables that relocate it.
#include <optional>
#include <string>
#include <vector>

namespace kelvor {

struct Base {
    std::vector<std::string> envVars{};  // tried in order; the first non-empty value is the base
    std::string defaultPath{};           // relative to the home folder; "" is the home itself
    std::optional<std::string> xdgName{};  // folder under $xdgVar when no envVars entry is set
    std::string xdgVar = "XDG_CACHE_HOME";  // the XDG base-directory variable the tool honours

    bool operator==(const Base&) const = default;

    // The named bases of the catalog and the rule generators.
    static const Base home;         // the home folder
    static const Base comfy;        // ~/ComfyUI
    static const Base hf;           // HF_HOME, ~/.cache/huggingface, XDG "huggingface"
    static const Base ollama;       // OLLAMA_MODELS, ~/.ollama/models
    static const Base torch;        // TORCH_HOME, ~/.cache/torch
    static const Base npm;          // npm_config_cache, ~/.npm
    static const Base gradle;       // GRADLE_USER_HOME, ~/.gradle
    static const Base cargo;        // CARGO_HOME, ~/.cargo
    static const Base rustup;       // RUSTUP_HOME, ~/.rustup
    static const Base gopath;       // GOPATH, ~/go
    static const Base androidSdk;   // ANDROID_HOME then ANDROID_SDK_ROOT, ~/Library/Android/sdk
    static const Base androidUser;  // ANDROID_USER_HOME, ~/.android
    static const Base androidAvd;   // ANDROID_AVD_HOME, ~/.android/avd
    static const Base uv;           // UV_CACHE_DIR, ~/.cache/uv, XDG "uv"
    // The XDG base directories themselves, for tools that follow them with no variable of their own.
    static const Base xdgCache;     // $XDG_CACHE_HOME, ~/.cache
    static const Base xdgConfig;    // $XDG_CONFIG_HOME, ~/.config
    static const Base xdgData;      // $XDG_DATA_HOME, ~/.local/share
    static const Base xdgState;     // $XDG_STATE_HOME, ~/.local/state
    static const Base androidSdkLinux;  // ANDROID_HOME then ANDROID_SDK_ROOT, ~/Android/Sdk
    static const Base pnpmHome;     // PNPM_HOME, ~/.local/share/pnpm, XDG data "pnpm"
};

}  // namespace kelvor
