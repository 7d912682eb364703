#include "quillet/platform/languages.hpp"

#include "quillet/platform/home.hpp"

namespace kelvor {

namespace {

// "de_DE.UTF-8@euro" -> "de_DE"; "C" and "POSIX" say nothing about a language.
std::string localeLanguage(std::string value) {
    if (auto cut = value.find_first_of(".@"); cut != std::string::npos) value.resize(cut);
    if (value == "C" || value == "POSIX") return "";
    return value;
}

}  // namespace

// The order gettext consults: LANGUAGE (a colon-separated list), then LC_ALL, LC_MESSAGES, LANG.
std::vector<std::string> preferredLanguages() {
    std::vector<std::string> result;
    auto addOne = [&](std::string value) {
        value = localeLanguage(std::move(value));
        if (!value.empty()) result.push_back(value);
    };
    std::string list = environment("LANGUAGE");
    size_t start = 0;
    while (start <= list.size() && !list.empty()) {
        size_t end = list.find(':', start);
        if (end == std::string::npos) end = list.size();
        addOne(list.substr(start, end - start));
        start = end + 1;
    }
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) addOne(environment(name));
    return result;
}

}  // namespace kelvor
