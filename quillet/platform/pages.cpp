#include "quillet/platform/pages.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <new>
#include <utility>

namespace kelvor {

std::size_t PageWords::perPage() {
    static const std::size_t words = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) / sizeof(std::uint64_t);
    return words;
}

PageWords::PageWords(std::size_t count) {
    if (count == 0) return;
    const std::size_t page = perPage();
    count_ = (count + page - 1) / page * page;
    void* start = ::mmap(nullptr, count_ * sizeof(std::uint64_t), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (start == MAP_FAILED) throw std::bad_alloc();
    words_ = static_cast<std::uint64_t*>(start);
    // Written once now, as the table is filled right after: a page read first would be the shared
    // zero page until its first write, and that change makes every other processor running a
    // thread of this process flush its address cache.
    std::memset(words_, 0, count_ * sizeof(std::uint64_t));
}

PageWords::~PageWords() {
    if (words_ != nullptr) ::munmap(words_, count_ * sizeof(std::uint64_t));
}

PageWords::PageWords(PageWords&& other) noexcept
    : words_(std::exchange(other.words_, nullptr)), count_(std::exchange(other.count_, 0)) {}

PageWords& PageWords::operator=(PageWords&& other) noexcept {
    if (this != &other) {
        if (words_ != nullptr) ::munmap(words_, count_ * sizeof(std::uint64_t));
        words_ = std::exchange(other.words_, nullptr);
        count_ = std::exchange(other.count_, 0);
    }
    return *this;
}

}  // namespace kelvor
