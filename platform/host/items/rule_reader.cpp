#include "items/rule_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <optional>
#include <set>

#include "set/keys.h"
#include "set/speakers.h"

namespace host {
namespace {

enum class Subject { kRules, kRule, kItem, kKey, kFeature, kSource, kSpeaker };

// The kind of a rule of a form. The values of the rule tell whether a key holds a number or a text.
struct Meaning {
  Subject subject;
  RuleKind kind;
};

// In the order of kRuleForms.
constexpr Meaning kMeanings[] = {
    {Subject::kRules, RuleKind::kAll},   {Subject::kRules, RuleKind::kAny},
    {Subject::kRule, RuleKind::kNot},    {Subject::kItem, RuleKind::kNumber},
    {Subject::kKey, RuleKind::kText},    {Subject::kFeature, RuleKind::kNumber},
    {Subject::kSource, RuleKind::kText}, {Subject::kSpeaker, RuleKind::kText},
};
static_assert(std::size(kMeanings) == std::size(kRuleForms));

constexpr char kTuner[] = "tv";

// A value that stands for itself, or the values of a list.
std::vector<const Json::Value*> ValuesOf(const Json::Value& json) {
  if (!json.isArray()) {
    return {&json};
  }
  std::vector<const Json::Value*> values;
  for (const Json::Value& value : json) {
    values.push_back(&value);
  }
  return values;
}

// The first of the values that does not have the form; null when all have it. An empty list fails
// itself.
const Json::Value* FindBad(const Json::Value& json, const Form& form) {
  const auto values = ValuesOf(json);
  const auto bad = std::find_if_not(values.begin(), values.end(),
                                    [&](const Json::Value* value) { return Fits(form, *value); });
  if (values.empty()) {
    return &json;
  }
  return bad == values.end() ? nullptr : *bad;
}

// The common form of all the values; null when there is none.
const Form* FormOf(const Json::Value& json, const Form& oneOrSeveral) {
  for (const Form* form : oneOrSeveral.parts) {
    if (FindBad(json, *form) == nullptr) {
      return form;
    }
  }
  return nullptr;
}

std::string Quoted(std::span<const std::string_view> texts) {
  return fmt::format("\"{}\"", fmt::join(texts, "\", \""));
}

// The possible values of an item, for a message.
std::string Describe(const ValueSet& values) {
  if (const auto* options = std::get_if<std::vector<Option>>(&values)) {
    std::vector<std::string_view> texts;
    for (const Option& option : *options) {
      texts.push_back(option.value);
    }
    return "its values are " + Quoted(texts);
  }
  const NumberGrid& grid = std::get<Range>(values).values;
  return fmt::format("its values are the numbers from {} to {} in steps of {}", grid.Text(0),
                     grid.Text(grid.LastPosition()), grid.Step());
}

}  // namespace

RuleIndex RuleReader::Read(const JsonObject& object, std::string_view member, std::uint32_t place) {
  const Json::Value* json = object.Find(member);
  if (json == nullptr) {
    return kNoRule;
  }
  m_Place = place;
  const auto rule = static_cast<RuleIndex>(m_Rules.nodes.size());
  ReadRule(*json);
  return rule;
}

void RuleReader::ReadRule(const Json::Value& json) {
  if (!json.isObject()) {
    m_Reader.Report(json, "a rule must be an object like {\"item\": \"gamemode\", \"is\": \"on\"}");
    return;
  }
  const JsonObject object(json);
  const auto* form = std::find_if(
      std::begin(kRuleForms), std::end(kRuleForms),
      [&](const ObjectForm& known) { return object.Find(known.members.front().name) != nullptr; });
  if (form == std::end(kRuleForms)) {
    std::string known;
    for (const ObjectForm& each : kRuleForms) {
      known += fmt::format("{}{}", known.empty() ? "" : ", ", each.members.front().name);
    }
    m_Reader.Report(json, "a rule must have one of the members " + known);
    return;
  }
  m_Reader.CheckMembers(object, *form);
  const Meaning& meaning = kMeanings[form - kRuleForms];
  const auto rule = static_cast<RuleIndex>(m_Rules.nodes.size());
  RuleNode& node = m_Rules.nodes.emplace_back(RuleNode{meaning.kind, rule + 1});
  const std::string_view member = form->members.front().name;
  const Json::Value& first = *object.Find(member);
  switch (meaning.subject) {
    case Subject::kRules:
      ReadParts(first, member);
      break;
    case Subject::kRule:
      ReadRule(first);
      break;
    case Subject::kItem:
      ReadItemRule(object, rule);
      break;
    case Subject::kKey:
      ReadKeyRule(object, node);
      break;
    case Subject::kFeature:
      ReadFeatureRule(object, node);
      break;
    case Subject::kSource:
      ReadSourceRule(first, node);
      break;
    case Subject::kSpeaker:
      ReadSpeakerRule(first, node);
      break;
  }
  m_Rules.nodes[rule].end = static_cast<RuleIndex>(m_Rules.nodes.size());
}

void RuleReader::ReadParts(const Json::Value& list, std::string_view name) {
  if (!list.isArray() || list.empty()) {
    m_Reader.Report(list, fmt::format("\"{}\" must be a list of at least one rule", name));
    return;
  }
  for (const Json::Value& part : list) {
    ReadRule(part);
  }
}

void RuleReader::ReadItemRule(const JsonObject& object, RuleIndex rule) {
  const auto id = m_Reader.ReadText(object, {"item", &kText});  // any other text is no item
  const Json::Value* values = object.Find("is");
  if (!id || values == nullptr) {
    return;
  }
  if (values->isArray() && values->empty()) {
    m_Reader.Report(*values, "\"is\" must be a value, or a list of at least one value");
    return;
  }
  m_Mentions.push_back({rule, m_Place, object.Find("item"), values, m_Reader.Here().source});
}

void RuleReader::ReadKeyRule(const JsonObject& object, RuleNode& node) {
  const auto key = m_Reader.ReadText(object, kAskedKey);
  const Json::Value* values = object.Find("is");
  if (values == nullptr) {
    return;
  }
  const Form* form = FormOf(*values, kKeyValues);
  if (form == nullptr) {
    m_Reader.Report(*values,
                    "\"is\" of a rule on a key must be a string without control "
                    "characters or a 32-bit integer, or a list of strings only or "
                    "integers only");
  } else if (key && form == &kInteger) {
    node.kind = RuleKind::kNumber;
    node.input = AddInput({InputKind::kIntKey, 0, *key, ""});
    AddNumbers(*values, node);
  } else if (key) {
    node.input = AddInput({InputKind::kTextKey, 0, *key, ""});
    AddTexts(*values, node);
  }
}

void RuleReader::ReadFeatureRule(const JsonObject& object, RuleNode& node) {
  const auto key = m_Reader.ReadText(object, kAskedFeature);
  const Json::Value* values = object.Find("is");
  if (values == nullptr) {
    return;
  }
  const Form* form = FormOf(*values, kFeatureValues);
  if (form == nullptr) {
    m_Reader.Report(*values,
                    "\"is\" of a rule on a feature must be true, false or a 32-bit "
                    "integer, or a list of Booleans only or integers only");
  } else if (key) {
    const auto kind = form == &kTruth ? InputKind::kBoolFeature : InputKind::kIntFeature;
    node.input = AddInput({kind, 0, *key, ""});
    AddNumbers(*values, node);
  }
}

void RuleReader::ReadSourceRule(const Json::Value& types, RuleNode& node) {
  if (const Json::Value* bad = FindBad(types, kSourceType)) {
    m_Reader.Report(*bad, fmt::format("\"source\" must be one of {}, or a list of some of them",
                                      Quoted(kSourceWords)));
    return;
  }
  node.input = AddInput({InputKind::kTextKey, 0, kSourceTypeKey, kTuner});
  AddTexts(types, node);
}

void RuleReader::ReadSpeakerRule(const Json::Value& types, RuleNode& node) {
  if (const Json::Value* bad = FindBad(types, kText)) {
    m_Reader.Report(*bad,
                    "\"speaker\" must be a non-empty string, UTF-8 without "
                    "control characters, or a list of such strings");
    return;
  }
  node.input = AddInput({InputKind::kSpeaker, 0, "", std::string(kSpeakerNames[0])});
  AddTexts(types, node);
}

std::uint32_t RuleReader::AddInput(RuleInput input) {
  const auto next = static_cast<std::uint32_t>(m_Rules.inputs.size());
  const auto [known, isNew] = m_InputPlaces.try_emplace(std::move(input), next);
  if (isNew) {
    m_Rules.inputs.push_back(known->first);
  }
  return known->second;
}

std::uint32_t RuleReader::AddItemInput(std::uint32_t place) {
  std::uint32_t& input = m_Rules.itemInputs[place];
  if (input == kNoInput) {
    input = static_cast<std::uint32_t>(m_Rules.inputs.size());
    m_Rules.inputs.push_back({InputKind::kItem, place, "", ""});
  }
  return input;
}

void RuleReader::AddTexts(const Json::Value& texts, RuleNode& node) {
  node.firstValue = static_cast<std::uint32_t>(m_Rules.texts.size());
  for (const Json::Value* text : ValuesOf(texts)) {
    m_Rules.texts.emplace_back(TextOf(*text));
  }
  node.endValue = static_cast<std::uint32_t>(m_Rules.texts.size());
}

void RuleReader::AddNumbers(const Json::Value& numbers, RuleNode& node) {
  node.firstValue = static_cast<std::uint32_t>(m_Rules.numbers.size());
  for (const Json::Value* number : ValuesOf(numbers)) {
    m_Rules.numbers.push_back(number->asInt());
  }
  node.endValue = static_cast<std::uint32_t>(m_Rules.numbers.size());
}

void RuleReader::Report(const Mention& mention, const Json::Value& value,
                        const std::vector<Item>& items, std::string message) {
  m_Reader.GoTo({mention.source, items[mention.from].id});
  m_Reader.Report(value, std::move(message));
}

// An item with a mistake may be missing, or lack the value that a rule names, because of that
// mistake.
void RuleReader::Link(const std::vector<Item>& items, const ItemPlaces& places) {
  std::set<std::string, std::less<>> mistaken;
  for (const CatalogueProblem& problem : m_Reader.Problems()) {
    mistaken.insert(problem.item);
  }
  const bool isComplete = !mistaken.contains("");
  m_Rules.itemInputs.assign(items.size(), kNoInput);
  for (const Mention& mention : m_Mentions) {
    const std::string_view id = TextOf(*mention.id);
    const auto found = places.find(id);
    if (mistaken.contains(id)) {
      continue;
    }
    if (found != places.end()) {
      FindValues(mention, found->second, items);
    } else if (isComplete) {
      Report(mention, *mention.id, items, fmt::format("rule on \"{}\", which is not an item", id));
    }
  }
}

void RuleReader::FindValues(const Mention& mention, std::uint32_t to,
                            const std::vector<Item>& items) {
  const Item& item = items[to];
  if (!item.value) {
    Report(mention, *mention.id, items,
           fmt::format("rule on \"{}\", which has no value: it is {}", item.id,
                       item.kind == ItemKind::kGroup ? "a group" : "an action"));
    return;
  }
  const ValueSet& values = item.value->values;
  const bool isRange = std::holds_alternative<Range>(values);
  RuleNode& node = m_Rules.nodes[mention.rule];
  node.input = AddItemInput(to);
  node.firstValue = static_cast<std::uint32_t>(m_Rules.numbers.size());
  for (const Json::Value* json : ValuesOf(*mention.values)) {
    const std::string_view written = mention.source->Written(*json);
    const auto position = FindValue(values, isRange ? written : TextOf(*json));
    if (!position) {
      Report(mention, *json, items,
             fmt::format("\"{}\" is never {}: {}", item.id, written, Describe(values)));
    }
    m_Rules.numbers.push_back(position.value_or(0));
  }
  node.endValue = static_cast<std::uint32_t>(m_Rules.numbers.size());
}

}  // namespace host
