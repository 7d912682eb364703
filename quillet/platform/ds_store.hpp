#pragma once
// The Finder's put-back records, read from the ".DS_Store" file at the top of the macOS Trash.
// Portable code over bytes: every offset is checked against the file before it is read, and a
// damaged or hostile file yields nothing rather than an error.
#include <map>
#include <string>
#include <string_view>

namespace kelvor {

// Where the Finder says a Trash entry came from.
struct PutBackInfo {
    std::string folder;  // "ptbL": the folder, relative to the volume's root ("Users/ada/Documents/")
    std::string name;    // "ptbN": its name there
    // "/" + folder + name, with one slash between them; "" when the folder is unknown.
    std::string originalPath() const;
};

struct DSStorePutBack {
    // The put-back records of the Trash folder `trashFolder`, by entry name; empty when its
    // ".DS_Store" is missing, unreadable or malformed.
    static std::map<std::string, PutBackInfo> read(const std::string& trashFolder);
    // The same from the file's bytes.
    static std::map<std::string, PutBackInfo> parse(std::string_view bytes);
};

// Limits that cap the work a hostile file can cause.
inline constexpr unsigned DS_STORE_MAX_BLOCKS = 100000;
inline constexpr unsigned DS_STORE_MAX_DIRECTORY_ENTRIES = 1000;

}  // namespace kelvor
