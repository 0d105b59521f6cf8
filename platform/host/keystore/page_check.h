#pragma once

#include <cstddef>
#include <cstdint>

// How damage of a key file is noticed: every page ends with a check of what precedes it and of its
// number, and every frame of the write-ahead log has SQLite's own check.

namespace host {

// What marks a file as a key file; and its version, the first with checks of the pages.
inline constexpr std::uint32_t kKeyFileId = 0x6b657973;
inline constexpr std::uint32_t kKeyFileVersion = 3;

inline constexpr std::size_t kPageSize = 4096;
inline constexpr std::size_t kCheckSize = 8;

// A page written by a program that knows nothing of checks ends with zeros.
enum class PageState { kSound, kUnchecked, kDamaged };

// `page` has kPageSize bytes; pages are counted from 1.
PageState StateOf(const unsigned char* page, std::uint32_t number);
void PutCheck(unsigned char* page, std::uint32_t number);

// What page 1 begins with.
inline constexpr std::size_t kFileHeaderSize = 100;

// Whether page 1, or its header alone, says that the pages of its file have checks.
bool HasChecks(const unsigned char* firstPage);

// Four bytes as they are stored in SQLite's files.
std::uint32_t ReadBigEndian(const unsigned char* bytes);

// The log: a header, then frames, each a header and a page.
inline constexpr std::size_t kLogHeaderSize = 32;
inline constexpr std::size_t kFrameHeaderSize = 24;
inline constexpr std::size_t kFrameSize = kFrameHeaderSize + kPageSize;

// Whether the check of a frame continues from `before`: the 8 bytes of the previous frame's check,
// or for the first frame those of the log's header.
bool IsFrameSound(const unsigned char* header, const unsigned char* page,
                  const unsigned char* before);

// Tells a page in a frame from any other, and costs a fraction of its check. Never 0.
std::uint64_t MarkOf(const unsigned char* page, std::uint32_t frame);

// The same as IsFrameSound, for the log's header.
bool IsLogHeaderSound(const unsigned char* header);

}  // namespace host
