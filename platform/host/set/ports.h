#pragma once

#include <span>
#include <string_view>

namespace host {

// A place where a picture comes from.
struct Port {
  int sourceId;            // the platform's number of the source there
  std::string_view name;   // as commands have it
  std::string_view label;  // as the set's owner reads it
  std::string_view type;   // of its source, for the menu's rules
};

// All that this set knows; the tuner is the first.
std::span<const Port> Ports();

// Null when there is none of that number, or that name in whatever case.
const Port* FindPort(int sourceId);
const Port* FindPort(std::string_view name);

// The type of a source for the menu's rules, also of one at no known port.
std::string_view SourceType(int sourceId);

}  // namespace host
