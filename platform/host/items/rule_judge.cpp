#include <algorithm>
#include <optional>
#include <string>

#include "items/item_library.h"

namespace host {
namespace {

class Judge {
 public:
  Judge(const ItemLibrary& library, const Inputs& inputs, const std::string& speakerType)
      : m_Library(library),
        m_Rules(library.Loaded()->AllRules()),
        m_Inputs(inputs),
        m_SpeakerType(speakerType) {}

  bool IsTrue(RuleIndex rule) const {
    const RuleNode& node = m_Rules.nodes[rule];
    switch (node.kind) {
      case RuleKind::kAll:
        return !HasPart(rule, false);
      case RuleKind::kAny:
        return HasPart(rule, true);
      case RuleKind::kNot:
        return !IsTrue(rule + 1);
      case RuleKind::kNumber:
        return HasNumber(node, Number(m_Rules.inputs[node.input]));
      case RuleKind::kText:
        return HasText(node, Text(m_Rules.inputs[node.input]));
    }
    return false;
  }

 private:
  // Whether one of the rules that this one combines is `wanted`.
  bool HasPart(RuleIndex rule, bool wanted) const {
    for (RuleIndex part = rule + 1; part < m_Rules.nodes[rule].end;
         part = m_Rules.nodes[part].end) {
      if (IsTrue(part) == wanted) {
        return true;
      }
    }
    return false;
  }

  std::optional<std::int64_t> Number(const RuleInput& input) const {
    switch (input.kind) {
      case InputKind::kItem:
        return m_Library.CurrentValue(m_Library.Loaded()->At(input.item));
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

  std::optional<std::string> Text(const RuleInput& input) const {
    auto text = input.kind == InputKind::kSpeaker ? m_SpeakerType : m_Inputs.Text(input.name);
    const bool isEmpty = !text || text->empty();
    return isEmpty && !input.substitute.empty() ? input.substitute : text;
  }

  bool HasNumber(const RuleNode& node, std::optional<std::int64_t> number) const {
    const auto numbers = m_Rules.numbers.begin();
    const auto end = numbers + node.endValue;
    return number && std::find(numbers + node.firstValue, end, *number) != end;
  }

  bool HasText(const RuleNode& node, const std::optional<std::string>& text) const {
    const auto texts = m_Rules.texts.begin();
    const auto end = texts + node.endValue;
    return text && std::find(texts + node.firstValue, end, *text) != end;
  }

  const ItemLibrary& m_Library;
  const Rules& m_Rules;
  const Inputs& m_Inputs;
  const std::string& m_SpeakerType;
};

}  // namespace

bool ItemLibrary::IsTrue(RuleIndex rule) const {
  return rule == kNoRule || Judge(*this, m_Inputs, m_SpeakerType).IsTrue(rule);
}

}  // namespace host
