#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace host {

// A rule, by the place of its node; kNoRule is the one that is always true.
using RuleIndex = std::uint32_t;
inline constexpr RuleIndex kNoRule = std::numeric_limits<RuleIndex>::max();

enum class RuleKind : std::uint8_t {
  kAll,
  kAny,
  kNot,
  kItem,         // the value of the item at place `subject` is one of the numbers (positions)
  kIntKey,       // the key texts[subject] holds one of the numbers
  kTextKey,      // the key texts[subject] holds one of the texts
  kBoolFeature,  // the feature texts[subject] is one of the numbers, 0 or 1
  kIntFeature,   // the feature texts[subject] is one of the numbers
  kSource,       // the type of the present source is one of the texts
  kSpeaker,      // the type of the active speaker is one of the texts
};

struct RuleNode {
  RuleKind kind;
  RuleIndex end;  // the node behind the last one of this rule
  std::uint32_t subject = 0;
  std::uint32_t firstValue = 0;  // the values are [firstValue, endValue) of numbers or texts
  std::uint32_t endValue = 0;
};

// All rules of a catalogue. The nodes of a rule lie one behind the other, each before those that
// it combines.
struct Rules {
  std::vector<RuleNode> nodes;
  std::vector<std::int64_t> numbers;
  std::vector<std::string> texts;
};

}  // namespace host
