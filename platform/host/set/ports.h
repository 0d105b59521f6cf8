#pragma once

#include <span>
#include <string_view>

namespace host {

// A place where a picture comes from.
struct Port {
  int sourceId;            // the platform's number of the source there
  std::string_view name;   // as in commands
  std::string_view label;  // as the set's owner sees it
  std::string_view type;   // of its source, for the menu's rules
};

// All ports of this set; the tuner is the first.
std::span<const Port> Ports();

// Null when there is none with that number, or that name in upper or lower case.
const Port* FindPort(int sourceId);
const Port* FindPort(std::string_view name);

// The type of a source for the menu's rules, even if its port is unknown.
std::string_view SourceType(int sourceId);

}  // namespace host
