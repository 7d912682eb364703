#include "quillet/i18n/check.hpp"

#include <cstdio>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "quillet/i18n/text.hpp"
#include "quillet/i18n/translations.hpp"

namespace kelvor {

namespace {

// The placeholder indexes a text uses ("{0}", "{1}", ...), as a set: a translation may reorder them.
std::set<std::string> placeholders(std::string_view text) {
    std::set<std::string> found;
    for (size_t open = text.find('{'); open != std::string_view::npos; open = text.find('{', open + 1)) {
        size_t close = text.find('}', open + 1);
        if (close == std::string_view::npos) break;
        std::string_view inside = text.substr(open + 1, close - open - 1);
        if (!inside.empty() && inside.size() <= 3 && inside.find_first_not_of("0123456789") == std::string_view::npos)
            found.emplace(inside);
    }
    return found;
}

std::string joined(const std::set<std::string>& indexes) {
    std::string out;
    for (const std::string& index : indexes) out += (out.empty() ? "{" : ", {") + index + "}";
    return out.empty() ? "(none)" : out;
}

}  // namespace

std::vector<I18nProblem> i18nProblems(std::span<const Sentence> registry, std::span<const NamedTable> tables) {
    std::vector<I18nProblem> problems;
    std::unordered_map<std::string_view, std::string_view> koreanByEnglish;
    std::unordered_map<std::string_view, std::string_view> englishByKorean;
    for (const Sentence& sentence : registry) {
        if (!koreanByEnglish.emplace(sentence.english, sentence.korean).second)
            problems.push_back({I18nProblemKind::duplicate, "registry", std::string(sentence.english)});
        if (sentence.korean.empty()) {
            problems.push_back({I18nProblemKind::missingKorean, "registry", std::string(sentence.english)});
            continue;
        }
        // Catalog texts are found by their Korean form, so one Korean text names one English text.
        auto [it, inserted] = englishByKorean.emplace(sentence.korean, sentence.english);
        if (!inserted && it->second != sentence.english)
            problems.push_back({I18nProblemKind::duplicate, "registry", std::string(sentence.korean)});
        if (placeholders(sentence.korean) != placeholders(sentence.english))
            problems.push_back({I18nProblemKind::wrongPlaceholders, "ko", std::string(sentence.english)});
    }
    for (const NamedTable& table : tables) {
        std::unordered_set<std::string_view> present;
        for (const Translation& row : table.rows) {
            if (!present.insert(row.english).second) {
                problems.push_back({I18nProblemKind::duplicate, std::string(table.name), std::string(row.english)});
                continue;
            }
            if (!koreanByEnglish.contains(row.english)) {
                problems.push_back({I18nProblemKind::unknownKey, std::string(table.name), std::string(row.english)});
                continue;
            }
            if (placeholders(row.text) != placeholders(row.english) || row.text.empty())
                problems.push_back(
                    {I18nProblemKind::wrongPlaceholders, std::string(table.name), std::string(row.english)});
        }
        for (const auto& [english, korean] : koreanByEnglish)
            if (!present.contains(english))
                problems.push_back(
                    {I18nProblemKind::missingTranslation, std::string(table.name), std::string(english)});
    }
    return problems;
}

std::vector<NamedTable> programTables() {
    return {{"TR_JA", TR_JA},           {"TR_ES", TR_ES},           {"TR_FR", TR_FR},
            {"TR_DE", TR_DE},           {"TR_IT", TR_IT},           {"TR_ZH_HANS", TR_ZH_HANS},
            {"TR_ZH_HANT", TR_ZH_HANT}, {"TR_PT_BR", TR_PT_BR},     {"TR_PL", TR_PL}};
}

int runI18nCheck() {
    std::vector<NamedTable> tables = programTables();
    std::vector<I18nProblem> problems = i18nProblems(registeredSentences(), tables);
    for (const I18nProblem& problem : problems) {
        std::string line;
        switch (problem.kind) {
            case I18nProblemKind::missingTranslation:
                line = trf(S::i18nMissing, {problem.where, problem.english});
                break;
            case I18nProblemKind::wrongPlaceholders:
                line = trf(S::i18nPlaceholders, {problem.where, problem.english, joined(placeholders(problem.english))});
                break;
            case I18nProblemKind::missingKorean: line = trf(S::i18nNoKorean, {problem.english}); break;
            case I18nProblemKind::unknownKey: line = trf(S::i18nUnknownKey, {problem.where, problem.english}); break;
            case I18nProblemKind::duplicate: line = trf(S::i18nDuplicate, {problem.where, problem.english}); break;
        }
        std::printf("%s\n", line.c_str());
    }
    if (!problems.empty()) {
        std::printf("%s\n", trf(S::i18nSummaryProblems, {std::to_string(problems.size())}).c_str());
        return 1;
    }
    std::printf("%s\n", trf(S::i18nSummaryOk, {std::to_string(registeredSentences().size()),
                                                std::to_string(tables.size() + 2)})
                            .c_str());
    return 0;
}

}  // namespace kelvor
