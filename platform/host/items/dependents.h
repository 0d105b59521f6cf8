#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "items/item.h"
#include "items/rules.h"

namespace host {

// An item that depends on something, by its place, and which of its parts do.
struct Dependent {
  enum Part : std::uint8_t {
    kValue = 1,
    kVisible = 2,
    kEnabled = 4,
    kOptions = 8,  // which of them are visible or enabled
  };

  std::uint32_t item;
  std::uint8_t parts;

  bool operator==(const Dependent&) const = default;
};

// Which items mention an input in their rules. Does not change, so any thread may read it.
class Dependents {
 public:
  Dependents(std::span<const Item> items, const Rules& rules);

  // In the order of the items, each once.
  std::span<const Dependent> Of(std::uint32_t input) const {
    return std::span(m_All).subspan(m_First[input], m_First[input + 1] - m_First[input]);
  }

 private:
  std::vector<Dependent> m_All;        // those of one input behind those of the one before
  std::vector<std::uint32_t> m_First;  // of each input, and the end
};

}  // namespace host
