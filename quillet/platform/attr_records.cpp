#include "quillet/platform/attr_records.hpp"
#include "quillet/platform/valid_utf8.hpp"

#include <cstring>
#include <string>
#include <string_view>

namespace kelvor {

namespace {

// Reads fixed-size fields of one record, refusing any that would cross the record's end.
class RecordReader {
public:
    RecordReader(const std::byte* record, std::size_t length) : record_(record), length_(length) {}

    template <typename T>
    bool read(T& value) {
        if (length_ - at_ < sizeof(T)) return false;
        std::memcpy(&value, record_ + at_, sizeof(T));
        at_ += sizeof(T);
        return true;
    }
    std::size_t position() const { return at_; }
    const std::byte* record() const { return record_; }
    std::size_t length() const { return length_; }

private:
    const std::byte* record_;
    std::size_t length_;
    std::size_t at_ = 0;
};

enum class RecordVerdict { entry, skipped, malformed };

RecordVerdict decodeRecord(RecordReader& reader, std::uint64_t& errors, BulkEntry& entry) {
    std::uint32_t length = 0;
    std::uint32_t returned[5] = {};
    if (!reader.read(length)) return RecordVerdict::malformed;
    for (std::uint32_t& mask : returned)
        if (!reader.read(mask)) return RecordVerdict::malformed;
    const std::uint32_t common = returned[0];
    const std::uint32_t file = returned[3];

    if (common & ATTR_CMN_ERROR) {
        std::uint32_t code = 0;
        if (!reader.read(code)) return RecordVerdict::malformed;
        if (code != 0) {
            ++errors;
            return RecordVerdict::skipped;
        }
    }
    entry.name.clear();
    if (common & ATTR_CMN_NAME) {
        // An attribute reference: an offset from the reference itself, and a length with the NUL.
        const std::size_t referenceAt = reader.position();
        std::int32_t offset = 0;
        std::uint32_t nameLength = 0;
        if (!reader.read(offset) || !reader.read(nameLength)) return RecordVerdict::malformed;
        if (nameLength >= 2 && offset >= 0) {
            std::size_t start = referenceAt + static_cast<std::size_t>(offset);
            if (start <= reader.length() && nameLength <= reader.length() - start) {
                std::string_view stored(reinterpret_cast<const char*>(reader.record() + start), nameLength - 1);
                stored = stored.substr(0, stored.find('\0'));
                assignValidUtf8(stored, entry.name);
            }
        }
    }
    entry.objType = VNON;
    entry.mtime = 0;
    entry.fileID = 0;
    entry.linkCount = 0;
    entry.allocSize = 0;
    if (common & ATTR_CMN_OBJTYPE)
        if (!reader.read(entry.objType)) return RecordVerdict::malformed;
    if (common & ATTR_CMN_MODTIME) {
        std::int64_t seconds = 0, nanoseconds = 0;  // a 64-bit struct timespec
        if (!reader.read(seconds) || !reader.read(nanoseconds)) return RecordVerdict::malformed;
        entry.mtime = seconds;
    }
    if (common & ATTR_CMN_FILEID)
        if (!reader.read(entry.fileID)) return RecordVerdict::malformed;
    if (file & ATTR_FILE_LINKCOUNT)
        if (!reader.read(entry.linkCount)) return RecordVerdict::malformed;
    if (file & ATTR_FILE_ALLOCSIZE) {
        std::int64_t allocated = 0;
        if (!reader.read(allocated)) return RecordVerdict::malformed;
        entry.allocSize = allocated < 0 ? 0 : static_cast<std::uint64_t>(allocated);
    }
    return entry.name.empty() ? RecordVerdict::skipped : RecordVerdict::entry;
}

}  // namespace

bool decodeAttrRecords(std::span<const std::byte> bytes, std::uint32_t count, std::uint64_t& errors,
                       const EntrySink& sink) {
    BulkEntry entry;
    std::size_t at = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        std::uint32_t length = 0;
        const std::size_t remaining = bytes.size() - at;
        if (remaining < sizeof length) {
            ++errors;
            return false;
        }
        std::memcpy(&length, bytes.data() + at, sizeof length);
        if (length < ATTR_RECORD_HEADER || length > remaining) {
            ++errors;
            return false;
        }
        RecordReader reader(bytes.data() + at, length);
        switch (decodeRecord(reader, errors, entry)) {
            case RecordVerdict::entry: sink(entry); break;
            case RecordVerdict::skipped: break;
            case RecordVerdict::malformed: ++errors; return false;
        }
        at += length;
    }
    return true;
}

}  // namespace kelvor
