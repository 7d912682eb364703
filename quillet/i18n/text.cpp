#include "quillet/i18n/text.hpp"

#include <mutex>
#include <optional>
#include <unordered_map>
#include <vector>

#include "quillet/i18n/translations.hpp"
#include "quillet/platform/desktop.hpp"

namespace kelvor {

namespace {

struct RegistryIndex {
    std::unordered_map<std::string_view, std::string_view> koreanByEnglish;
    std::unordered_map<std::string_view, std::string_view> englishByKorean;
};

const RegistryIndex& registryIndex() {
    static const RegistryIndex index = [] {
        RegistryIndex built;
        for (const Sentence& each : registeredSentences()) {
            built.koreanByEnglish.emplace(each.english, each.korean);
            built.englishByKorean.emplace(each.korean, each.english);
        }
        return built;
    }();
    return index;
}

std::string_view pick(AppLang lang, std::string_view english, std::string_view korean) {
    if (lang == AppLang::ko) return korean;
    if (lang == AppLang::en) return english;
    if (const std::string_view* translated = findTranslation(lang, english)) return *translated;
    return english;
}

// One label, whole: registered Korean for ko, the table for the rest; unknown stays English.
std::optional<std::string_view> labelWhole(AppLang lang, std::string_view english) {
    if (lang == AppLang::en) return english;
    if (lang == AppLang::ko) {
        const auto& index = registryIndex().koreanByEnglish;
        auto found = index.find(english);
        if (found == index.end()) return std::nullopt;
        return found->second;
    }
    if (const std::string_view* translated = findTranslation(lang, english)) return *translated;
    return std::nullopt;
}

// The scalar value of the last UTF-8 character of `text`, or 0 for an empty text.
char32_t lastScalar(std::string_view text) {
    if (text.empty()) return 0;
    size_t start = text.size() - 1;
    while (start > 0 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) --start;
    auto lead = static_cast<unsigned char>(text[start]);
    size_t length = text.size() - start;
    char32_t value = 0;
    if (lead < 0x80) return lead;
    if ((lead & 0xE0) == 0xC0 && length == 2) value = lead & 0x1F;
    else if ((lead & 0xF0) == 0xE0 && length == 3) value = lead & 0x0F;
    else if ((lead & 0xF8) == 0xF0 && length == 4) value = lead & 0x07;
    else return 0xFFFD;
    for (size_t i = start + 1; i < text.size(); ++i) value = (value << 6) | (text[i] & 0x3F);
    return value;
}

}  // namespace

std::string fillPlaceholders(std::string_view pattern, std::initializer_list<std::string_view> args) {
    std::string out;
    out.reserve(pattern.size() + 16);
    const std::string_view* values = args.begin();
    size_t i = 0;
    while (i < pattern.size()) {
        if (pattern[i] == '{') {
            size_t close = pattern.find('}', i + 1);
            if (close != std::string_view::npos && close > i + 1 && close - i <= 4) {
                std::string_view digits = pattern.substr(i + 1, close - i - 1);
                bool numeric = digits.find_first_not_of("0123456789") == std::string_view::npos;
                if (numeric) {
                    size_t index = std::stoul(std::string(digits));
                    if (index < args.size()) {
                        out += values[index];
                        i = close + 1;
                        continue;
                    }
                }
            }
        }
        out += pattern[i++];
    }
    return out;
}

std::string trf(std::string_view english, std::string_view korean, std::initializer_list<std::string_view> args) {
    return fillPlaceholders(pick(appLang(), english, korean), args);
}

std::string trf(const Sentence& sentence, std::initializer_list<std::string_view> args) {
    return trf(sentence.english, sentence.korean, args);
}

const Sentence& onThisDesktop(const DesktopSentence& sentence) {
    return thisDesktop() == Desktop::mac ? sentence.mac : sentence.linuxDesktop;
}

std::string trf(const DesktopSentence& sentence, std::initializer_list<std::string_view> args) {
    return trf(onThisDesktop(sentence), args);
}

std::string trfIn(AppLang lang, const Sentence& sentence, std::initializer_list<std::string_view> args) {
    return fillPlaceholders(pick(lang, sentence.english, sentence.korean), args);
}

std::string L(std::string_view english) {
    AppLang lang = appLang();
    if (auto whole = labelWhole(lang, english)) return std::string(*whole);
    constexpr std::string_view SEPARATOR = " · ";
    if (english.find(SEPARATOR) == std::string_view::npos) return std::string(english);
    std::string out;
    size_t start = 0;
    while (true) {
        size_t end = english.find(SEPARATOR, start);
        std::string_view part = english.substr(start, end == std::string_view::npos ? end : end - start);
        out += labelWhole(lang, part).value_or(part);
        if (end == std::string_view::npos) break;
        out += SEPARATOR;
        start = end + SEPARATOR.size();
    }
    return out;
}

std::optional<std::string_view> englishForKorean(std::string_view korean) {
    const auto& index = registryIndex().englishByKorean;
    auto found = index.find(korean);
    if (found == index.end()) return std::nullopt;
    return found->second;
}

std::string fromKorean(std::string_view korean) {
    if (appLang() == AppLang::ko) return std::string(korean);
    std::optional<std::string_view> english = englishForKorean(korean);
    return english ? L(*english) : std::string(korean);
}

std::string josa(std::string_view word, std::string_view withFinal, std::string_view withoutFinal) {
    char32_t last = lastScalar(word);
    if (last == 0) return std::string(withoutFinal);
    if (last >= 0xAC00 && last <= 0xD7A3)
        return std::string((last - 0xAC00) % 28 != 0 ? withFinal : withoutFinal);
    std::string lower(word);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    for (std::string_view ending : {"ng", "me", "ne"})
        if (lower.ends_with(ending)) return std::string(withFinal);
    constexpr std::string_view CONSONANT_ENDINGS = "lLmMnN136780kKpPcC";
    bool consonant = last < 0x80 && CONSONANT_ENDINGS.find(static_cast<char>(last)) != std::string_view::npos;
    return std::string(consonant ? withFinal : withoutFinal);
}

}  // namespace kelvor
