// Package managers, test browsers, build caches and virtual machines.
// One row per store, grouped by owner in catalog order; the data only, no logic.
#include "quillet/rules/catalog_groups.hpp"

namespace kelvor::catalog_rows {

std::vector<Rule> packageManagers() {
    return {
        // Go — base ~/go (env GOPATH)
        {.owner = "Go", .component = "모듈 캐시", .base = Base::gopath, .sub = "pkg/mod", .directEnv = "GOMODCACHE",
         .tier = Tier::redownload, .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음",
         .source = "문서: go help environment (GOMODCACHE)", .burden = Burden::interruptive},
        {.owner = "Go", .component = "빌드 캐시", .sub = "Library/Caches/go-build", .directEnv = "GOCACHE",
         .tier = Tier::regenerate, .recovery = "다음 빌드 시 다시 만들어짐 (첫 빌드가 느려짐)",
         .source = "문서: go help cache (GOCACHE)", .burden = Burden::interruptive},
        // pnpm — base ~
        {.owner = "pnpm", .component = "패키지 스토어", .sub = "Library/pnpm/store",
         .directEnv = "npm_config_store_dir", .tier = Tier::redownload,
         .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음", .source = "문서: pnpm 설정 (store-dir)",
         .burden = Burden::interruptive},
        // Maven — base ~
        {.owner = "Maven", .component = "내려받은 의존성", .sub = ".m2/repository", .tier = Tier::review,
         .recovery = "다시 내려받을 수 있으나 직접 설치한 산출물도 함께 사라짐", .source = "문서: Maven 로컬 저장소 안내",
         .burden = Burden::interruptive},
        // JetBrains — base ~
        {.owner = "JetBrains", .component = "캐시·색인", .sub = "Library/Caches/JetBrains", .tier = Tier::review,
         .recovery = "IDE가 색인을 다시 만들지만 로컬 기록도 함께 사라짐", .source = "문서: JetBrains IDE 디렉터리 안내 (시스템·로그 폴더)",
         .burden = Burden::interruptive},
        {.owner = "JetBrains", .component = "로그", .sub = "Library/Logs/JetBrains", .tier = Tier::review,
         .recovery = "지난 기록만 사라지고 도구는 그대로 동작", .source = "문서: JetBrains IDE 디렉터리 안내 (시스템·로그 폴더)",
         .burden = Burden::interruptive},
        // RubyGems — base ~
        {.owner = "RubyGems", .component = "소스 색인", .sub = ".gem/specs", .directEnv = "GEM_SPEC_CACHE",
         .tier = Tier::redownload, .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음",
         .source = "문서: RubyGems 환경 (GEM_SPEC_CACHE, 사용자 설치)", .verified = true,
         .burden = Burden::interruptive},
        {.owner = "RubyGems", .component = "사용자 설치 젬", .sub = ".gem/ruby", .tier = Tier::review,
         .recovery = "직접 설치한 패키지·명령 — 다시 설치해야 함", .source = "문서: RubyGems 환경 (GEM_SPEC_CACHE, 사용자 설치)",
         .verified = true, .burden = Burden::identity},
        {.owner = "RubyGems", .component = "자격 증명", .sub = ".gem/credentials", .tier = Tier::protected_,
         .recovery = "자격 증명·키 — 지우면 다시 로그인·승인해야 하므로 보호됨", .source = "정책(보호) + 문서: RubyGems 자격 증명",
         .burden = Burden::interruptive, .kind = StoreKind::file},
        // Yarn — base ~
        {.owner = "Yarn", .component = "패키지 캐시", .sub = "Library/Caches/Yarn", .directEnv = "YARN_CACHE_FOLDER",
         .tier = Tier::redownload, .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음",
         .source = "문서: Yarn 설정 (cacheFolder, globalFolder)", .burden = Burden::interruptive},
        {.owner = "Yarn", .component = "전역 캐시", .sub = ".yarn/berry/cache", .directEnv = "YARN_GLOBAL_FOLDER",
         .envSub = "cache", .tier = Tier::redownload, .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음",
         .source = "문서: Yarn 설정 (cacheFolder, globalFolder)", .burden = Burden::interruptive},
        // Bun — base ~
        {.owner = "Bun", .component = "패키지 캐시", .sub = ".bun/install/cache",
         .directEnv = "BUN_INSTALL_CACHE_DIR", .tier = Tier::redownload,
         .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음", .source = "문서: bun install 전역 캐시 (BUN_INSTALL_CACHE_DIR)",
         .burden = Burden::interruptive},
        // Composer — base ~
        {.owner = "Composer", .component = "패키지 캐시", .sub = "Library/Caches/composer",
         .directEnv = "COMPOSER_CACHE_DIR", .tier = Tier::redownload,
         .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음", .source = "문서: Composer 설정 (COMPOSER_CACHE_DIR)",
         .burden = Burden::interruptive},
        // Deno — base ~
        {.owner = "Deno", .component = "의존성 캐시", .sub = "Library/Caches/deno", .directEnv = "DENO_DIR",
         .tier = Tier::redownload, .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음",
         .source = "문서: Deno 모듈 캐시 (DENO_DIR)", .burden = Burden::interruptive},
        // CocoaPods — base ~
        {.owner = "CocoaPods", .component = "패키지 캐시", .sub = "Library/Caches/CocoaPods",
         .directEnv = "CP_CACHE_DIR", .tier = Tier::redownload, .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음",
         .source = "문서: CocoaPods 환경 변수 (CP_HOME_DIR, CP_CACHE_DIR)", .burden = Burden::interruptive},
        {.owner = "CocoaPods", .component = "스펙 저장소", .sub = ".cocoapods/repos", .directEnv = "CP_HOME_DIR",
         .envSub = "repos", .tier = Tier::redownload, .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음",
         .source = "문서: CocoaPods 환경 변수 (CP_HOME_DIR, CP_CACHE_DIR)", .burden = Burden::interruptive},
        // Playwright — base ~
        {.owner = "Playwright", .component = "브라우저 바이너리", .sub = "Library/Caches/ms-playwright",
         .directEnv = "PLAYWRIGHT_BROWSERS_PATH", .tier = Tier::redownload, .recovery = "다음 설치 시 바이너리를 다시 내려받음",
         .source = "문서: Playwright 브라우저 관리 (PLAYWRIGHT_BROWSERS_PATH)", .burden = Burden::interruptive},
        // Puppeteer — base ~
        {.owner = "Puppeteer", .component = "브라우저 바이너리", .sub = ".cache/puppeteer",
         .directEnv = "PUPPETEER_CACHE_DIR", .tier = Tier::redownload, .recovery = "다음 설치 시 바이너리를 다시 내려받음",
         .source = "문서: Puppeteer 설정 (PUPPETEER_CACHE_DIR)", .burden = Burden::interruptive},
        // Cypress — base ~
        {.owner = "Cypress", .component = "실행 바이너리", .sub = "Library/Caches/Cypress",
         .directEnv = "CYPRESS_CACHE_FOLDER", .tier = Tier::redownload, .recovery = "다음 설치 시 바이너리를 다시 내려받음",
         .source = "문서: Cypress 설치 안내 (CYPRESS_CACHE_FOLDER)", .burden = Burden::interruptive},
        // Electron — base ~
        {.owner = "Electron", .component = "실행 바이너리", .sub = "Library/Caches/electron",
         .directEnv = "electron_config_cache", .tier = Tier::redownload, .recovery = "다음 설치 시 바이너리를 다시 내려받음",
         .source = "문서: Electron 설치 안내 (electron_config_cache)", .burden = Burden::interruptive},
        // Terraform — base ~
        {.owner = "Terraform", .component = "플러그인 캐시", .sub = ".terraform.d/plugin-cache",
         .directEnv = "TF_PLUGIN_CACHE_DIR", .tier = Tier::redownload,
         .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음",
         .source = "문서: Terraform CLI 설정 (plugin_cache_dir, TF_PLUGIN_CACHE_DIR)",
         .burden = Burden::interruptive},
        // Bazel — base ~
        {.owner = "Bazel", .component = "디스크 캐시", .sub = "Library/Caches/bazel", .tier = Tier::regenerate,
         .recovery = "다음 빌드 시 다시 만들어짐 (첫 빌드가 느려짐)", .source = "문서: Bazel 출력 디렉터리 안내",
         .burden = Burden::interruptive},
        {.owner = "Bazel", .component = "bazelisk가 받은 Bazel", .sub = "Library/Caches/bazelisk",
         .directEnv = "BAZELISK_HOME", .tier = Tier::redownload, .recovery = "도구가 다음 사용 시 해당 버전을 다시 내려받음",
         .source = "문서: bazelisk README (BAZELISK_HOME)", .verified = true, .burden = Burden::interruptive},
        // llama.cpp — base ~
        {.owner = "llama.cpp", .component = "URL로 받은 모델", .sub = "Library/Caches/llama.cpp",
         .directEnv = "LLAMA_CACHE", .tier = Tier::redownload, .recovery = "다음에 이름으로 요청할 때 다시 내려받음",
         .source = "소스: llama.cpp common (LLAMA_CACHE)", .verified = true, .burden = Burden::identity},
        // ccache — base ~
        {.owner = "ccache", .component = "컴파일 캐시", .sub = "Library/Caches/ccache", .directEnv = "CCACHE_DIR",
         .tier = Tier::regenerate, .recovery = "다음 빌드 시 다시 만들어짐 (첫 빌드가 느려짐)",
         .source = "문서: ccache 설정 (CCACHE_DIR)", .verified = true, .burden = Burden::interruptive},
        // Zig — base ~
        {.owner = "Zig", .component = "전역 캐시", .sub = ".cache/zig", .directEnv = "ZIG_GLOBAL_CACHE_DIR",
         .tier = Tier::regenerate, .recovery = "다음 빌드 시 다시 만들어짐 (첫 빌드가 느려짐)",
         .source = "소스: Zig introspect (ZIG_GLOBAL_CACHE_DIR)", .verified = true,
         .burden = Burden::interruptive},
        // fnm — base ~
        {.owner = "fnm", .component = "설치된 Node 버전", .sub = ".local/share/fnm/node-versions",
         .directEnv = "FNM_DIR", .envSub = "node-versions", .tier = Tier::review,
         .recovery = "설치된 버전 — 쓰려면 다시 설치해야 함", .source = "문서: fnm 설정 (FNM_DIR)", .verified = true,
         .burden = Burden::manual},
        // Mint — base ~
        {.owner = "Mint", .component = "설치된 명령", .sub = ".mint/packages", .directEnv = "MINT_PATH",
         .envSub = "packages", .tier = Tier::review, .recovery = "직접 설치한 패키지·명령 — 다시 설치해야 함",
         .source = "문서: Mint README (MINT_PATH)", .verified = true, .burden = Burden::manual},
        // minikube — base ~
        {.owner = "minikube", .component = "내려받은 이미지와 바이너리", .sub = ".minikube/cache", .tier = Tier::redownload,
         .recovery = "다음 사용 시 원본에서 다시 내려받음", .source = "문서: minikube 파일 위치 (MINIKUBE_HOME)", .verified = true,
         .burden = Burden::interruptive},
        {.owner = "minikube", .component = "클러스터 VM", .sub = ".minikube/machines", .tier = Tier::review,
         .recovery = "가상 머신과 그 안의 데이터가 모두 사라짐", .source = "문서: minikube 파일 위치 (MINIKUBE_HOME)",
         .burden = Burden::identity},
        // kubectl — base ~
        {.owner = "kubectl", .component = "API 탐색 캐시", .sub = ".kube/cache", .directEnv = "KUBECACHEDIR",
         .tier = Tier::regenerate, .recovery = "다음 실행 시 재생성",
         .source = "문서: kubectl 전역 옵션 (--cache-dir, KUBECACHEDIR)", .burden = Burden::transparent},
        // Coursier — base ~
        {.owner = "Coursier", .component = "의존성 캐시 (sbt·Scala)", .sub = "Library/Caches/Coursier/v1",
         .directEnv = "COURSIER_CACHE", .tier = Tier::redownload, .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음",
         .source = "문서: Coursier 캐시 (COURSIER_CACHE, COURSIER_ARCHIVE_CACHE)", .verified = true,
         .burden = Burden::interruptive},
        {.owner = "Coursier", .component = "풀어 둔 JDK·도구", .sub = "Library/Caches/Coursier/arc",
         .directEnv = "COURSIER_ARCHIVE_CACHE", .tier = Tier::redownload,
         .recovery = "도구가 다음 사용 시 해당 버전을 다시 내려받음",
         .source = "문서: Coursier 캐시 (COURSIER_CACHE, COURSIER_ARCHIVE_CACHE)", .verified = true,
         .burden = Burden::manual},
        // pixi — base ~
        {.owner = "pixi", .component = "패키지 캐시", .sub = "Library/Caches/rattler/cache",
         .directEnv = "PIXI_CACHE_DIR", .tier = Tier::redownload, .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음",
         .source = "문서: pixi 환경 변수 (PIXI_CACHE_DIR, PIXI_HOME)", .verified = true,
         .burden = Burden::transparent},
        {.owner = "pixi", .component = "전역 도구 환경", .sub = ".pixi/envs", .directEnv = "PIXI_HOME",
         .envSub = "envs", .tier = Tier::regenerate, .recovery = "설치 명령을 다시 실행하면 재생성",
         .source = "문서: pixi 환경 변수 (PIXI_CACHE_DIR, PIXI_HOME)", .verified = true, .burden = Burden::manual},
        // Kotlin/Native — base ~
        {.owner = "Kotlin/Native", .component = "의존성 (LLVM 등)", .sub = ".konan/dependencies",
         .directEnv = "KONAN_DATA_DIR", .envSub = "dependencies", .tier = Tier::redownload,
         .recovery = "다음 빌드 시 도구가 다시 내려받음", .source = "문서: Kotlin/Native 설정 (KONAN_DATA_DIR)", .verified = true,
         .burden = Burden::interruptive},
        {.owner = "Kotlin/Native", .component = "플랫폼 라이브러리 캐시", .sub = ".konan/cache",
         .directEnv = "KONAN_DATA_DIR", .envSub = "cache", .tier = Tier::regenerate,
         .recovery = "다음 빌드 시 다시 만들어짐 (첫 빌드가 느려짐)", .source = "문서: Kotlin/Native 설정 (KONAN_DATA_DIR)",
         .burden = Burden::interruptive},
        // Vagrant — base ~
        {.owner = "Vagrant", .component = "상자 (box)", .sub = ".vagrant.d/boxes", .directEnv = "VAGRANT_HOME",
         .envSub = "boxes", .tier = Tier::review, .recovery = "다시 쓰려면 직접 다시 내려받아야 함",
         .source = "문서: Vagrant 환경 변수 (VAGRANT_HOME)", .burden = Burden::interruptive},
        // UTM — base ~
        {.owner = "UTM", .component = "가상 머신", .sub = "Library/Containers/com.utmapp.UTM/Data/Documents",
         .tier = Tier::review, .recovery = "가상 머신과 그 안의 데이터가 모두 사라짐", .source = "벤더 디렉터리 구조 + 실측(레이아웃)",
         .burden = Burden::identity},
        // Rancher Desktop — base ~
        {.owner = "Rancher Desktop", .component = "가상 머신",
         .sub = "Library/Application Support/rancher-desktop/lima", .tier = Tier::review,
         .recovery = "가상 머신과 그 안의 데이터가 모두 사라짐", .source = "벤더 디렉터리 구조 + 실측(레이아웃)", .burden = Burden::identity},
        // VirtualBox — base ~
        {.owner = "VirtualBox", .component = "가상 머신", .sub = "VirtualBox VMs", .tier = Tier::review,
         .recovery = "가상 머신과 그 안의 데이터가 모두 사라짐", .source = "문서: VirtualBox 사용자 설명서 (기본 머신 폴더)",
         .burden = Burden::identity},
        // Julia — base ~
        {.owner = "Julia", .component = "미리 컴파일한 캐시", .sub = ".julia/compiled", .directEnv = "JULIA_DEPOT_PATH",
         .envSub = "compiled", .tier = Tier::regenerate, .recovery = "다음 빌드 시 다시 만들어짐 (첫 빌드가 느려짐)",
         .source = "문서: Julia 환경 변수 (JULIA_DEPOT_PATH)", .verified = true, .burden = Burden::interruptive},
        {.owner = "Julia", .component = "패키지", .sub = ".julia/packages", .directEnv = "JULIA_DEPOT_PATH",
         .envSub = "packages", .tier = Tier::redownload, .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음",
         .source = "문서: Julia 환경 변수 (JULIA_DEPOT_PATH)", .verified = true, .burden = Burden::manual},
        {.owner = "Julia", .component = "아티팩트 (바이너리 의존성)", .sub = ".julia/artifacts",
         .directEnv = "JULIA_DEPOT_PATH", .envSub = "artifacts", .tier = Tier::redownload,
         .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음", .source = "문서: Julia 환경 변수 (JULIA_DEPOT_PATH)",
         .verified = true, .burden = Burden::manual},
        {.owner = "Julia", .component = "패키지 레지스트리", .sub = ".julia/registries",
         .directEnv = "JULIA_DEPOT_PATH", .envSub = "registries", .tier = Tier::redownload,
         .recovery = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음", .source = "문서: Julia 환경 변수 (JULIA_DEPOT_PATH)",
         .verified = true, .burden = Burden::transparent},
        {.owner = "Julia", .component = "juliaup이 설치한 Julia", .sub = ".julia/juliaup",
         .directEnv = "JULIA_DEPOT_PATH", .envSub = "juliaup", .tier = Tier::review,
         .recovery = "설치된 버전 — 쓰려면 다시 설치해야 함", .source = "문서: Julia 환경 변수 (JULIA_DEPOT_PATH)",
         .burden = Burden::manual},
    };
}

}  // namespace kelvor::catalog_rows
