#pragma once
// The sentence registry: every user-visible text, defined once in the .def files listed by
// sentences/all.def. Code asks for a sentence by name (S::unknownMode); catalog texts are
// registered without a name and found by their Korean or English text.
#include <span>

#include "quillet/i18n/sentence.hpp"

namespace kelvor::S {

#define SENTENCE(name, english, korean) inline constexpr Sentence name{english, korean};
#define SENTENCE_DESKTOP(name, english, korean, linuxEnglish, linuxKorean) \
    inline constexpr DesktopSentence name{{english, korean}, {linuxEnglish, linuxKorean}};
#define TEXT(english, korean)
#include "quillet/i18n/sentences/all.def"
#undef TEXT
#undef SENTENCE_DESKTOP
#undef SENTENCE

}  // namespace kelvor::S

namespace kelvor {

// Every registered text, named or not, in registry order; both forms of a desktop sentence.
std::span<const Sentence> registeredSentences();

}  // namespace kelvor
