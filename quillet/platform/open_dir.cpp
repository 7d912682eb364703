// Opening directories is plain POSIX, the same on every system; the backends only read them.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "quillet/platform/dir_failures.hpp"
#include "quillet/platform/dirs.hpp"

namespace kelvor {

namespace {

constexpr int DIRECTORY_FLAGS = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

}  // namespace

Result<OpenDir> OpenDir::open(const std::string& path, FinalLink finalLink) {
    int descriptor = ::open(path.c_str(), finalLink == FinalLink::refuse ? DIRECTORY_FLAGS : DIRECTORY_FLAGS & ~O_NOFOLLOW);
    if (descriptor < 0) return errnoError(path);
    return OpenDir(descriptor);
}

Result<OpenDir> OpenDir::openAt(const OpenDir& parent, const std::string& name) {
    int descriptor = ::openat(parent.descriptor_, name.c_str(), DIRECTORY_FLAGS);
    if (descriptor < 0) return errnoError(name);
    return OpenDir(descriptor);
}

OpenDir::OpenDir(OpenDir&& other) noexcept
    : descriptor_(other.descriptor_), device_(other.device_), deviceKnown_(other.deviceKnown_) {
    other.descriptor_ = -1;
}

OpenDir& OpenDir::operator=(OpenDir&& other) noexcept {
    if (this != &other) {
        if (descriptor_ >= 0) ::close(descriptor_);
        descriptor_ = other.descriptor_;
        device_ = other.device_;
        deviceKnown_ = other.deviceKnown_;
        other.descriptor_ = -1;
    }
    return *this;
}

OpenDir::~OpenDir() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

std::uint64_t OpenDir::device() const {
    if (!deviceKnown_) {
        struct stat info {};
        device_ = ::fstat(descriptor_, &info) == 0 ? static_cast<std::uint64_t>(info.st_dev) : 0;
        deviceKnown_ = true;
    }
    return device_;
}

bool readDirBulk(const std::string& path, std::byte* buf, std::size_t bufSize, std::uint64_t& denied,
                 std::uint64_t& errors, const EntrySink& sink, EntryDetail detail) {
    Result<OpenDir> dir = OpenDir::open(path, FinalLink::follow);
    if (!dir) {
        countReadFailure(dir.error().kind, denied, errors);
        return false;
    }
    return readOpenDir(*dir, buf, bufSize, denied, errors, sink, detail);
}

}  // namespace kelvor
