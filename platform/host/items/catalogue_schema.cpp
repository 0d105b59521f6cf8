#include "items/catalogue_schema.h"

#include <fmt/format.h>
#include <json/json.h>

#include <limits>

#include "items/catalogue_form.h"

namespace host {
namespace {

constexpr std::size_t kColumns = 100;

Json::Value Text(std::string_view text) { return {text.data(), text.data() + text.size()}; }

Json::Value Object(std::initializer_list<std::pair<const char*, Json::Value>> members) {
  Json::Value object(Json::objectValue);
  for (const auto& [name, value] : members) {
    object[name] = value;
  }
  return object;
}

// A pattern for what IsAmong finds.
std::string PatternOf(Words words, Words more) {
  std::string pattern;
  for (const Words& some : {words, more}) {
    for (const std::string_view word : some) {
      pattern +=
          fmt::format("{}{}{}", pattern.empty() ? "" : "|", word, word.ends_with('/') ? "" : "$");
    }
  }
  return pattern.empty() ? "" : "^(" + pattern + ")";
}

std::string PatternOf(const Shape& shape) {
  const std::string part = shape.first == shape.rest
                               ? fmt::format("[{}]+", shape.rest)
                               : fmt::format("[{}][{}]*", shape.first, shape.rest);
  const std::string first =
      shape.roots.empty() ? part : fmt::format("({})", fmt::join(shape.roots, "|"));
  const std::string others = fmt::format("(/{}){}", part, shape.minParts > 1 ? "+" : "*");
  return "^" + first + (shape.maxParts > 1 ? others : "") + "$";
}

// Writes the definitions that a schema refers to, as they come up.
class Writer {
 public:
  Json::Value Whole() {
    Json::Value schema =
        Object({{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                {"title", "Menu catalogue"},
                {"description", "A file of menu items, or an index of such files."},
                {"type", "object"},
                {"if", Object({{"required", List("files")}})},
                {"then", Reference(kIndexForm)},
                {"else", Reference(kItemsFileForm)}});
    schema["$defs"] = m_Definitions;
    return schema;
  }

 private:
  static Json::Value List(const Json::Value& only) {
    Json::Value list(Json::arrayValue);
    list.append(only);
    return list;
  }

  // By its name if it has one, and then defined before it is written, because rules contain rules.
  template <typename Form>
  Json::Value Reference(const Form& form) {
    if (form.name.empty()) {
      return Written(form);
    }
    const std::string name(form.name);
    if (!m_Definitions.isMember(name)) {
      m_Definitions[name] = true;
      const Json::Value written = Written(form);
      m_Definitions[name] = written;
    }
    return Object({{"$ref", "#/$defs/" + name}});
  }

  Json::Value Written(const Form& form) {
    switch (form.sort) {
      case Sort::kAnything:
        return true;
      case Sort::kText:
        return WrittenText(form);
      case Sort::kFileName:
        return Object({{"type", "string"}, {"pattern", "^[^/]+$"}});
      case Sort::kNumber:
        return Object({{"type", "number"}});
      case Sort::kPositive:
        return Object({{"type", "number"}, {"exclusiveMinimum", 0}});
      case Sort::kInteger:
        return Object({{"type", "integer"},
                       {"minimum", std::numeric_limits<int>::min()},
                       {"maximum", std::numeric_limits<int>::max()}});
      case Sort::kTruth:
        return Object({{"type", "boolean"}});
      case Sort::kList: {
        Json::Value list = ListOf(*form.parts.front());
        if (form.areDifferent) {
          list["uniqueItems"] = true;
        }
        return list;
      }
      case Sort::kOneOrSeveral: {
        Json::Value choice = Object({{"anyOf", Json::arrayValue}});
        for (const host::Form* part : form.parts) {
          choice["anyOf"].append(Reference(*part));
          choice["anyOf"].append(ListOf(*part));
        }
        return choice;
      }
      case Sort::kObject:
        return Reference(*form.object);
      case Sort::kItem:
        return WrittenItem();
      case Sort::kRule: {
        Json::Value choice = Object({{"oneOf", Json::arrayValue}});
        for (const ObjectForm& rule : kRuleForms) {
          choice["oneOf"].append(Written(rule));
        }
        return choice;
      }
    }
    return true;
  }

  static Json::Value WrittenText(const Form& form) {
    if (!form.words.empty()) {
      Json::Value words = Object({{"enum", Json::arrayValue}});
      for (const std::string_view word : form.words) {
        words["enum"].append(Text(word));
      }
      return words;
    }
    Json::Value text = Object({{"type", "string"}});
    text["pattern"] = form.shape != nullptr ? PatternOf(*form.shape)
                      : form.canBeEmpty     ? R"(^[^\u0000-\u001f\u007f-\u009f]*$)"
                                            : R"(^[^\u0000-\u001f\u007f-\u009f]+$)";
    if (MostBytes(form) != kNoLimit) {
      text["maxLength"] = static_cast<Json::UInt>(MostBytes(form));
    }
    const std::string excluded =
        PatternOf(form.shape != nullptr ? form.shape->excluded : Words(), form.taken);
    if (!excluded.empty()) {
      text["not"] = Object({{"pattern", excluded}});
    }
    return text;
  }

  Json::Value ListOf(const Form& part) {
    return Object({{"type", "array"}, {"minItems", 1}, {"items", Reference(part)}});
  }

  Json::Value WrittenItem() {
    Json::Value item = Object({{"type", "object"},
                               {"properties", Object({{"kind", Reference(kKindName)}})},
                               {"required", List("kind")},
                               {"allOf", Json::arrayValue}});
    for (const ObjectForm& form : kItemForms) {
      const Json::Value kind = Object({{"kind", Object({{"const", Text(form.name)}})}});
      item["allOf"].append(
          Object({{"if", Object({{"properties", kind}})}, {"then", Reference(form)}}));
    }
    return item;
  }

  Json::Value Written(const ObjectForm& form) {
    Json::Value object = Object({{"type", "object"},
                                 {"properties", Json::objectValue},
                                 {"required", Json::arrayValue},
                                 {"additionalProperties", false}});
    for (const Member& member : form.members) {
      Json::Value& property = object["properties"][std::string(member.name)];
      property = Reference(*member.form);
      if (!member.about.empty()) {
        property["description"] = Text(member.about);
      }
      if (member.isRequired) {
        object["required"].append(Text(member.name));
      }
    }
    if (!form.about.empty()) {
      object["description"] = Text(form.about);
    }
    if (form.members.data() == std::data(kListMembers)) {
      AddIntegerOptions(object);
    }
    return object;
  }

  // Of a list: the only rule on two members that is worth having in an editor.
  static void AddIntegerOptions(Json::Value& list) {
    const Json::Value isInt = Object({{"storage", Object({{"const", "int"}})}});
    const Json::Value integer = Object({{"pattern", "^(0|-?[1-9][0-9]{0,9})$"}});
    const Json::Value option = Object({{"properties", Object({{"value", integer}})}});
    list["if"] = Object({{"properties", isInt}, {"required", List("storage")}});
    list["then"] = Object({{"properties", Object({{"options", Object({{"items", option}})}})}});
  }

  Json::Value m_Definitions{Json::objectValue};
};

std::string OnOneLine(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

// In few lines: what fits on one is not broken.
void Append(const Json::Value& value, std::size_t depth, std::size_t begun, std::string& text) {
  const std::string line = OnOneLine(value);
  if (depth > 0 && begun + line.size() < kColumns) {
    text += line;
    return;
  }
  const std::string indent(2 * depth + 2, ' ');
  if (!value.isObject() && !value.isArray()) {
    text += line;
    return;
  }
  text += value.isObject() ? "{" : "[";
  const char* comma = "\n";
  for (auto member = value.begin(); member != value.end(); ++member) {
    const std::string name =
        value.isObject() ? OnOneLine(Json::Value(member.name())) + ": " : std::string();
    text += comma + indent + name;
    Append(*member, depth + 1, indent.size() + name.size(), text);
    comma = ",\n";
  }
  text += "\n" + std::string(2 * depth, ' ') + (value.isObject() ? "}" : "]");
}

}  // namespace

std::string CatalogueSchema() {
  std::string text;
  Append(Writer().Whole(), 0, 0, text);
  return text;
}

}  // namespace host
