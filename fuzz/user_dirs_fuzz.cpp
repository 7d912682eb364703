// An XDG "user-dirs.dirs" file, which any program of the person's may rewrite. Every folder it
// yields is absolute and never climbs with "..": a survey must not leave alone a place it misread.
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/fuzz_check.hpp"
#include "quillet/platform/user_folders.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::string home = "/home/fuzz";
    for (const std::string& folder : kelvor::parseUserDirs(text, home)) {
        FUZZ_CHECK(folder.starts_with('/'));
        FUZZ_CHECK(folder != home);
        FUZZ_CHECK(folder.find("/../") == std::string::npos && !folder.ends_with("/.."));
    }
    return 0;
}
