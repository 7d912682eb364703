#include "quillet/clean/record_lines.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "quillet/platform/file_lock.hpp"

namespace kelvor {

Result<void> appendRecordLine(const std::string& path, const std::string& line) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    Result<FileLock> lock = FileLock::acquire(path + ".lock", LockWait::wait);
    if (!lock) return lock.error();
    int descriptor = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0) return errnoError("open " + path);
    std::string bytes = line + "\n";
    // One write call, so a reader never sees half a line from this process.
    ssize_t wrote = ::write(descriptor, bytes.data(), bytes.size());
    int code = errno;
    bool synced = wrote == static_cast<ssize_t>(bytes.size()) && ::fsync(descriptor) == 0;
    ::close(descriptor);
    if (!synced) return errnoError("append " + path, wrote < 0 ? code : EIO);
    return {};
}

std::vector<std::string> readRecordLines(const std::string& path) {
    std::vector<std::string> lines;
    std::ifstream in(path, std::ios::binary);
    std::string line;
    while (std::getline(in, line))
        if (!line.empty()) lines.push_back(line);
    return lines;
}

}  // namespace kelvor
