#include "quillet/i18n/sentences.hpp"

namespace kelvor {

namespace {

constexpr Sentence REGISTRY[] = {
#define SENTENCE(name, english, korean) {english, korean},
#define SENTENCE_DESKTOP(name, english, korean, linuxEnglish, linuxKorean) \
    {english, korean}, {linuxEnglish, linuxKorean},
#define TEXT(english, korean) {english, korean},
#include "quillet/i18n/sentences/all.def"
#undef TEXT
#undef SENTENCE_DESKTOP
#undef SENTENCE
};

}  // namespace

std::span<const Sentence> registeredSentences() { return REGISTRY; }

}  // namespace kelvor
