#pragma once
// Decoding what the Linux process table shows as text, apart from reading it, so that every odd
// case is a test on a string.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelvor {

// The parent pid from the text of "/proc/<pid>/stat": "pid (comm) state ppid ...". The command
// name may hold blanks and ")", so the fields are read after the LAST ")". None when malformed.
std::optional<std::int32_t> parentPidFromStat(std::string_view stat);

// The text of "/proc/<pid>/cmdline" (arguments each ended by NUL) as one string, the arguments
// joined by single blanks. A trailing NUL does not add an empty argument.
std::string argsFromCmdline(std::string_view cmdline);

struct ExecutablePath {
    std::string path;
    bool deleted = false;  // the link ended with " (deleted)"
};

// The path of an open file from the target of a "/proc/<pid>/fd/<n>" link: none for what is not
// a file ("socket:[...]", "pipe:[...]", "anon_inode:..."); a deleted file keeps its old path.
std::optional<std::string> openFileFromLink(std::string_view target);

// The file a line of "/proc/<pid>/maps" maps ("start-end perms offset dev inode path"); none for
// anonymous memory, "[heap]", "[stack]" and the like. The path may hold blanks; a deleted file
// keeps its old path.
std::optional<std::string> mappedFileFromMapsLine(std::string_view line);

// True when the text of "/proc/self/mountinfo" shows /proc mounted with "hidepid" set to hide
// other users' processes (hidepid=1, 2, "noaccess" or "invisible").
bool procMountHidesOthers(std::string_view mountinfo);

// The target of "/proc/<pid>/exe" with the kernel's " (deleted)" suffix taken off and noted.
ExecutablePath executableFromLink(std::string_view target);

}  // namespace kelvor
