#include "quillet/records/atomic_write.hpp"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>

#include "quillet/records/file_bytes.hpp"

namespace kelvor {

namespace {

Result<void> failWith(Error error, int descriptor, const std::string& temporary) {
    if (descriptor >= 0) ::close(descriptor);
    ::unlink(temporary.c_str());
    return error;
}

}  // namespace

Result<void> writeFileAtomically(const std::string& path, std::string_view bytes) {
    // Beside the target, so the rename never crosses file systems.
    std::string temporary = path + ".tmp-XXXXXX";
    int descriptor = ::mkstemp(temporary.data());
    if (descriptor < 0) return errnoError("create a temporary file beside " + path);
    if (Result<void> written = writeAllBytes(descriptor, bytes, temporary); !written)
        return failWith(written.error(), descriptor, temporary);
    if (::fsync(descriptor) != 0) return failWith(errnoError("fsync " + temporary), descriptor, temporary);
    if (::close(descriptor) != 0) return failWith(errnoError("close " + temporary), -1, temporary);
    if (::rename(temporary.c_str(), path.c_str()) != 0)
        return failWith(errnoError("rename " + temporary + " to " + path), -1, temporary);
    // The rename itself lives in the folder; without this a crash may forget it.
    size_t slash = path.rfind('/');
    std::string folder = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    int folderDescriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderDescriptor >= 0) {
        ::fsync(folderDescriptor);
        ::close(folderDescriptor);
    }
    return {};
}

}  // namespace kelvor
