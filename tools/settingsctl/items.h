#pragma once

#include <optional>
#include <string>
#include <vector>

#include "settings/client.h"
#include "settingsctl/completion_offers.h"
#include "settingsctl/connection.h"
#include "settingsctl/menu.h"
#include "text.h"
#include "tool.h"

// Shared by the verbs about items.
namespace settingsctl {

// Asks the service for the items that come nearest.
tools::Failure NoSuchItem(settings::Client& client, const std::string& item);

// Whether the user named an item by its path and not by its ID.
bool IsPath(const std::string& name);

// The item whose path in the menu this is, whatever slashes are around it.
std::optional<std::string> ItemAt(settings::Client& client, const std::string& path);

// The IDs of items that the user named by their IDs, or by their paths in the menu. Throw
// NoSuchItem for a path that leads to none; an ID is not looked up.
std::string ItemOf(settings::Client& client, const std::string& name);
Names ItemsOf(settings::Client& client, const Names& names);

// Why an item has no value: it is not there, or not of such a kind.
tools::Failure NoValue(settings::Client& client, const std::string& item, tools::ExitCode code);

// A range has no list.
tools::Failure NoList(const std::string& item);

// What an item that has a value takes in place of this one.
tools::Failure NotAccepted(settings::Client& client, const std::string& item,
                           const std::string& value);

// Throw NoSuchItem when the service does not know the item, or one of them. The service's other
// replies do not distinguish an unknown item from one without an answer.
void RequireItem(settings::Client& client, const std::string& item);
void RequireItems(settings::Client& client, const Names& items);

// The applications that disable an item, or each of several. Throw NoSuchItem.
Names DisablersOf(settings::Client& client, const std::string& item);
std::vector<Names> DisablersOf(settings::Client& client, const Names& items);

bool Contains(const Names& names, const std::string& name);

using tools::Joined;
Json::Value Array(const Names& names);

// A whole number without a point.
Json::Value Number(double number);

// An item is completed by those of the service that the options lead to and the verb takes, an
// application by those that disable items there. `options` must outlive the tool's run.
void AddItem(tools::Syntax verb, const Options& options, std::string& item,
             Offered which = Offered::kAllItems);
void AddItems(tools::Syntax verb, const Options& options, Names& items,
              Offered which = Offered::kAllItems);
void AddApp(tools::Syntax verb, const Options& options, std::string& app);

}  // namespace settingsctl
