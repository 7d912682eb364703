#include "quillet/dupes/digest_cache.hpp"

#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "quillet/log/log.hpp"
#include "quillet/platform/home.hpp"
#include "quillet/platform/valid_utf8.hpp"
#include "quillet/records/json_record.hpp"

namespace kelvor {

DigestCache::DigestCache(std::string file) : file_(std::move(file)) {}

std::string DigestCache::defaultFile() { return dataDir() + "/digests.json"; }

void DigestCache::load() {
    entries_.clear();
    Result<JsonRecord> record = readJsonRecord(file_);
    if (!record || !record.value().readable() || !record.value().value->is_object()) {
        if (record && !record.value().readable())
            KelvorLog::write("dupes", "digest cache unreadable, hashing everything: " + record.value().problem);
        return;
    }
    for (const auto& [path, row] : record.value().value->items()) {
        if (!row.is_object()) continue;
        auto size = row.find("size");
        auto mtime = row.find("mtime");
        auto sha = row.find("sha");
        if (size == row.end() || !size->is_number_unsigned() || mtime == row.end() || !mtime->is_number_integer() ||
            sha == row.end() || !sha->is_string())
            continue;
        DigestEntry entry{size->get<std::uint64_t>(), mtime->get<std::int64_t>(), sha->get<std::string>(), {}, {}};
        if (auto ino = row.find("ino"); ino != row.end() && ino->is_number_unsigned()) entry.ino = ino->get<std::uint64_t>();
        if (auto ctime = row.find("ctime"); ctime != row.end() && ctime->is_number_integer())
            entry.ctime = ctime->get<std::int64_t>();
        entries_[path] = entry;
    }
}

namespace {

std::optional<DigestEntry> describe(const std::string& path) {
    struct stat st {};
    if (::lstat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::nullopt;
    auto nanoseconds = [](const struct timespec& t) { return std::int64_t{t.tv_sec} * 1'000'000'000 + t.tv_nsec; };
    return DigestEntry{static_cast<std::uint64_t>(st.st_size), nanoseconds(st.st_mtim), "",
                       static_cast<std::uint64_t>(st.st_ino), nanoseconds(st.st_ctim)};
}

}  // namespace

std::optional<std::string> DigestCache::lookup(const std::string& path) const {
    auto found = entries_.find(path);
    if (found == entries_.end()) return std::nullopt;
    std::optional<DigestEntry> now = describe(path);
    if (!now) return std::nullopt;
    const DigestEntry& kept = found->second;
    if (kept.size != now->size || kept.mtime != now->mtime) return std::nullopt;
    if (kept.ino && *kept.ino != *now->ino) return std::nullopt;
    if (kept.ctime && *kept.ctime != *now->ctime) return std::nullopt;
    return kept.sha;
}

void DigestCache::remember(const std::string& path, const std::string& sha) {
    std::optional<DigestEntry> now = describe(path);
    if (!now) return;
    now->sha = sha;
    entries_[path] = *now;
}

bool DigestCache::save() const {
    nlohmann::json value = nlohmann::json::object();
    for (const auto& [path, entry] : entries_) {
        if (validUtf8(path) != path) continue;  // a JSON key must be UTF-8; such a file is just hashed again
        nlohmann::json row = {{"size", entry.size}, {"mtime", entry.mtime}, {"sha", entry.sha}};
        if (entry.ino) row["ino"] = *entry.ino;
        if (entry.ctime) row["ctime"] = *entry.ctime;
        value[path] = row;
    }
    Result<void> written = writeJsonRecord(file_, value, -1);
    if (!written) KelvorLog::write("dupes", "digest cache not saved: " + written.error().describe());
    return static_cast<bool>(written);
}

}  // namespace kelvor
