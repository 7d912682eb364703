#include "quillet/rules/owners.hpp"

#include "quillet/rules/catalog.hpp"

namespace kelvor {

const OwnerMap& ownerAppIds() {
    static const OwnerMap table = {
        {"LM Studio", "ai.elementlabs.lmstudio"},
        {"VS Code", "com.microsoft.VSCode"},
        {"Ollama", "com.electron.ollama"},
        {"Cursor", "com.todesktop.230313mzl4w4u92"},
        {"Windsurf", "com.exafunction.windsurf"},
        {"Zed", "dev.zed.Zed"},
        {"superwhisper", "com.superduper.superwhisper"},
        {"Pinokio", "computer.pinokio"},
        {"DiffusionBee", "com.diffusionbee.diffusionbee"},
        {"Draw Things", "com.liuliu.draw-things"},
        {"InvokeAI", "com.invoke.invoke-community-edition"},
        {"Jan", "jan.ai.app"},
        {"Kiro", "dev.kiro.desktop"},
        {"Trae", "com.trae.app"},
        {"AnythingLLM", "com.anythingllm"},
        {"Antigravity", "com.google.antigravity-ide"},
        {"Postman", "com.postmanlabs.mac"},
        {"OrbStack", "dev.kdrag0n.MacVirt"},
    };
    return table;
}

const OwnerSet& appOwners() {
    static const OwnerSet table = {"Google Chrome", "Slack", "KakaoTalk", "CapCut",
                                   "Notion", "Google Updater", "Claude Desktop", "macOS Caches"};
    return table;
}

const OwnerSet& dynamicToolOwners() {
    static const OwnerSet table = {"Android Studio", "Sublime Text", "Python",
                                   "conda", "CLI Caches", "Build artifacts",
                                   "Kelvor", "Codex Computer Use", "Claude"};
    return table;
}

const OwnerSet& myFileOwners() {
    static const OwnerSet table = {"Old & Unused", "Duplicates", "Downloads",
                                   "Screenshots", "iOS", "Build artifacts",
                                   "Image sequences", "Similar media", "Photos & videos"};
    return table;
}

OwnerKind ownerKind(std::string_view owner) {
    if (MY_FILE_OWNERS.contains(owner)) return OwnerKind::myFiles;
    if (APP_OWNERS.contains(owner)) return OwnerKind::app;
    if (CATALOG_OWNERS.contains(owner) || DYNAMIC_TOOL_OWNERS.contains(owner)) return OwnerKind::tool;
    return OwnerKind::myFiles;
}

}  // namespace kelvor
