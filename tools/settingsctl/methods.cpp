#include "settingsctl/methods.h"

#include <fmt/format.h>

#include <algorithm>

#include "common.h"
#include "nearest.h"
#include "text.h"

namespace settingsctl {
namespace {

using tools::ExitCode;
using tools::Failure;
using Names = std::vector<std::string>;

Names ItemOnly() { return {"menuID"}; }
Names ItemAndValue() { return {"menuID", "Value"}; }
Names ItemAndApp() { return {"menuID", "appName"}; }
Names ItemAndAsker() { return {"menuID", "pid", "callback"}; }

}  // namespace

std::vector<Method> Methods() {
  return {
      {"GetItemDisplayName", ItemOnly()},
      {"GetItemDisplayID", ItemOnly()},
      {"GetItemEnable", ItemOnly()},
      {"GetItemVisible", ItemOnly()},
      {"GetItemVisibleAsync", ItemAndAsker(), true},
      {"GetItemPathEnable", ItemOnly()},
      {"GetItemPathVisible", ItemOnly()},
      {"GetItemPathEnableAsync", ItemAndAsker(), true},
      {"GetItemValueName", ItemOnly()},
      {"GetItemValue", ItemOnly()},
      {"SetItemValue", {"menuID", "Value", "PreViewFlag"}},
      {"GetItemChildList", ItemOnly()},
      {"GetItemDataList", ItemOnly()},
      {"GetItemDataEnable", ItemAndValue()},
      {"GetItemDataVisible", ItemAndValue()},
      {"GetItemPath", ItemOnly()},
      {"GetItemMinMaxStepValue", ItemOnly()},
      {"DisableItem", ItemAndApp(), true},
      {"EnableItem", ItemAndApp(), true},
      {"RemoveDisabledItemsByAppname", {"appName"}, true},
      {"DisableItemsByList", {"appName", "menuIDList"}, true},
      {"IsItemEnabled", ItemOnly()},
      {"GetDisablerAppNamesByMenuId", ItemOnly()},
      {"GetDisabledItemsList", {}},
  };
}

bool IsText(const std::string& parameter) {
  return parameter != "PreViewFlag" && parameter != "menuIDList";
}

Method FindMethod(const std::string& name) {
  Names names;
  for (const Method& method : Methods()) {
    if (method.name == name) {
      return method;
    }
    names.push_back(method.name);
  }
  throw Failure(ExitCode::kUsage,
                tools::NoSuch("method", name, names, "settingsctl help call lists all"));
}

void CheckParameter(const Method& method, const std::string& parameter) {
  const Names& known = method.parameters;
  if (std::find(known.begin(), known.end(), parameter) == known.end()) {
    throw Failure(ExitCode::kUsage,
                  tools::NoSuch("parameter", parameter, known,
                                fmt::format("{} takes {}", method.name,
                                            known.empty() ? "none" : tools::Joined(known))));
  }
}

}  // namespace settingsctl
