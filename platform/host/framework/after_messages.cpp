#include "framework/after_messages.h"

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "framework/before_messages.h"
#include "system/exception_border.h"
#include "system/host.h"

namespace host {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPause{2};
constexpr std::chrono::milliseconds kPatience{50};

}  // namespace

AfterMessages::AfterMessages(std::function<void()> work) : m_Work(std::move(work)) {
  g_Host.afterMessages.Get().push_back(this);
}

AfterMessages::~AfterMessages() { std::erase(g_Host.afterMessages.Get(), this); }

void AfterMessages::Ask() {
  if (!m_Asked) {
    m_Asked = Clock::now();
  }
}

std::optional<AfterMessages::Time> AfterMessages::Due(bool doRequestsWait) const {
  if (!m_Asked) {
    return std::nullopt;
  }
  return std::max(doRequestsWait ? *m_Asked + kPatience : *m_Asked, m_Done + kPause);
}

std::optional<Clock::time_point> NextAfterMessages(bool doRequestsWait) {
  std::optional<Clock::time_point> next;
  for (const AfterMessages* each : g_Host.afterMessages.Get()) {
    if (const auto due = each->Due(doRequestsWait); due && (!next || *due < *next)) {
      next = due;
    }
  }
  return next;
}

void WorkAfterMessages(bool doRequestsWait) {
  const std::vector<AfterMessages*>& all = g_Host.afterMessages.Get();
  // By index: what is called may add more.
  for (std::size_t i = 0; i < all.size(); ++i) {
    AfterMessages& each = *all[i];
    if (const auto due = each.Due(doRequestsWait); due && *due <= Clock::now()) {
      // What a reply has told already is not announced with an older state afterwards.
      CatchUpBeforeMessage();
      each.m_Asked.reset();
      Guarded("nuvra", "an exception left what goes after messages", each.m_Work);
      each.m_Done = Clock::now();
    }
  }
}

}  // namespace host
