#include "quillet/automation/line_reader.hpp"

#include <unistd.h>

#include <cerrno>

namespace kelvor {

bool LineReader::fill() {
    if (ended_) return false;
    if (start_ > 0) {
        buffer_.erase(0, start_);
        start_ = 0;
    }
    char chunk[65536];
    for (;;) {
        ssize_t got = ::read(fd_, chunk, sizeof chunk);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) {
            ended_ = true;
            return false;
        }
        buffer_.append(chunk, static_cast<std::size_t>(got));
        return true;
    }
}

std::optional<InputLine> LineReader::next() {
    bool oversize = false;
    for (;;) {
        std::size_t newline = buffer_.find('\n', start_);
        if (newline != std::string::npos) {
            InputLine line;
            std::size_t length = newline - start_;
            if (length > 0 && buffer_[newline - 1] == '\r') --length;
            if (oversize || length > limit_) line.oversize = true;
            else line.text.assign(buffer_, start_, length);
            start_ = newline + 1;
            return line;
        }
        // No newline yet: a partial line already past the limit is dropped as it arrives.
        if (buffer_.size() - start_ > limit_ + 1) {
            oversize = true;
            buffer_.clear();
            start_ = 0;
        }
        if (!fill()) {
            if (start_ == buffer_.size() && !oversize) return std::nullopt;
            InputLine line;
            std::size_t length = buffer_.size() - start_;
            if (oversize || length > limit_) line.oversize = true;
            else line.text.assign(buffer_, start_, length);
            buffer_.clear();
            start_ = 0;
            return line;
        }
    }
}

}  // namespace kelvor
