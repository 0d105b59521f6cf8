#pragma once

#include <filesystem>
#include <optional>
#include <string>

// What is wrong with the files of a store. Only for files that nobody has open: they are read
// behind SQLite's back.

namespace host {

// What is wrong with a key file: the words that follow "key file …". Nothing when it is whole, or
// when it is missing or empty and has neither a copy nor a log. Pages that another program has
// written get their checks if they fit. Throws StoreError when the damage cannot be determined now.
std::optional<std::string> DamageOf(const std::filesystem::path& file);

// Whether changes that were made are missing from the log of a key file that is otherwise whole.
// `isSameBoot` says that the machine has not restarted since the store was last used: what SQLite
// kept in memory about the log is then its latest state.
bool IsLogCut(const std::filesystem::path& file, bool isSameBoot);

// Whether the log of a key file, if there is one, has no transaction behind a damaged place. Nobody
// need have been told that the last one was made.
bool IsLogWhole(const std::filesystem::path& file);

// Whether the pages of a key file that is whole have no checks yet.
bool IsOfOlderVersion(const std::filesystem::path& file);

}  // namespace host
