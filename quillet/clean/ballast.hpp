#pragma once
// A reserve file that keeps room for the undo record: when the disk is full, releasing it lets
// the record be written so that the run can still move (and be taken back).
#include <string>

namespace kelvor {

inline constexpr std::size_t BALLAST_BYTES = 1024 * 1024;
inline constexpr std::size_t BALLAST_PIECE = 64 * 1024;

class Ballast {
public:
    // The reserve in the data folder: "~/.kelvor/reserve.bin".
    Ballast();
    explicit Ballast(std::string path) : path_(std::move(path)) {}

    // Makes the reserve BALLAST_BYTES long, written in BALLAST_PIECE pieces; false when it could
    // not (a full disk leaves no partial reserve behind).
    bool ensure() const;
    // Deletes the reserve; true when it existed.
    bool release() const;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace kelvor
