#include "quillet/i18n/sentences.hpp"

namespace kelvor {

namespace {

constexpr Sentence REGISTRY[] = {
#define SENTENCE(name, english, korean) {english, korean},
#define TEXT(english, korean) {english, korean},
#include "quillet/i18n/sentences/all.def"
#undef TEXT
#undef SENTENCE
};

}  // namespace

std::span<const Sentence> registeredSentences() { return REGISTRY; }

}  // namespace kelvor
