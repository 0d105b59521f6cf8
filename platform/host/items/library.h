#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "items/catalogue.h"

namespace host {

// What the calls of the settings data library share. Main-loop thread only.

// Replaces the loaded catalogue by the one in `file`. When it has mistakes every one of them is
// logged and no catalogue is loaded any more.
void LoadCatalogue(const std::filesystem::path& file);

// Null while no catalogue is loaded.
const Catalogue* LoadedCatalogue();

// The item of the loaded catalogue; null when there is none. A null `menuID` names none.
const Item* FindItem(const char* menuID);
const Item* FindItem(std::string_view menuID);

// One line of the library's log, without a line end.
void LogError(const std::string& line);

}  // namespace host
