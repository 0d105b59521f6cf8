#include "framework/before_messages.h"

#include <cstddef>
#include <utility>
#include <vector>

#include "framework/exception_border.h"

namespace host {
namespace {

// Never destroyed: some of what is in it lives as long as the process.
std::vector<const BeforeMessages*>& All() {
  static auto* const all = new std::vector<const BeforeMessages*>();
  return *all;
}

}  // namespace

BeforeMessages::BeforeMessages(std::function<void()> catchUp) : m_CatchUp(std::move(catchUp)) {
  All().push_back(this);
}

BeforeMessages::~BeforeMessages() { std::erase(All(), this); }

void CatchUpBeforeMessage() {
  // By index: what is done may make more of them.
  for (std::size_t i = 0; i < All().size(); ++i) {
    Contain("what goes before a message", All()[i]->m_CatchUp);
  }
}

}  // namespace host
