#include "items/description.h"

#include <string>

#include "items/catalogue_form.h"
#include "items/translation.h"

namespace host {
namespace {

Json::Value NamedValue(const ValueSet& values, ValuePosition position) {
  Json::Value json;
  json["value"] = ValueText(values, position);
  json["name"] = ValueName(values, position);
  return json;
}

}  // namespace

Json::Value Describe(const ItemLibrary& library, const Item& item) {
  Json::Value description;
  description["menuID"] = item.id;
  description["kind"] = std::string(kKindWords[static_cast<int>(item.kind)]);
  if (!item.value) {
    return description;
  }
  const Judge judge = library.Now();
  const ValueSet& values = item.value->values;
  description["preview"] = judge.PreviewedValue(item).has_value();
  description["kept"] = NamedValue(values, judge.KeptValue(item));
  if (const auto* options = std::get_if<std::vector<Option>>(&values)) {
    Json::Value& list = description["values"] = Json::arrayValue;
    for (ValuePosition position = 0; position < std::ssize(*options); ++position) {
      list.append(NamedValue(values, position));
    }
  }
  return description;
}

}  // namespace host
