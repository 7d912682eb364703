#pragma once
// Memory taken from the system whole pages at a time and given back the moment it is freed, for
// large tables that are replaced by larger ones as they grow: freed to the heap instead, each
// smaller generation would stay resident beside the next.
#include <cstddef>
#include <cstdint>

namespace kelvor {

// Zeroed 8-byte words, at least `count` of them, in whole pages of their own.
class PageWords {
public:
    PageWords() = default;
    // Throws std::bad_alloc when the system refuses the memory, as a container would.
    explicit PageWords(std::size_t count);
    ~PageWords();
    PageWords(PageWords&& other) noexcept;
    PageWords& operator=(PageWords&& other) noexcept;
    PageWords(const PageWords&) = delete;
    PageWords& operator=(const PageWords&) = delete;

    std::uint64_t* data() { return words_; }
    // The words held: `count` rounded up to whole pages.
    std::size_t size() const { return count_; }
    std::uint64_t& operator[](std::size_t at) { return words_[at]; }

    // Words in one page of this system.
    static std::size_t perPage();

private:
    std::uint64_t* words_ = nullptr;
    std::size_t count_ = 0;
};

}  // namespace kelvor
