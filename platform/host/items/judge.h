#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "items/catalogue.h"
#include "items/inputs.h"

namespace host {

// What the items of a catalogue are when their inputs are these. Main-loop thread only. Each call
// throws InputFailure when an input that it needs cannot be read.
class Judge {
 public:
  // All are referenced. The type of the speaker is empty when no speaker was chosen on the set.
  Judge(const Catalogue& catalogue, const ReadableInputs& inputs, const std::string& speakerType)
      : m_Catalogue(catalogue), m_Inputs(inputs), m_SpeakerType(speakerType) {}

  const Catalogue& Items() const { return m_Catalogue; }
  const ReadableInputs& Inputs() const { return m_Inputs; }

  // The value in effect of an item that has one: what is previewed, otherwise what the item
  // follows, otherwise what is stored, otherwise the default. A text or number in the store that
  // is none of the item's values counts as not there.
  ValuePosition CurrentValue(const Item& item) const;

  // The first of these, if the item is previewed, and the stored value or else the default.
  std::optional<ValuePosition> PreviewedValue(const Item& item) const;
  ValuePosition KeptValue(const Item& item) const;

  // Whether a rule of the catalogue is true.
  bool IsTrue(RuleIndex rule) const;

  // The text of an input that is one; nothing when it is missing or of the other type.
  std::optional<std::string> Text(const RuleInput& input) const;

 private:
  std::optional<ValuePosition> StoredValue(const ValueDefinition& value) const;
  std::optional<std::int64_t> Number(const RuleInput& input) const;
  bool HasPart(RuleIndex rule, bool wanted) const;
  bool HasNumber(const RuleNode& node, std::optional<std::int64_t> number) const;
  bool HasText(const RuleNode& node, const std::optional<std::string>& text) const;

  const Catalogue& m_Catalogue;
  const ReadableInputs& m_Inputs;
  const std::string& m_SpeakerType;
};

}  // namespace host
