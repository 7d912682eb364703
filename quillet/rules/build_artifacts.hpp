#pragma once
// Project build folders: target/, node_modules/, build/ and their kin, offered only where the file
// that proves the project's kind sits beside them (or inside, for CMake's cache), found by one walk
// of the scan root that never enters what it finds.
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "quillet/rules/rule.hpp"

namespace kelvor {

// The owner every build-folder rule carries: the person's own files.
inline constexpr std::string_view BUILD_ARTIFACTS_OWNER = "Build artifacts";

// Where the proving file sits: next to the folder, or inside it.
enum class MarkerPlace { beside, inside };

// One kind of build folder: its name, the file that proves it, and what removing it costs.
struct ArtifactKind {
    std::string_view folder;     // the folder's exact name
    std::string_view marker;     // the proving file's exact name
    MarkerPlace place = MarkerPlace::beside;
    Tier tier = Tier::regenerate;
    std::string_view component;  // Korean label, shown through the registry
    std::string_view recovery;   // Korean sentence, shown through the registry
    std::string_view source;     // the evidence
};

// The kinds, in the order a folder is tested against them (the first that holds names it).
const std::vector<ArtifactKind>& artifactKinds();

// A build folder the walk found.
struct ArtifactFind {
    std::string path;
    const ArtifactKind* kind = nullptr;
};

// The build folders under `root`, sorted by path: a folder counts when its marker holds and it does
// not hold its project's own sources (its kind's beside-marker or a version-control folder). The
// walk never follows a link, never leaves the root's file system, never enters a version-control
// folder, a hidden folder directly in `home` or a build folder it found, and goes at most
// MAX_ARTIFACT_DEPTH folders down.
inline constexpr int MAX_ARTIFACT_DEPTH = 48;
std::vector<ArtifactFind> findBuildArtifacts(const std::string& root, const std::string& home);

// Rules for the build folders under the home folder: each found folder not at or below one of
// `excluding` becomes a verified rule of its kind
// (virtual environments stay tier C), its absolute path as the rule's `sub`. A folder written a
// moment ago is still listed: the clean's recent-write guard blocks it, and says so.
std::vector<Rule> dynamicBuildArtifactRules(const std::vector<std::string>& excluding);
std::vector<Rule> dynamicBuildArtifactRules(const std::vector<std::string>& excluding, const std::string& root,
                                            const std::string& home);

}  // namespace kelvor
