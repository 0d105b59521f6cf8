#include "items/dependents.h"

#include <numeric>
#include <variant>

namespace host {
namespace {

// Calls `visit` with each input that the rule mentions.
template <typename Visit>
void VisitInputs(const Rules& rules, RuleIndex rule, Visit visit) {
  if (rule == kNoRule) {
    return;
  }
  for (RuleIndex node = rule; node < rules.nodes[rule].end; ++node) {
    const RuleKind kind = rules.nodes[node].kind;
    if (kind == RuleKind::kNumber || kind == RuleKind::kText) {
      visit(rules.nodes[node].input);
    }
  }
}

// Calls `visit` with each input that the item mentions and with the part that does.
template <typename Visit>
void VisitMentions(const Rules& rules, const Item& item, Visit visit) {
  const auto visitAs = [&](RuleIndex rule, Dependent::Part part) {
    VisitInputs(rules, rule, [&](std::uint32_t input) { visit(input, part); });
  };
  visitAs(item.states.visible, Dependent::kVisible);
  visitAs(item.states.enabled, Dependent::kEnabled);
  const auto* options =
      item.value ? std::get_if<std::vector<Option>>(&item.value->values) : nullptr;
  if (options != nullptr) {
    for (const Option& option : *options) {
      visitAs(option.states.visible, Dependent::kOptions);
      visitAs(option.states.enabled, Dependent::kOptions);
    }
  }
}

}  // namespace

// Counted first, then filled in: an item whose last entry at an input is its own has another part.
Dependents::Dependents(std::span<const Item> items, const Rules& rules) {
  std::vector<std::uint32_t> last(rules.inputs.size(), kNoItem);
  m_First.assign(rules.inputs.size() + 1, 0);
  for (std::uint32_t place = 0; place < items.size(); ++place) {
    VisitMentions(rules, items[place], [&](std::uint32_t input, Dependent::Part) {
      m_First[input + 1] += last[input] == place ? 0 : 1;
      last[input] = place;
    });
  }
  std::partial_sum(m_First.begin(), m_First.end(), m_First.begin());
  m_All.resize(m_First.back());
  std::vector<std::uint32_t> end(m_First.begin(), m_First.end() - 1);
  for (std::uint32_t place = 0; place < items.size(); ++place) {
    VisitMentions(rules, items[place], [&](std::uint32_t input, Dependent::Part part) {
      std::uint32_t& next = end[input];
      if (next == m_First[input] || m_All[next - 1].item != place) {
        m_All[next++] = {place, 0};
      }
      m_All[next - 1].parts |= part;
    });
  }
}

}  // namespace host
