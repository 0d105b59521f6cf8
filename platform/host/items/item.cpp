#include "items/item.h"

#include <algorithm>

namespace host {
namespace {

const std::vector<Option>* Options(const ValueSet& values) {
  return std::get_if<std::vector<Option>>(&values);
}

const Range& RangeOf(const ValueSet& values) { return std::get<Range>(values); }

template <typename Predicate>
std::optional<ValuePosition> FindOption(const std::vector<Option>& options, Predicate predicate) {
  const auto found = std::find_if(options.begin(), options.end(), predicate);
  return found == options.end() ? std::nullopt
                                : std::optional<ValuePosition>(found - options.begin());
}

}  // namespace

std::optional<ValuePosition> FindValue(const ValueSet& values, std::string_view text) {
  if (const auto* options = Options(values)) {
    return FindOption(*options, [&](const Option& option) { return option.value == text; });
  }
  const auto number = ParseNumber(text);
  return number ? RangeOf(values).values.Find(*number) : std::nullopt;
}

std::optional<ValuePosition> FindNumber(const ValueSet& values, int number) {
  if (const auto* options = Options(values)) {
    return FindOption(*options, [&](const Option& option) { return option.number == number; });
  }
  return RangeOf(values).values.Find(number);
}

std::string ValueText(const ValueSet& values, ValuePosition position) {
  const auto* options = Options(values);
  return options != nullptr ? (*options)[position].value : RangeOf(values).values.Text(position);
}

int ValueNumber(const ValueSet& values, ValuePosition position) {
  const auto* options = Options(values);
  return options != nullptr ? (*options)[position].number
                            : static_cast<int>(RangeOf(values).values.Number(position));
}

}  // namespace host
