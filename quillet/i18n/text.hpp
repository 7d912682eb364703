#pragma once
// Looking a sentence up in the current language and filling its placeholders.
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "quillet/i18n/app_lang.hpp"
#include "quillet/i18n/sentences.hpp"

namespace kelvor {

// The sentence in the current language ("{0}", "{1}", ... replaced by the arguments as text).
// Korean uses `korean`; other languages look `english` up in their table and fall back to it.
// A placeholder whose index has no argument is left as written.
std::string trf(std::string_view english, std::string_view korean,
                std::initializer_list<std::string_view> args = {});
std::string trf(const Sentence& sentence, std::initializer_list<std::string_view> args = {});

// The form of a desktop sentence that this build's desktop shows, and that form in the current
// language.
const Sentence& onThisDesktop(const DesktopSentence& sentence);
std::string trf(const DesktopSentence& sentence, std::initializer_list<std::string_view> args = {});

// The same lookup in a given language, for reports that must be in one language.
std::string trfIn(AppLang lang, const Sentence& sentence, std::initializer_list<std::string_view> args = {});

// A label given by its English text, in the current language; a label of parts joined by
// " · " that is not registered whole is translated part by part. Unknown labels stay as given.
std::string L(std::string_view english);

// A catalog text written in Korean, in the current language (through its registered English
// form); a text that is not registered is shown as written.
std::string fromKorean(std::string_view korean);

// The registered English form of a Korean text, or none when it is not registered.
std::optional<std::string_view> englishForKorean(std::string_view korean);

// The Korean particle to put after `word`: `withFinal` when its last sound is a consonant.
std::string josa(std::string_view word, std::string_view withFinal, std::string_view withoutFinal);

// "{0}"-style placeholders filled from `args`; indexes without an argument are kept.
std::string fillPlaceholders(std::string_view pattern, std::initializer_list<std::string_view> args);

}  // namespace kelvor
