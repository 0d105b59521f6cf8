#include "framework/before_messages.h"

#include <cstddef>
#include <utility>
#include <vector>

#include "system/exception_border.h"
#include "system/host.h"

namespace host {

BeforeMessages::BeforeMessages(std::function<void()> catchUp) : m_CatchUp(std::move(catchUp)) {
  g_Host.beforeMessages.Get().push_back(this);
}

BeforeMessages::~BeforeMessages() { std::erase(g_Host.beforeMessages.Get(), this); }

void CatchUpBeforeMessage() {
  const std::vector<const BeforeMessages*>& all = g_Host.beforeMessages.Get();
  // By index: what is called may add more.
  for (std::size_t i = 0; i < all.size(); ++i) {
    Guarded("nuvra", "an exception left what goes before a message", all[i]->m_CatchUp);
  }
}

}  // namespace host
