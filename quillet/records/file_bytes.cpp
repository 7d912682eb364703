#include "quillet/records/file_bytes.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace kelvor {

Result<void> writeAllBytes(int descriptor, std::string_view bytes, const std::string& name) {
    while (!bytes.empty()) {
        ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) continue;
            return errnoError("write " + name);
        }
        bytes.remove_prefix(static_cast<size_t>(written));
    }
    return {};
}

Result<void> appendToFile(const std::string& path, std::string_view bytes) {
    int descriptor = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (descriptor < 0) return errnoError("open " + path + " to append");
    Result<void> written = writeAllBytes(descriptor, bytes, path);
    if (::close(descriptor) != 0 && written) return errnoError("close " + path);
    return written;
}

Result<std::string> readWholeFile(const std::string& path) {
    int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) return errnoError("open " + path);
    std::string content;
    char buffer[65536];
    for (;;) {
        ssize_t got = ::read(descriptor, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR) continue;
            Error failed = errnoError("read " + path);
            ::close(descriptor);
            return failed;
        }
        if (got == 0) break;
        content.append(buffer, static_cast<size_t>(got));
    }
    ::close(descriptor);
    return content;
}

}  // namespace kelvor
