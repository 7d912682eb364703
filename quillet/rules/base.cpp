#include "quillet/rules/base.hpp"

namespace kelvor {

const Base Base::home{};
const Base Base::comfy{.defaultPath = "ComfyUI"};
const Base Base::hf{.envVars = {"HF_HOME"}, .defaultPath = ".cache/huggingface", .xdgName = "huggingface"};
const Base Base::ollama{.envVars = {"OLLAMA_MODELS"}, .defaultPath = ".ollama/models"};
const Base Base::torch{.envVars = {"TORCH_HOME"}, .defaultPath = ".cache/torch"};
const Base Base::npm{.envVars = {"npm_config_cache"}, .defaultPath = ".npm"};
const Base Base::gradle{.envVars = {"GRADLE_USER_HOME"}, .defaultPath = ".gradle"};
const Base Base::cargo{.envVars = {"CARGO_HOME"}, .defaultPath = ".cargo"};
const Base Base::rustup{.envVars = {"RUSTUP_HOME"}, .defaultPath = ".rustup"};
const Base Base::gopath{.envVars = {"GOPATH"}, .defaultPath = "go"};
const Base Base::androidSdk{.envVars = {"ANDROID_HOME", "ANDROID_SDK_ROOT"}, .defaultPath = "Library/Android/sdk"};
const Base Base::androidUser{.envVars = {"ANDROID_USER_HOME"}, .defaultPath = ".android"};
const Base Base::androidAvd{.envVars = {"ANDROID_AVD_HOME"}, .defaultPath = ".android/avd"};
// uv keeps its cache in the XDG layout on every Unix, macOS included ($XDG_CACHE_HOME/uv, else
// ~/.cache/uv), unlike tools that follow ~/Library/Caches; UV_CACHE_DIR overrides both.
const Base Base::uv{.envVars = {"UV_CACHE_DIR"}, .defaultPath = ".cache/uv", .xdgName = "uv"};
// An empty xdgName makes the XDG variable's value itself the base.
const Base Base::xdgCache{.defaultPath = ".cache", .xdgName = "", .xdgVar = "XDG_CACHE_HOME"};
const Base Base::xdgConfig{.defaultPath = ".config", .xdgName = "", .xdgVar = "XDG_CONFIG_HOME"};
const Base Base::xdgData{.defaultPath = ".local/share", .xdgName = "", .xdgVar = "XDG_DATA_HOME"};
const Base Base::xdgState{.defaultPath = ".local/state", .xdgName = "", .xdgVar = "XDG_STATE_HOME"};
// Android Studio on Linux installs the SDK into ~/Android/Sdk.
const Base Base::androidSdkLinux{.envVars = {"ANDROID_HOME", "ANDROID_SDK_ROOT"}, .defaultPath = "Android/Sdk"};
const Base Base::pnpmHome{.envVars = {"PNPM_HOME"}, .defaultPath = ".local/share/pnpm", .xdgName = "pnpm",
                          .xdgVar = "XDG_DATA_HOME"};

}  // namespace kelvor
