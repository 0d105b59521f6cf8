#pragma once

#include <json/json.h>

#include <functional>
#include <map>
#include <optional>
#include <string>

// The menu of the stand-in for the service: a few items with their states, and the record of those
// that applications disable.
namespace fake_menu {

using Send = std::function<void(int type, const Json::Value& body)>;

// The body of the reply to a request for one of the methods about the menu; nothing for any other.
std::optional<Json::Value> Answer(const Json::Value& request, const Send& send);

// Whether an item is visible and enabled.
struct States {
  bool visible;
  bool enabled;
};

// Those of every item.
std::map<std::string, States> AllStates();

// Hides an item, or shows it again.
void Hide(const std::string& item, bool hidden);

// From now on the names of items end with this.
void SetEnding(const std::string& ending);

// Releases what the application disabled.
void Release(const std::string& app);

}  // namespace fake_menu
