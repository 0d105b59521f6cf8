#pragma once

#include <string>

namespace host {

// The JSON Schema of a catalogue's files, for editors that complete and check while you type;
// without a trailing newline.
std::string CatalogueSchema();

}  // namespace host
