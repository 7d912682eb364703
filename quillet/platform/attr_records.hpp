#pragma once
// The records macOS's bulk attribute call (getattrlistbulk) writes, decoded as plain bytes so that
// every bounds check is tested on any machine. The macOS backend only fetches the bytes.
#include <cstddef>
#include <cstdint>
#include <span>

#include "quillet/platform/dirs.hpp"

namespace kelvor {

// The attribute masks of <sys/attr.h> that the reader asks for. That header defines these names as
// macros: a file that includes both must include this one first.
inline constexpr std::uint32_t ATTR_CMN_NAME = 0x00000001;
inline constexpr std::uint32_t ATTR_CMN_OBJTYPE = 0x00000008;
inline constexpr std::uint32_t ATTR_CMN_MODTIME = 0x00000400;
inline constexpr std::uint32_t ATTR_CMN_FILEID = 0x02000000;
inline constexpr std::uint32_t ATTR_CMN_ERROR = 0x20000000;
inline constexpr std::uint32_t ATTR_CMN_RETURNED_ATTRS = 0x80000000;
inline constexpr std::uint32_t ATTR_FILE_LINKCOUNT = 0x00000001;
inline constexpr std::uint32_t ATTR_FILE_ALLOCSIZE = 0x00000004;

// The request: every common attribute above (0xA2000409) and the two file attributes (5), packed
// even when invalid so that the layout stays fixed.
inline constexpr std::uint32_t BULK_COMMON_ATTRS = ATTR_CMN_RETURNED_ATTRS | ATTR_CMN_NAME | ATTR_CMN_ERROR |
                                                   ATTR_CMN_OBJTYPE | ATTR_CMN_MODTIME | ATTR_CMN_FILEID;
inline constexpr std::uint32_t BULK_FILE_ATTRS = ATTR_FILE_LINKCOUNT | ATTR_FILE_ALLOCSIZE;
inline constexpr std::uint32_t BULK_BITMAP_COUNT = 5;
inline constexpr std::uint64_t FSOPT_PACK_INVAL_ATTRS = 8;

// Header of a record: its length and the five returned-attribute masks.
inline constexpr std::size_t ATTR_RECORD_HEADER = 24;

// Decodes the `count` records at the start of `bytes` (native byte order), calling `sink` for each
// entry. A record with a non-zero error code adds 1 to `errors` and is skipped; one without a name
// is skipped. The first record that fails a bounds check adds 1 to `errors` and ends the decoding:
// returns false, and the records after it are not read.
bool decodeAttrRecords(std::span<const std::byte> bytes, std::uint32_t count, std::uint64_t& errors,
                       const EntrySink& sink);

}  // namespace kelvor
