#include "settingsctl/change_lines.h"

#include <fmt/format.h>

#include "settingsctl/format.h"
#include "text.h"

namespace settingsctl {
namespace {

using settings::ItemState;

std::string ValueOf(const ItemState& state) {
  return state.value ? ValueText(*state.value, state.valueName) : "nothing";
}

Json::Value ValueJson(const ItemState& state) {
  return state.value ? Json::Value(*state.value) : Json::Value();
}

}  // namespace

std::vector<std::string> ChangeLines(const settings::ItemChange& change, bool isOtherLanguage,
                                     std::chrono::system_clock::time_point time, bool json) {
  const ItemState& from = change.from;
  const ItemState& to = change.to;
  const std::string when = tools::TimeText(time);
  std::vector<std::string> lines;
  const auto add = [&](const char* what, const std::string& before, const std::string& now,
                       const Json::Value& members, const Json::Value& membersBefore) {
    if (!json) {
      lines.push_back(
          fmt::format("{} {} {} {} → {}", when, tools::Escape(change.item), what, before, now));
      return;
    }
    Json::Value line = members;
    line["time"] = when;
    line["menuID"] = change.item;
    line["from"] = membersBefore;
    lines.push_back(tools::JsonText(line));
  };
  Json::Value is(Json::objectValue);
  Json::Value was(Json::objectValue);
  if (from.value != to.value) {
    is["value"] = ValueJson(to);
    was["value"] = ValueJson(from);
  }
  if (from.valueName != to.valueName) {
    is["valueName"] = to.valueName;
    was["valueName"] = from.valueName;
  }
  if (is.isMember("value") || (!is.empty() && !isOtherLanguage)) {
    add("value", ValueOf(from), ValueOf(to), is, was);
  }
  const auto addState = [&](const char* what, bool before, bool now) {
    if (before != now) {
      Json::Value state;
      Json::Value stateBefore;
      state[what] = now;
      stateBefore[what] = before;
      add(what, before ? "yes" : "no", now ? "yes" : "no", state, stateBefore);
    }
  };
  addState("visible", from.visible, to.visible);
  addState("enabled", from.enabled, to.enabled);
  return lines;
}

}  // namespace settingsctl
