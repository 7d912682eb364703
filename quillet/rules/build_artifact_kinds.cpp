// The kinds of project build folder and the file that proves each, as kondo and npkill know them.
// The data only, no logic.
#include "quillet/rules/build_artifacts.hpp"

namespace kelvor {

namespace {

constexpr std::string_view OUTPUT = "빌드 산출물";
constexpr std::string_view CACHE = "빌드 캐시";
constexpr std::string_view DEPENDENCIES = "프로젝트 의존성";
constexpr std::string_view VENV = "프로젝트 가상환경";
constexpr std::string_view REBUILT = "다음 빌드 시 다시 만들어짐 (첫 빌드가 느려짐)";
constexpr std::string_view REFETCHED = "다음 빌드·설치 시 패키지 저장소에서 다시 내려받음";
constexpr std::string_view RECREATE = "가상환경 — 각 프로젝트에서 다시 만들어야 함";
constexpr std::string_view KONDO = "소스: tbillington/kondo kondo-lib/src/lib.rs (표식 파일)";
constexpr std::string_view NPKILL = "소스: voidcosmos/npkill profiles.constants.ts + 표식 파일";

}  // namespace

const std::vector<ArtifactKind>& artifactKinds() {
    static const std::vector<ArtifactKind> kinds = {
        {.folder = "target", .marker = "Cargo.toml", .tier = Tier::regenerate, .component = OUTPUT,
         .recovery = REBUILT, .source = KONDO},
        {.folder = "target", .marker = "pom.xml", .tier = Tier::regenerate, .component = OUTPUT, .recovery = REBUILT,
         .source = KONDO},
        {.folder = "target", .marker = "build.sbt", .tier = Tier::regenerate, .component = OUTPUT, .recovery = REBUILT,
         .source = KONDO},
        {.folder = "node_modules", .marker = "package.json", .tier = Tier::redownload, .component = DEPENDENCIES,
         .recovery = REFETCHED, .source = KONDO},
        {.folder = "build", .marker = "CMakeCache.txt", .place = MarkerPlace::inside, .tier = Tier::regenerate,
         .component = OUTPUT, .recovery = REBUILT, .source = KONDO},
        {.folder = "cmake-build-debug", .marker = "CMakeCache.txt", .place = MarkerPlace::inside,
         .tier = Tier::regenerate, .component = OUTPUT, .recovery = REBUILT, .source = NPKILL},
        {.folder = "cmake-build-release", .marker = "CMakeCache.txt", .place = MarkerPlace::inside,
         .tier = Tier::regenerate, .component = OUTPUT, .recovery = REBUILT, .source = NPKILL},
        {.folder = "build", .marker = "build.gradle", .tier = Tier::regenerate, .component = OUTPUT, .recovery = REBUILT,
         .source = KONDO},
        {.folder = "build", .marker = "build.gradle.kts", .tier = Tier::regenerate, .component = OUTPUT,
         .recovery = REBUILT, .source = KONDO},
        {.folder = ".gradle", .marker = "build.gradle", .tier = Tier::regenerate, .component = CACHE, .recovery = REBUILT,
         .source = KONDO},
        {.folder = ".gradle", .marker = "build.gradle.kts", .tier = Tier::regenerate, .component = CACHE,
         .recovery = REBUILT, .source = KONDO},
        {.folder = "build", .marker = "pubspec.yaml", .tier = Tier::regenerate, .component = OUTPUT, .recovery = REBUILT,
         .source = KONDO},
        {.folder = ".dart_tool", .marker = "pubspec.yaml", .tier = Tier::regenerate, .component = CACHE,
         .recovery = REBUILT, .source = KONDO},
        {.folder = ".stack-work", .marker = "stack.yaml", .tier = Tier::regenerate, .component = OUTPUT,
         .recovery = REBUILT, .source = KONDO},
        {.folder = "dist-newstyle", .marker = "cabal.project", .tier = Tier::regenerate, .component = OUTPUT,
         .recovery = REBUILT, .source = KONDO},
        {.folder = "_build", .marker = "mix.exs", .tier = Tier::regenerate, .component = OUTPUT, .recovery = REBUILT,
         .source = KONDO},
        {.folder = ".build", .marker = "Package.swift", .tier = Tier::regenerate, .component = OUTPUT,
         .recovery = REBUILT, .source = KONDO},
        {.folder = ".zig-cache", .marker = "build.zig", .tier = Tier::regenerate, .component = CACHE,
         .recovery = REBUILT, .source = KONDO},
        {.folder = "zig-cache", .marker = "build.zig", .tier = Tier::regenerate, .component = CACHE, .recovery = REBUILT,
         .source = KONDO},
        {.folder = ".godot", .marker = "project.godot", .tier = Tier::regenerate, .component = CACHE,
         .recovery = REBUILT, .source = KONDO},
        {.folder = ".pixi", .marker = "pixi.toml", .tier = Tier::regenerate, .component = CACHE, .recovery = REBUILT,
         .source = KONDO},
        {.folder = ".terraform", .marker = ".terraform.lock.hcl", .tier = Tier::redownload, .component = DEPENDENCIES,
         .recovery = REFETCHED, .source = KONDO},
        {.folder = ".turbo", .marker = "turbo.json", .tier = Tier::regenerate, .component = CACHE, .recovery = REBUILT,
         .source = KONDO},
        {.folder = ".next", .marker = "package.json", .tier = Tier::regenerate, .component = CACHE, .recovery = REBUILT,
         .source = NPKILL},
        {.folder = ".nuxt", .marker = "package.json", .tier = Tier::regenerate, .component = CACHE, .recovery = REBUILT,
         .source = NPKILL},
        {.folder = ".svelte-kit", .marker = "package.json", .tier = Tier::regenerate, .component = CACHE,
         .recovery = REBUILT, .source = NPKILL},
        {.folder = ".parcel-cache", .marker = "package.json", .tier = Tier::regenerate, .component = CACHE,
         .recovery = REBUILT, .source = NPKILL},
        // Python tool caches mark themselves with a cache-directory tag.
        {.folder = ".pytest_cache", .marker = "CACHEDIR.TAG", .place = MarkerPlace::inside, .tier = Tier::regenerate,
         .component = CACHE, .recovery = REBUILT, .source = NPKILL},
        {.folder = ".mypy_cache", .marker = "CACHEDIR.TAG", .place = MarkerPlace::inside, .tier = Tier::regenerate,
         .component = CACHE, .recovery = REBUILT, .source = NPKILL},
        {.folder = ".ruff_cache", .marker = "CACHEDIR.TAG", .place = MarkerPlace::inside, .tier = Tier::regenerate,
         .component = CACHE, .recovery = REBUILT, .source = NPKILL},
        // Virtual environments hold what the person installed into them: shown, never offered by default.
        {.folder = ".venv", .marker = "pyvenv.cfg", .place = MarkerPlace::inside, .tier = Tier::review,
         .component = VENV, .recovery = RECREATE, .source = "문서: PEP 405 (pyvenv.cfg)"},
        {.folder = "venv", .marker = "pyvenv.cfg", .place = MarkerPlace::inside, .tier = Tier::review,
         .component = VENV, .recovery = RECREATE, .source = "문서: PEP 405 (pyvenv.cfg)"},
    };
    return kinds;
}

}  // namespace kelvor
