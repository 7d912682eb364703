#pragma once
// One user-visible text in its two built-in languages. Every other language finds it by
// `english` in its translation table.
#include <span>
#include <string_view>

namespace kelvor {

struct Sentence {
    std::string_view english;
    std::string_view korean;
};

// A sentence that speaks of the Mac's own desktop ("this Mac", the Finder, Full Disk Access,
// System Settings), with the words a Linux desktop shows instead ("this computer", the file
// manager, the permission that is really missing). Both forms are registered sentences.
struct DesktopSentence {
    Sentence mac;
    Sentence linuxDesktop;
};

// One row of a translation table: the exact English text and its translation.
struct Translation {
    std::string_view english;
    std::string_view text;
};

}  // namespace kelvor
