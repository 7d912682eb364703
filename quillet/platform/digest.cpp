#include "quillet/platform/digest.hpp"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <vector>

#include "quillet/platform/read_advice.hpp"

namespace kelvor {

namespace {

using Context = std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)>;

// A regular file opened for reading, never through a link; -1 otherwise.
int openRegular(const std::string& path, struct stat& st) {
    int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return -1;
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return -1;
    }
    return fd;
}

Context startDigest() {
    Context context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (context && EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1) context.reset();
    return context;
}

std::optional<std::string> finishDigest(EVP_MD_CTX* context) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context, digest, &length) != 1) return std::nullopt;
    static constexpr char HEX[] = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        text += HEX[digest[i] >> 4];
        text += HEX[digest[i] & 15];
    }
    return text;
}

}  // namespace

std::optional<std::string> sha256File(const std::string& path, std::uint64_t& bytesRead) {
    struct stat st {};
    int fd = openRegular(path, st);
    if (fd < 0) return std::nullopt;
    std::unique_ptr<int, void (*)(int*)> closer(&fd, [](int* f) { ::close(*f); });
    adviseSequentialRead(fd);
    Context context = startDigest();
    if (!context) return std::nullopt;
    std::vector<unsigned char> block(DIGEST_BLOCK_BYTES);
    for (;;) {
        ssize_t got = ::read(fd, block.data(), block.size());
        if (got < 0) {
            if (errno == EINTR) continue;
            return std::nullopt;
        }
        if (got == 0) break;
        bytesRead += static_cast<std::uint64_t>(got);
        if (EVP_DigestUpdate(context.get(), block.data(), static_cast<std::size_t>(got)) != 1) return std::nullopt;
    }
    return finishDigest(context.get());
}

std::optional<std::string> sha256Samples(const std::string& path, std::uint64_t size) {
    struct stat st {};
    int fd = openRegular(path, st);
    if (fd < 0) return std::nullopt;
    std::unique_ptr<int, void (*)(int*)> closer(&fd, [](int* f) { ::close(*f); });
    if (static_cast<std::uint64_t>(st.st_size) != size) return std::nullopt;
    Context context = startDigest();
    if (!context) return std::nullopt;
    const std::uint64_t span = std::min<std::uint64_t>(SAMPLE_SPAN_BYTES, size);
    const std::uint64_t starts[3] = {0, size / 2 - span / 2, size - span};
    std::vector<unsigned char> block(span);
    for (std::uint64_t start : starts) {
        std::uint64_t have = 0;
        while (have < span) {
            ssize_t got = ::pread(fd, block.data() + have, span - have, static_cast<off_t>(start + have));
            if (got < 0 && errno == EINTR) continue;
            // A file that shrank under us is no longer the file that was measured.
            if (got <= 0) return std::nullopt;
            have += static_cast<std::uint64_t>(got);
        }
        if (EVP_DigestUpdate(context.get(), block.data(), span) != 1) return std::nullopt;
    }
    return finishDigest(context.get());
}

}  // namespace kelvor
