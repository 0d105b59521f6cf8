#include "items/judge.h"

#include <algorithm>

namespace host {
namespace {

// No item has an empty value.
std::optional<ValuePosition> FindText(const ValueDefinition& value,
                                      const std::optional<std::string>& text) {
  return text ? FindValue(value.values, *text) : std::nullopt;
}

}  // namespace

ValuePosition Judge::CurrentValue(const Item& item) const {
  auto position = PreviewedValue(item);
  if (!position && item.value->followsSpeaker) {
    position = FindText(*item.value, m_SpeakerType);
  }
  return position ? *position : KeptValue(item);
}

std::optional<ValuePosition> Judge::PreviewedValue(const Item& item) const {
  return FindText(*item.value, m_Inputs.Text(item.value->previewKey));
}

ValuePosition Judge::KeptValue(const Item& item) const {
  return StoredValue(*item.value).value_or(item.value->standard);
}

std::optional<ValuePosition> Judge::StoredValue(const ValueDefinition& value) const {
  if (value.storage == Storage::kString) {
    const auto text = m_Inputs.Text(value.key);
    return text ? FindKeptText(value.values, *text) : std::nullopt;
  }
  const auto number = m_Inputs.Number(value.key);
  return number ? FindKeptNumber(value.values, *number) : std::nullopt;
}

bool Judge::IsTrue(RuleIndex rule) const {
  if (rule == kNoRule) {
    return true;
  }
  const Rules& rules = m_Catalogue.AllRules();
  const RuleNode& node = rules.nodes[rule];
  switch (node.kind) {
    case RuleKind::kAll:
      return !HasPart(rule, false);
    case RuleKind::kAny:
      return HasPart(rule, true);
    case RuleKind::kNot:
      return !IsTrue(rule + 1);
    case RuleKind::kNumber:
      return HasNumber(node, Number(rules.inputs[node.input]));
    case RuleKind::kText:
      return HasText(node, Text(rules.inputs[node.input]));
  }
  return false;
}

// Whether one of the rules that this one combines is `wanted`.
bool Judge::HasPart(RuleIndex rule, bool wanted) const {
  const auto& nodes = m_Catalogue.AllRules().nodes;
  for (RuleIndex part = rule + 1; part < nodes[rule].end; part = nodes[part].end) {
    if (IsTrue(part) == wanted) {
      return true;
    }
  }
  return false;
}

std::optional<std::int64_t> Judge::Number(const RuleInput& input) const {
  switch (input.kind) {
    case InputKind::kItem:
      return CurrentValue(m_Catalogue.At(input.item));
    case InputKind::kIntKey:
      return m_Inputs.Number(input.name);
    case InputKind::kBoolFeature:
      return m_Inputs.BoolFeature(input.name);
    case InputKind::kIntFeature:
      return m_Inputs.IntFeature(input.name);
    case InputKind::kTextKey:
    case InputKind::kSpeaker:
      break;
  }
  return std::nullopt;
}

std::optional<std::string> Judge::Text(const RuleInput& input) const {
  auto text = input.kind == InputKind::kSpeaker ? m_SpeakerType : m_Inputs.Text(input.name);
  const bool isEmpty = !text || text->empty();
  return isEmpty && !input.substitute.empty() ? input.substitute : text;
}

bool Judge::HasNumber(const RuleNode& node, std::optional<std::int64_t> number) const {
  const auto numbers = m_Catalogue.AllRules().numbers.begin();
  const auto end = numbers + node.endValue;
  return number && std::find(numbers + node.firstValue, end, *number) != end;
}

bool Judge::HasText(const RuleNode& node, const std::optional<std::string>& text) const {
  const auto texts = m_Catalogue.AllRules().texts.begin();
  const auto end = texts + node.endValue;
  return text && std::find(texts + node.firstValue, end, *text) != end;
}

}  // namespace host
