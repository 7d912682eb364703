#include "quillet/records/json_lines.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "quillet/records/file_bytes.hpp"
#include "quillet/records/json_record.hpp"
#include "quillet/records/record_lock.hpp"

namespace kelvor {

namespace {

bool blank(std::string_view line) { return line.find_first_not_of(" \t\r") == std::string_view::npos; }

}  // namespace

JsonLines parseJsonLines(std::string_view content) {
    JsonLines parsed;
    std::size_t number = 0;
    std::size_t start = 0;
    while (start < content.size()) {
        std::size_t end = content.find('\n', start);
        if (end == std::string_view::npos) {
            end = content.size();
            parsed.tornEnd = true;
        }
        std::string_view text = content.substr(start, end - start);
        ++number;
        start = end + 1;
        if (blank(text)) continue;
        JsonLine line{number, std::string(text), std::nullopt};
        nlohmann::json value = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
        if (value.is_discarded()) ++parsed.unreadable;
        else line.value = std::move(value);
        parsed.lines.push_back(std::move(line));
    }
    return parsed;
}

Result<JsonLines> readJsonLines(const std::string& path) {
    Result<std::string> content = readWholeFile(path);
    if (!content) {
        if (content.error().kind == ErrorKind::notFound) return JsonLines{};
        return content.error();
    }
    return parseJsonLines(*content);
}

std::string joinJsonLines(const JsonLines& lines) {
    std::string text;
    for (const JsonLine& line : lines.lines) {
        text += line.text;
        text += '\n';
    }
    return text;
}

Result<void> appendJsonLineLocked(const std::string& path, const nlohmann::json& value) {
    Result<std::string> encoded = encodeJson(value, -1);
    if (!encoded) return Error{0, "append to " + path + ": " + encoded.error().context};
    Result<int> opened = openOwnFile(path, O_RDWR | O_APPEND, 0600);
    if (!opened) return opened.error();
    int descriptor = opened.value();
    std::string bytes = std::move(*encoded);
    struct stat info {};
    char last = '\n';
    if (::fstat(descriptor, &info) == 0 && info.st_size > 0 && ::pread(descriptor, &last, 1, info.st_size - 1) == 1 &&
        last != '\n')
        bytes.insert(bytes.begin(), '\n');
    Result<void> written = writeAllBytes(descriptor, bytes, path);
    if (::close(descriptor) != 0 && written) return errnoError("close " + path);
    return written;
}

Result<void> appendJsonLine(const std::string& path, const nlohmann::json& value, LockWait wait) {
    Result<RecordLock> held = RecordLock::hold(path, wait);
    if (!held) return held.error();
    return appendJsonLineLocked(path, value);
}

}  // namespace kelvor
