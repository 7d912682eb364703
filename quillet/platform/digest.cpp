#include "quillet/platform/digest.hpp"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <vector>

#include "quillet/platform/read_advice.hpp"

namespace kelvor {

std::optional<std::string> sha256File(const std::string& path, std::uint64_t& bytesRead) {
    int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return std::nullopt;
    std::unique_ptr<int, void (*)(int*)> closer(&fd, [](int* f) { ::close(*f); });
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
    adviseSequentialRead(fd);
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1) return std::nullopt;
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
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context.get(), digest, &length) != 1) return std::nullopt;
    static constexpr char HEX[] = "0123456789abcdef";
    std::string text;
    for (unsigned int i = 0; i < length; ++i) {
        text += HEX[digest[i] >> 4];
        text += HEX[digest[i] & 15];
    }
    return text;
}

}  // namespace kelvor
