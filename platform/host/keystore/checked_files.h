#pragma once

namespace host {

// The name under which SQLite reaches files whose pages are checked (page_check.h): a check is
// added when a page is written to the file, and compared whenever one is read, from the file or
// from its log. Damage is SQLITE_IOERR_DATA. The first call registers it with SQLite. Any thread.
const char* CheckedFiles();

}  // namespace host
