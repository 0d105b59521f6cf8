#pragma once

#include <json/json.h>

#include <optional>
#include <string>
#include <vector>

#include "settings/client.h"

namespace settings {

// A request whose reply contains a result: what is asked, and how the reply is read.
template <typename T>
struct Question {
  std::string method;
  Json::Value data;  // its arguments, an object
  // Throws Error when the reply does not answer this question.
  T (*read)(const std::string& method, const Reply& reply);
};

// The questions that the methods of Client ask, by the same names and with the same results, to be
// asked together (batch.h).
#pragma GCC visibility push(default)
namespace ask {

Question<std::optional<std::string>> GetItemValue(const std::string& item);
Question<std::optional<std::string>> GetItemValueName(const std::string& item);
Question<bool> SetItemValue(const std::string& item, const std::string& value,
                            bool preview = false);

Question<std::optional<std::string>> GetItemDisplayName(const std::string& item);
Question<std::optional<std::string>> GetItemDisplayID(const std::string& item);
Question<std::optional<std::string>> GetItemPath(const std::string& item);
Question<std::optional<Range>> GetItemMinMaxStepValue(const std::string& item);

Question<std::optional<std::vector<std::string>>> GetItemChildList(const std::string& item);
Question<std::optional<std::vector<std::string>>> GetItemDataList(const std::string& item);

Question<std::optional<bool>> GetItemVisible(const std::string& item);
Question<std::optional<bool>> GetItemEnable(const std::string& item);
Question<std::optional<bool>> GetItemPathVisible(const std::string& item);
Question<std::optional<bool>> GetItemPathEnable(const std::string& item);
Question<std::optional<bool>> GetItemDataVisible(const std::string& item, const std::string& value);
Question<std::optional<bool>> GetItemDataEnable(const std::string& item, const std::string& value);

Question<std::optional<bool>> IsItemEnabled(const std::string& item);
Question<std::optional<std::vector<std::string>>> GetDisablerAppNamesByMenuId(
    const std::string& item);
Question<std::optional<std::vector<std::string>>> GetDisabledItemsList();

}  // namespace ask
#pragma GCC visibility pop
}  // namespace settings
