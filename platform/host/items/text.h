#pragma once

#include <cstddef>
#include <string_view>

namespace host {

// Whether `text` can be shown and sent: UTF-8 without control characters.
bool IsPlainText(std::string_view text);

// Writes `text`, which is UTF-8, zero-terminated to `buffer`, cut at a character boundary to fit
// into `size` bytes. `size` is at least 1.
void CopyCut(std::string_view text, char* buffer, std::size_t size);

}  // namespace host
