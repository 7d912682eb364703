// Desktop caches of a Linux session, and the stores that only their own tool may clear: container
// storage, Flatpak installations, old snap revisions and the journal are shown with the command
// that clears them and are never moved, since removing their files behind the tool's back breaks it.
// One row per store, grouped by owner; the data only, no logic.
#include "quillet/rules/linux_catalog.hpp"

namespace kelvor::linux_rows {

std::vector<Rule> systemStores() {
    return {
        // freedesktop desktop caches
        {.owner = "Thumbnails", .component = "썸네일", .base = Base::xdgCache, .sub = "thumbnails",
         .tier = Tier::regenerate, .recovery = "다음 실행 시 재생성",
         .source = "문서: freedesktop 썸네일 관리 표준 + bleachbit/bleachbit cleaners/thumbnails.xml",
         .burden = Burden::transparent},
        {.owner = "fontconfig", .component = "글꼴 캐시", .base = Base::xdgCache, .sub = "fontconfig",
         .tier = Tier::regenerate, .recovery = "다음 실행 시 재생성", .source = "문서: fontconfig (cachedir prefix=\"xdg\")",
         .burden = Burden::transparent},
        // Containers
        {.owner = "Podman", .component = "컨테이너 저장소", .base = Base::xdgData, .sub = "containers/storage",
         .tier = Tier::protected_, .recovery = "podman만 지울 수 있음 — podman system prune으로 정리",
         .source = "소스: containers/storage docs/containers-storage.conf.5.md (rootless graphroot)", .verified = true,
         .burden = Burden::manual},
        {.owner = "Podman", .component = "컨테이너 저장소 (시스템)", .sub = "/var/lib/containers/storage",
         .tier = Tier::protected_, .recovery = "podman만 지울 수 있음 — podman system prune으로 정리",
         .source = "소스: containers/storage docs/containers-storage.conf.5.md (graphroot)", .verified = true,
         .burden = Burden::manual},
        {.owner = "Docker", .component = "컨테이너 저장소", .base = Base::xdgData, .sub = "docker",
         .tier = Tier::protected_, .recovery = "Docker만 지울 수 있음 — docker system prune으로 정리",
         .source = "문서: Docker rootless 모드 (데이터 디렉터리)", .burden = Burden::manual},
        {.owner = "Docker", .component = "컨테이너 저장소 (시스템)", .sub = "/var/lib/docker", .tier = Tier::protected_,
         .recovery = "Docker만 지울 수 있음 — docker system prune으로 정리", .source = "문서: Docker 데몬 (data-root)",
         .burden = Burden::manual},
        // Package systems
        {.owner = "Flatpak", .component = "Flatpak 설치본", .base = Base::xdgData, .sub = "flatpak",
         .tier = Tier::protected_, .recovery = "Flatpak만 지울 수 있음 — flatpak uninstall --unused로 정리",
         .source = "문서: flatpak 명령 참조 (uninstall --unused)", .burden = Burden::manual},
        {.owner = "Flatpak", .component = "Flatpak 설치본 (시스템)", .sub = "/var/lib/flatpak", .tier = Tier::protected_,
         .recovery = "Flatpak만 지울 수 있음 — flatpak uninstall --unused로 정리",
         .source = "문서: flatpak 명령 참조 (uninstall --unused)", .burden = Burden::manual},
        {.owner = "snap", .component = "snap 리비전", .sub = "/var/lib/snapd/snaps", .tier = Tier::protected_,
         .recovery = "snapd만 지울 수 있음 — snap remove <이름> --revision=<리비전>으로 정리",
         .source = "소스: bleachbit/bleachbit cleaners/snap.xml", .verified = true, .burden = Burden::manual},
        {.owner = "journald", .component = "시스템 저널", .sub = "/var/log/journal", .tier = Tier::protected_,
         .recovery = "journald만 지울 수 있음 — journalctl --vacuum-size=로 정리",
         .source = "소스: bleachbit/bleachbit cleaners/journald.xml + bleachbit/Unix.py", .verified = true,
         .burden = Burden::manual},
    };
}

}  // namespace kelvor::linux_rows
