#pragma once

#include <compare>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace host {

// A rule, by the place of its node; kNoRule is the one that is always true.
using RuleIndex = std::uint32_t;
inline constexpr RuleIndex kNoRule = std::numeric_limits<RuleIndex>::max();

enum class InputKind : std::uint8_t {
  kItem,  // the value of the item at place `item`, by its position
  kIntKey,
  kTextKey,
  kBoolFeature,
  kIntFeature,
  kSpeaker,  // the type of the active speaker
};

// An input of rules, a number or a text.
struct RuleInput {
  InputKind kind;
  std::uint32_t item = 0;
  std::string name;        // of a key or a feature
  std::string substitute;  // the text used while it is missing or empty; may be empty

  auto operator<=>(const RuleInput&) const = default;
};

enum class RuleKind : std::uint8_t {
  kAll,
  kAny,
  kNot,
  kNumber,  // the input is one of the numbers; truth values are 0 and 1
  kText,    // the input is one of the texts
};

inline constexpr std::uint32_t kNoInput = std::numeric_limits<std::uint32_t>::max();

struct RuleNode {
  RuleKind kind;
  RuleIndex end;                 // the node after the last one of this rule
  std::uint32_t input = 0;       // its place
  std::uint32_t firstValue = 0;  // the values are [firstValue, endValue) of numbers or texts
  std::uint32_t endValue = 0;
};

// All rules of a catalogue. The nodes of a rule are consecutive, each before those that it
// combines, so that they name everything that it depends on. Every input is listed once.
struct Rules {
  std::vector<RuleNode> nodes;
  std::vector<RuleInput> inputs;
  std::vector<std::uint32_t> itemInputs;  // by the place of an item: its input, or kNoInput
  std::vector<std::int64_t> numbers;
  std::vector<std::string> texts;
};

}  // namespace host
