#pragma once
// The completeness check of the sentence tables (`--mode i18n`).
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "quillet/i18n/app_lang.hpp"
#include "quillet/i18n/sentence.hpp"

namespace kelvor {

struct NamedTable {
    std::string_view name;  // "TR_JA", ...
    std::span<const Translation> rows;
};

enum class I18nProblemKind {
    missingTranslation,    // a registered English text has no row in a table
    wrongPlaceholders,     // a translation (or the Korean text) uses other placeholders than the English
    missingKorean,         // a registered text has an empty Korean text
    unknownKey,            // a table row whose English text is not registered
    duplicate,             // a text registered twice, or a table row given twice
};

struct I18nProblem {
    I18nProblemKind kind;
    std::string where;    // the table's name, or "registry"
    std::string english;  // the text concerned
};

// Every problem of `tables` against `registry`; empty when complete and consistent.
std::vector<I18nProblem> i18nProblems(std::span<const Sentence> registry, std::span<const NamedTable> tables);

// The nine tables of the program, by name.
std::vector<NamedTable> programTables();

// Prints every problem of the program's tables; 0 when there is none, else 1.
int runI18nCheck();

}  // namespace kelvor
