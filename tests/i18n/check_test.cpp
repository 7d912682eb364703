#include <gtest/gtest.h>

#include "quillet/i18n/check.hpp"
#include "quillet/i18n/sentences.hpp"

namespace kelvor {
namespace {

bool has(const std::vector<I18nProblem>& problems, I18nProblemKind kind, const std::string& english) {
    for (const auto& problem : problems)
        if (problem.kind == kind && problem.english == english) return true;
    return false;
}

TEST(I18nCheck, ProgramTablesAreComplete) {
    for (const auto& problem : i18nProblems(registeredSentences(), programTables()))
        ADD_FAILURE() << problem.where << ": " << problem.english;
}

TEST(I18nCheck, ReportsMissingWrongAndUnknownRows) {
    const Sentence registry[] = {{"hello {0}", "안녕 {0}"}, {"bye", "잘 가"}, {"no korean", ""},
                                 {"ko placeholder", "{0} 자리"}, {"{0} of {1}", "{1}의 {0}"}};
    const Translation table[] = {{"hello {0}", "hallo {1}"}, {"stray", "streuner"}, {"bye", "tschüss"},
                                 {"bye", "ciao"}, {"no korean", "kein"}, {"{0} of {1}", "{1} : {0}"}};
    const NamedTable tables[] = {{"TR_XX", table}};
    auto problems = i18nProblems(registry, tables);
    EXPECT_TRUE(has(problems, I18nProblemKind::wrongPlaceholders, "hello {0}"));
    EXPECT_TRUE(has(problems, I18nProblemKind::unknownKey, "stray"));
    EXPECT_TRUE(has(problems, I18nProblemKind::duplicate, "bye"));
    EXPECT_TRUE(has(problems, I18nProblemKind::missingKorean, "no korean"));
    EXPECT_TRUE(has(problems, I18nProblemKind::missingTranslation, "ko placeholder"));
    EXPECT_TRUE(has(problems, I18nProblemKind::wrongPlaceholders, "ko placeholder")) << "Korean must match too";
    EXPECT_EQ(problems.size(), 6u) << "reordered placeholders are fine";
}

TEST(I18nCheck, OneKoreanTextNamesOneEnglishText) {
    const Sentence registry[] = {{"cache", "캐시"}, {"Cache", "캐시"}, {"cache", "캐시"}};
    auto problems = i18nProblems(registry, {});
    EXPECT_TRUE(has(problems, I18nProblemKind::duplicate, "캐시"));
    EXPECT_TRUE(has(problems, I18nProblemKind::duplicate, "cache"));
}

}  // namespace
}  // namespace kelvor
