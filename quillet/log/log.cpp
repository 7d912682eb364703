#include "quillet/log/log.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <ctime>
#include <deque>
#include <filesystem>
#include <mutex>
#include <thread>

#include "quillet/main/version.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/printable.hpp"
#include "quillet/platform/sysinfo.hpp"
#include "quillet/records/file_bytes.hpp"
#include "quillet/records/file_lock.hpp"

namespace kelvor {

namespace {

std::optional<std::uint64_t> fileSize(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return std::nullopt;
    return static_cast<std::uint64_t>(info.st_size);
}

void rotateIfLarge(const std::string& logFile) {
    std::optional<std::uint64_t> size = fileSize(logFile);
    if (!size || *size < LOG_ROTATE_AT) return;
    Result<FileLock> lock = FileLock::acquire(logFile + ".rotate", LockWait::wait, 0600);
    if (!lock) return;
    // Another process may have rotated while we waited for the lock.
    size = fileSize(logFile);
    if (size && *size >= LOG_ROTATE_AT) {
        std::string previous = logFile + ".1";
        ::unlink(previous.c_str());
        ::rename(logFile.c_str(), previous.c_str());
    }
}

// The single writer: one thread applies queued lines in order, so callers never wait on disk.
class Writer {
public:
    static Writer& shared() {
        // Never destroyed: lines written from other static destructors must still find it.
        static Writer* writer = new Writer();
        return *writer;
    }

    void enqueue(std::string folder, std::string line) {
        {
            std::lock_guard guard(mutex_);
            pending_.push_back({std::move(folder), std::move(line)});
            if (!started_) {
                started_ = true;
                std::thread([this] { loop(); }).detach();
                std::atexit([] { Writer::shared().drain(); });
            }
        }
        wake_.notify_one();
    }

    void drain() {
        std::unique_lock guard(mutex_);
        idle_.wait(guard, [this] { return pending_.empty() && !writing_; });
    }

private:
    struct Job {
        std::string folder;
        std::string line;
    };

    void loop() {
        std::unique_lock guard(mutex_);
        while (true) {
            wake_.wait(guard, [this] { return !pending_.empty(); });
            Job job = std::move(pending_.front());
            pending_.pop_front();
            writing_ = true;
            guard.unlock();
            appendLogLine(job.folder, job.line);
            guard.lock();
            writing_ = false;
            if (pending_.empty()) idle_.notify_all();
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable idle_;
    std::deque<Job> pending_;
    bool started_ = false;
    bool writing_ = false;
};

}  // namespace

std::string formatLogLine(std::string_view category, std::string_view message) {
    using namespace std::chrono;
    auto now = system_clock::now();
    std::time_t seconds = system_clock::to_time_t(now);
    auto millis = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm local{};
    localtime_r(&seconds, &local);
    char stamp[40];
    size_t length = std::strftime(stamp, sizeof stamp, "%Y-%m-%dT%H:%M:%S", &local);
    char zone[8];
    std::strftime(zone, sizeof zone, "%z", &local);
    // "+0900" -> "+09:00", joined rather than inserted: g++ 12 at -O3 takes string::insert of a
    // literal here for an overlapping copy (a false -Wrestrict).
    std::string zoneText = zone;
    if (zoneText.size() == 5) zoneText = zoneText.substr(0, 3) + ":" + zoneText.substr(3);
    std::snprintf(stamp + length, sizeof stamp - length, ".%03lld%s", static_cast<long long>(millis),
                  zoneText == "+00:00" ? "Z" : zoneText.c_str());
    std::string line = stamp;
    line += "  [";
    // One event, one line: a name carrying a newline must not forge another.
    line += escapeControls(category);
    line += "] ";
    line += escapeControls(message);
    line += '\n';
    return line;
}

void appendLogLine(const std::string& folder, std::string_view line) {
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    std::string logFile = folder + "/kelvor.log";
    rotateIfLarge(logFile);
    // The log never reports its own failures: a line that cannot be written is dropped.
    (void)appendToFile(logFile, line);
}

namespace KelvorLog {

std::string logPath() { return dataDir() + "/kelvor.log"; }

void write(std::string_view category, std::string_view message) {
    Writer::shared().enqueue(dataDir(), formatLogLine(category, message));
}

void drain() { Writer::shared().drain(); }

std::string header() {
    std::string line = "Kelvor " + std::string(PROGRAM_VERSION) + " · " + systemName();
    std::string version = systemVersion();
    if (!version.empty()) line += " " + version;
    line += " · " + std::to_string(processorCount()) + " cores";
    return line;
}

std::string tail(int lines, std::optional<std::uint64_t> maxBytes) {
    if (lines <= 0) return "";
    int fd = ::open(logPath().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    std::FILE* file = fd < 0 ? nullptr : ::fdopen(fd, "rb");
    if (!file) {
        if (fd >= 0) ::close(fd);
        return "";
    }
    std::fseek(file, 0, SEEK_END);
    long size = std::ftell(file);
    long start = 0;
    if (maxBytes && static_cast<std::uint64_t>(size) > *maxBytes) start = size - static_cast<long>(*maxBytes);
    std::fseek(file, start, SEEK_SET);
    std::string text(static_cast<size_t>(size - start), '\0');
    size_t got = std::fread(text.data(), 1, text.size(), file);
    std::fclose(file);
    text.resize(got);
    // Walk back over `lines` line ends; a trailing newline does not start a line of its own.
    size_t end = text.size();
    if (end > 0 && text[end - 1] == '\n') --end;
    size_t cut = end;
    int seen = 0;
    while (cut > 0) {
        if (text[cut - 1] == '\n' && ++seen == lines) break;
        --cut;
    }
    std::string result = text.substr(cut);
    // A byte limit may cut through a character: drop continuation bytes at the front.
    size_t lead = 0;
    while (lead < result.size() && (static_cast<unsigned char>(result[lead]) & 0xC0) == 0x80) ++lead;
    return result.substr(lead);
}

}  // namespace KelvorLog

}  // namespace kelvor
