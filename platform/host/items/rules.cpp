#include "items/rules.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "items/active_speaker.h"
#include "items/catalogue.h"
#include "items/item_value.h"
#include "items/key_text.h"
#include "system_info.h"
#include "vconf.h"

namespace host {
namespace {

const std::string kSourceTypeKey = "memory/set/source/type";
constexpr std::string_view kTuner = "tv";
constexpr std::string_view kOwnSpeaker = "tvspeaker";

class Judge {
 public:
  explicit Judge(const Catalogue& catalogue)
      : m_Catalogue(catalogue), m_Rules(catalogue.AllRules()) {}

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
        return HasNumber(node, CurrentValue(m_Catalogue.At(node.subject)));
      case RuleKind::kIntKey: {
        int number = 0;
        return vconf_get_int(Subject(node).c_str(), &number) == 0 && HasNumber(node, number);
      }
      case RuleKind::kTextKey: {
        const auto text = ReadKeyText(Subject(node));
        return text && HasText(node, *text);
      }
      case RuleKind::kBoolFeature: {
        bool feature = false;
        return system_info_get_custom_bool(Subject(node).c_str(), &feature) == 0 &&
               HasNumber(node, feature);
      }
      case RuleKind::kIntFeature: {
        int feature = 0;
        return system_info_get_custom_int(Subject(node).c_str(), &feature) == 0 &&
               HasNumber(node, feature);
      }
      case RuleKind::kSource: {
        const auto type = ReadKeyText(kSourceTypeKey);
        return HasText(node, type && !type->empty() ? std::string_view(*type) : kTuner);
      }
      case RuleKind::kSpeaker: {
        const std::string& type = ActiveSpeakerType();
        return HasText(node, !type.empty() ? std::string_view(type) : kOwnSpeaker);
      }
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

  bool HasNumber(const RuleNode& node, std::int64_t number) const {
    const auto numbers = m_Rules.numbers.begin();
    const auto end = numbers + node.endValue;
    return std::find(numbers + node.firstValue, end, number) != end;
  }

  bool HasText(const RuleNode& node, std::string_view text) const {
    const auto texts = m_Rules.texts.begin();
    const auto end = texts + node.endValue;
    return std::find(texts + node.firstValue, end, text) != end;
  }

  const Catalogue& m_Catalogue;
  const Rules& m_Rules;
};

}  // namespace

bool IsTrue(const Catalogue& catalogue, RuleIndex rule) {
  return rule == kNoRule || Judge(catalogue).IsTrue(rule);
}

}  // namespace host
