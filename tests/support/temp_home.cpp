#include "tests/support/temp_home.hpp"

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace kelvor::testing {

TempHome::TempHome() {
    std::string pattern = std::filesystem::temp_directory_path().string() + "/kelvor-test-XXXXXX";
    char* made = ::mkdtemp(pattern.data());
    path_ = made ? std::filesystem::canonical(made).string() : pattern;
    setEnv("HOME", path_);
    for (const char* name : {"XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME",
                             "GLIMSTER_ROOT", "GLIMSTER_LANG"})
        setEnv(name, "");
}

TempHome::~TempHome() {
    for (const auto& [name, value] : saved_) {
        if (value) ::setenv(name.c_str(), value->c_str(), 1);
        else ::unsetenv(name.c_str());
    }
    std::error_code ignored;
    // Folders a test made unreadable must be opened up again before they can be removed.
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
    for (auto it = std::filesystem::recursive_directory_iterator(
             path_, std::filesystem::directory_options::skip_permission_denied, ignored);
         it != std::filesystem::recursive_directory_iterator(); it.increment(ignored)) {
        if (it->is_directory(ignored) && !it->is_symlink(ignored))
            std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                         std::filesystem::perm_options::add, ignored);
    }
    std::filesystem::remove_all(path_, ignored);
}

void TempHome::setEnv(const std::string& name, const std::string& value) {
    if (!saved_.contains(name)) {
        const char* old = std::getenv(name.c_str());
        saved_[name] = old ? std::optional<std::string>(old) : std::nullopt;
    }
    if (value.empty()) ::unsetenv(name.c_str());
    else ::setenv(name.c_str(), value.c_str(), 1);
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream buffer;
    buffer << in.rdbuf();
    return buffer.str();
}

}  // namespace kelvor::testing
