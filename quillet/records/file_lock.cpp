#include "quillet/records/file_lock.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <utility>

#include "quillet/records/file_bytes.hpp"

namespace kelvor {

Result<FileLock> FileLock::acquire(const std::string& path, LockWait wait, unsigned mode) {
    Result<int> opened = openOwnFile(path, O_RDWR, mode);
    if (!opened) return opened.error();
    int descriptor = opened.value();
    int operation = LOCK_EX | (wait == LockWait::dontWait ? LOCK_NB : 0);
    while (::flock(descriptor, operation) != 0) {
        if (errno == EINTR) continue;
        int code = errno;
        ::close(descriptor);
        return errnoError("lock " + path, code);
    }
    return FileLock(descriptor);
}

bool FileLock::heldElsewhere(const Error& error) { return error.kind == ErrorKind::busy; }

FileLock::FileLock(FileLock&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

FileLock& FileLock::operator=(FileLock&& other) noexcept {
    if (this != &other) {
        release();
        descriptor_ = std::exchange(other.descriptor_, -1);
    }
    return *this;
}

FileLock::~FileLock() { release(); }

void FileLock::release() {
    if (descriptor_ < 0) return;
    ::flock(descriptor_, LOCK_UN);
    ::close(descriptor_);
    descriptor_ = -1;
}

}  // namespace kelvor
