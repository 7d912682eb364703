#include "quillet/platform/result.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/temp_home.hpp"
#include "tests/support/unprivileged.hpp"

namespace kelvor {
namespace {

using testing::TempHome;
using testing::writeFile;

// The kinds are checked on failures the system really produces, not on a copy of the mapping.
TEST(ErrorKind, RealFailuresCarryTheKindTheCallerActsOn) {
    TempHome home;
    writeFile(home / "file", "x");
    writeFile(home / "full/inside", "x");
    struct Case {
        const char* what;
        int (*attempt)(const TempHome&);
        ErrorKind kind;
    };
    const Case cases[] = {
        {"open a missing file", [](const TempHome& h) { return ::open((h / "absent").c_str(), O_RDONLY); },
         ErrorKind::notFound},
        {"open below a file", [](const TempHome& h) { return ::open((h / "file/below").c_str(), O_RDONLY); },
         ErrorKind::notFound},
        {"make a folder that exists", [](const TempHome& h) { return ::mkdir((h / "full").c_str(), 0700); },
         ErrorKind::exists},
        {"remove a folder that is not empty", [](const TempHome& h) { return ::rmdir((h / "full").c_str()); },
         ErrorKind::exists},
        {"rename a file over a folder", [](const TempHome& h) { return ::rename((h / "file").c_str(), (h / "full").c_str()); },
         ErrorKind::other},
    };
    for (const Case& c : cases) {
        errno = 0;
        ASSERT_LT(c.attempt(home), 0) << c.what;
        Error error = errnoError(c.what);
        EXPECT_EQ(error.kind, c.kind) << c.what << ": " << error.describe();
        EXPECT_NE(error.code, 0) << c.what;
    }
}

TEST(ErrorKind, ADenialIsDeniedEvenForRoot) {
    TempHome home;
    writeFile(home / "closed/secret", "x");
    ::chmod((home / "closed").c_str(), 0700);
    std::string secret = home / "closed/secret";
    std::optional<std::string> kind = testing::runUnprivileged([&] {
        int descriptor = ::open(secret.c_str(), O_RDONLY);
        if (descriptor >= 0) return std::string("opened");
        return std::string(errnoError("open").kind == ErrorKind::denied ? "denied" : "something else");
    });
    ASSERT_TRUE(kind.has_value());
    EXPECT_EQ(*kind, "denied");
}

TEST(ErrorKind, AFailureWithoutErrnoIsOtherAndAnErrnoAddsItsMessage) {
    EXPECT_EQ(Error(0, "not a JSON array").kind, ErrorKind::other);
    EXPECT_EQ(Error(0, "not a JSON array").describe(), "not a JSON array");
    EXPECT_EQ(errnoError("rename", EXDEV).kind, ErrorKind::crossDevice);
    EXPECT_NE(errnoError("rename", EXDEV).describe(), "rename");
}

}  // namespace
}  // namespace kelvor
