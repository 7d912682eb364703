#include "quillet/records/file_bytes.hpp"

#include <fcntl.h>
#include <sys/stat.h>
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

Result<int> openOwnFile(const std::string& path, int access, unsigned mode) {
    // Never through a link, and only a regular file of the person running: a record in a folder
    // someone else can write to must not make this process write to a file they chose.
    int descriptor = -1;
    // Another process may create it between the two opens; then open what it made.
    for (int attempt = 0; descriptor < 0 && attempt < 3; ++attempt) {
        descriptor = ::open(path.c_str(), access | O_NOFOLLOW | O_CLOEXEC);
        if (descriptor >= 0 || errno != ENOENT) break;
        descriptor = ::open(path.c_str(), access | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, static_cast<mode_t>(mode));
        if (descriptor < 0 && errno != EEXIST) break;
    }
    if (descriptor < 0) return errnoError("open " + path);
    struct stat info {};
    if (::fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode) || info.st_uid != ::geteuid()) {
        ::close(descriptor);
        return Error(ErrorKind::denied, path + " is not a regular file of this user");
    }
    return descriptor;
}

Result<void> appendToFile(const std::string& path, std::string_view bytes) {
    Result<int> opened = openOwnFile(path, O_WRONLY | O_APPEND, 0600);
    if (!opened) return opened.error();
    int descriptor = opened.value();
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
