#pragma once

#include <string>

namespace host {

// The JSON Schema of a catalogue's files, for editors that complete and check while one types;
// without a line end behind it.
std::string CatalogueSchema();

}  // namespace host
