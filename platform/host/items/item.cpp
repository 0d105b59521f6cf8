#include "items/item.h"

#include <algorithm>

#include "base/number.h"

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

std::optional<ValuePosition> FindOnGrid(const NumberGrid& grid, std::string_view text) {
  const auto number = base::ParseDecimal(text);
  return number ? grid.Find(*number) : std::nullopt;
}

}  // namespace

std::optional<ValuePosition> FindValue(const ValueSet& values, std::string_view text) {
  if (const auto* options = Options(values)) {
    return FindOption(*options, [&](const Option& option) { return option.value == text; });
  }
  return FindOnGrid(RangeOf(values).values, text);
}

std::string ValueText(const ValueSet& values, ValuePosition position) {
  const auto* options = Options(values);
  return options != nullptr ? (*options)[position].value : RangeOf(values).values.Text(position);
}

std::optional<ValuePosition> FindKeptText(const ValueSet& values, std::string_view text) {
  return Options(values) != nullptr ? FindValue(values, text)
                                    : FindOnGrid(RangeOf(values).kept, text);
}

std::optional<ValuePosition> FindKeptNumber(const ValueSet& values, int number) {
  if (const auto* options = Options(values)) {
    return FindOption(*options, [&](const Option& option) { return option.number == number; });
  }
  return RangeOf(values).kept.Find(number);
}

std::string KeptText(const ValueSet& values, ValuePosition position) {
  return Options(values) != nullptr ? ValueText(values, position)
                                    : RangeOf(values).kept.Text(position);
}

int KeptNumber(const ValueSet& values, ValuePosition position) {
  const auto* options = Options(values);
  return options != nullptr ? (*options)[position].number
                            : static_cast<int>(RangeOf(values).kept.Number(position));
}

}  // namespace host
