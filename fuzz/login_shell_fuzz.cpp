// What a login shell printed for `env -0`, profile noise included. Every variable kept has a
// non-empty name without "=" or NUL, and its value holds no NUL.
#include <cstdint>
#include <string_view>

#include "fuzz/fuzz_check.hpp"
#include "quillet/platform/login_shell.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    for (const auto& [name, value] : kelvor::parseNulEnvironment(bytes)) {
        FUZZ_CHECK(!name.empty());
        FUZZ_CHECK(name.find('=') == std::string::npos);
        FUZZ_CHECK(name.find('\0') == std::string::npos);
        FUZZ_CHECK(value.find('\0') == std::string::npos);
        FUZZ_CHECK(name.size() + value.size() < size);
    }
    return 0;
}
