#include <algorithm>
#include <string>
#include <string_view>

#include "items/item_library.h"

namespace host {
namespace {

const std::string kSourceTypeKey = "memory/set/source/type";
constexpr std::string_view kTuner = "tv";
constexpr std::string_view kOwnSpeaker = "tvspeaker";

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
      case RuleKind::kItem:
        return HasNumber(node, m_Library.CurrentValue(m_Library.Loaded()->At(node.subject)));
      case RuleKind::kIntKey:
        return HasNumber(node, m_Inputs.Number(Subject(node)));
      case RuleKind::kTextKey: {
        const auto text = m_Inputs.Text(Subject(node));
        return text && HasText(node, *text);
      }
      case RuleKind::kBoolFeature:
        return HasNumber(node, m_Inputs.BoolFeature(Subject(node)));
      case RuleKind::kIntFeature:
        return HasNumber(node, m_Inputs.IntFeature(Subject(node)));
      case RuleKind::kSource: {
        const auto type = m_Inputs.Text(kSourceTypeKey);
        return HasText(node, type && !type->empty() ? std::string_view(*type) : kTuner);
      }
      case RuleKind::kSpeaker:
        return HasText(node,
                       !m_SpeakerType.empty() ? std::string_view(m_SpeakerType) : kOwnSpeaker);
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

  const std::string& Subject(const RuleNode& node) const { return m_Rules.texts[node.subject]; }

  bool HasNumber(const RuleNode& node, std::optional<std::int64_t> number) const {
    const auto numbers = m_Rules.numbers.begin();
    const auto end = numbers + node.endValue;
    return number && std::find(numbers + node.firstValue, end, *number) != end;
  }

  bool HasText(const RuleNode& node, std::string_view text) const {
    const auto texts = m_Rules.texts.begin();
    const auto end = texts + node.endValue;
    return std::find(texts + node.firstValue, end, text) != end;
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
