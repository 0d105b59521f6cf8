#pragma once

namespace host {

// The name under which SQLite reaches files whose pages are checked (page_check.h): put when a page
// is written into the file, compared whenever one is read, from the file or from its log. What is
// damaged is SQLITE_IOERR_DATA. Registered with SQLite by the first call. Any thread.
const char* CheckedFiles();

}  // namespace host
