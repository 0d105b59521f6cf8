#include "items/explanation.h"

#include <string>

#include "set/keys.h"

namespace host {
namespace {

Json::Value JsonOf(const auto& value) { return value ? Json::Value(*value) : Json::Value(); }

// Whatever the key holds, also if it has a type that makes the rule false.
Json::Value HeldBy(const ReadableInputs& inputs, const std::string& key) {
  const auto number = inputs.Number(key);
  return number ? Json::Value(*number) : JsonOf(inputs.Text(key));
}

Json::Value FeatureOf(const ReadableInputs& inputs, const std::string& feature) {
  const auto truth = inputs.BoolFeature(feature);
  return truth ? Json::Value(*truth) : JsonOf(inputs.IntFeature(feature));
}

// Collects why one thing about an item is not so.
class Reasons {
 public:
  Reasons(const Judge& judge, const char* of, Json::Value& list)
      : m_Judge(judge), m_Rules(judge.Items().AllRules()), m_Of(of), m_List(list) {}

  // Why the rule is not `wanted`: all its conditions that decide.
  void AddRule(RuleIndex rule, bool wanted = true) {
    if (m_Judge.IsTrue(rule) == wanted) {
      return;
    }
    const RuleNode& node = m_Rules.nodes[rule];
    switch (node.kind) {
      case RuleKind::kAll:
      case RuleKind::kAny:
        for (RuleIndex part = rule + 1; part < node.end; part = m_Rules.nodes[part].end) {
          AddRule(part, wanted);
        }
        break;
      case RuleKind::kNot:
        AddRule(rule + 1, !wanted);
        break;
      case RuleKind::kNumber:
      case RuleKind::kText:
        AddCondition(node, wanted);
        break;
    }
  }

  void Add(const char* member, const std::string& name) {
    Json::Value reason;
    reason[member] = name;
    Add(std::move(reason));
  }

 private:
  // A rule may mention the same condition twice.
  void Add(Json::Value reason) {
    reason["of"] = m_Of;
    for (const Json::Value& known : m_List) {
      if (known == reason) {
        return;
      }
    }
    m_List.append(std::move(reason));
  }

  void AddCondition(const RuleNode& node, bool wanted) {
    const RuleInput& input = m_Rules.inputs[node.input];
    Json::Value reason;
    switch (input.kind) {
      case InputKind::kItem: {
        const Item& item = m_Judge.Items().At(input.item);
        reason["item"] = item.id;
        reason["is"] = ValueText(item.value->values, m_Judge.CurrentValue(item));
        break;
      }
      case InputKind::kIntKey:
        reason["key"] = input.name;
        reason["is"] = HeldBy(m_Judge.Inputs(), input.name);
        break;
      case InputKind::kTextKey:
        // Only the type of the source has something that stands for it while it is not set.
        reason[input.substitute.empty() ? "key" : "source"] = input.name;
        reason["is"] = input.substitute.empty() ? HeldBy(m_Judge.Inputs(), input.name)
                                                : JsonOf(m_Judge.Text(input));
        break;
      case InputKind::kBoolFeature:
      case InputKind::kIntFeature:
        reason["feature"] = input.name;
        reason["is"] = FeatureOf(m_Judge.Inputs(), input.name);
        break;
      case InputKind::kSpeaker:
        reason["speaker"] = kSpeakerKey;
        reason["is"] = JsonOf(m_Judge.Text(input));
        break;
    }
    reason[wanted ? "needed" : "not"] = ValuesOf(node, input);
    Add(std::move(reason));
  }

  Json::Value ValuesOf(const RuleNode& node, const RuleInput& input) const {
    Json::Value values(Json::arrayValue);
    for (std::uint32_t i = node.firstValue; i < node.endValue; ++i) {
      if (node.kind == RuleKind::kText) {
        values.append(m_Rules.texts[i]);
      } else if (input.kind == InputKind::kItem) {
        values.append(ValueText(m_Judge.Items().At(input.item).value->values, m_Rules.numbers[i]));
      } else if (input.kind == InputKind::kBoolFeature) {
        values.append(m_Rules.numbers[i] != 0);
      } else {
        values.append(static_cast<Json::Int64>(m_Rules.numbers[i]));
      }
    }
    return values;
  }

  const Judge& m_Judge;
  const Rules& m_Rules;
  const char* const m_Of;
  Json::Value& m_List;
};

}  // namespace

Json::Value Explain(const ItemLibrary& library, const Item& item) {
  const Judge judge = library.Now();
  const DisabledItems& disabled = library.Disabled();
  const auto isVisible = [&](const Item& any) { return judge.IsTrue(any.states.visible); };
  const auto isEnabled = [&](const Item& any) {
    return !disabled.Contains(any.id) && judge.IsTrue(any.states.enabled);
  };
  Json::Value list(Json::arrayValue);
  const auto addGroups = [&](Reasons& reasons, const auto& isSo) {
    for (std::uint32_t above = item.parent; above != kNoItem;
         above = judge.Items().At(above).parent) {
      if (!isSo(judge.Items().At(above))) {
        reasons.Add("group", judge.Items().At(above).id);
      }
    }
  };
  Reasons ofVisible(judge, "visible", list);
  ofVisible.AddRule(item.states.visible);
  addGroups(ofVisible, isVisible);
  Reasons ofEnabled(judge, "enabled", list);
  ofEnabled.AddRule(item.states.enabled);
  for (const std::string& app : disabled.Applications(item.id)) {
    ofEnabled.Add("app", app);
  }
  addGroups(ofEnabled, isEnabled);

  Json::Value explanation;
  explanation["menuID"] = item.id;
  explanation["visible"] = isVisible(item);
  explanation["enabled"] = isEnabled(item);
  explanation["reasons"] = std::move(list);
  return explanation;
}

}  // namespace host
