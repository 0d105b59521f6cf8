#include "set/set_operator.h"

#include <exception>
#include <thread>
#include <utility>

#include "set/fresh_set.h"
#include "system/signals_blocked.h"

namespace host {

SetOperator::SetOperator(KeyStore& store, std::filesystem::path runDir)
    : m_Store(store), m_RunDir(std::move(runDir)) {}

void SetOperator::Play(const std::function<Steps(const SetView&)>& steps,
                       const std::function<void(const Step&)>& played) {
  const SetLock lock(m_RunDir);
  PrepareFreshSet(m_Store, lock);
  const Steps all = steps(SetView(m_Store));
  std::exception_ptr failure;
  const SignalsBlocked untilAllIsPlayed;
  for (const Step& step : all) {
    std::this_thread::sleep_for(step.pause);
    m_Store.Set(step.key, step.value);
    try {
      if (!failure) {
        played(step);
      }
    } catch (...) {
      failure = std::current_exception();
    }
  }
  if (failure) {
    std::rethrow_exception(failure);
  }
}

}  // namespace host
