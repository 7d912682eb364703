#pragma once
// Newline-delimited input with a length limit: a line past the limit is skipped to its end
// without being kept, so one huge message neither fills memory nor swallows the next.
#include <cstddef>
#include <optional>
#include <string>

namespace kelvor {

struct InputLine {
    std::string text;       // without the newline (and without a "\r" before it)
    bool oversize = false;  // longer than the limit; `text` is then empty
};

class LineReader {
public:
    LineReader(int fd, std::size_t limit) : fd_(fd), limit_(limit) {}

    // The next line; a last line without a newline still counts. None at end of input or on a
    // read error.
    std::optional<InputLine> next();

private:
    bool fill();

    int fd_;
    std::size_t limit_;
    std::string buffer_;
    std::size_t start_ = 0;
    bool ended_ = false;
};

}  // namespace kelvor
