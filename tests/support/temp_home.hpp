#pragma once
// A temporary home folder for one test: HOME and the XDG folders point into it while it lives,
// and everything is put back and removed afterwards. Tests never touch the real home.
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace kelvor::testing {

class TempHome {
public:
    TempHome();
    ~TempHome();
    TempHome(const TempHome&) = delete;
    TempHome& operator=(const TempHome&) = delete;

    const std::string& path() const { return path_; }
    // path() + "/" + relative
    std::string operator/(const std::string& relative) const { return path_ + "/" + relative; }

    // Sets an environment variable until the end of the test ("" unsets it).
    void setEnv(const std::string& name, const std::string& value);

private:
    std::string path_;
    std::map<std::string, std::optional<std::string>> saved_;
};

// Writes `bytes` to `path`, creating the folders above it.
void writeFile(const std::string& path, const std::string& bytes);
// Reads a whole file; "" when it cannot be read.
std::string readFile(const std::string& path);

}  // namespace kelvor::testing
