#pragma once

#include <functional>
#include <vector>

#include "settings/batch.h"

namespace settingsctl {

// Questions that are asked together; each answer is stored where its asker wants it.
class Questions {
 public:
  // The client must outlive this.
  explicit Questions(settings::Client& client) : m_Batch(client) {}

  // `answer` must live until Ask returns, in the same place.
  template <typename T>
  void Add(const settings::Question<T>& question, T& answer) {
    m_Stores.push_back([given = m_Batch.Add(question), &answer] { answer = given.Get(); });
  }

  // Throws settings::Error when a question was not answered.
  void Ask() {
    m_Batch.Ask();
    for (const std::function<void()>& store : m_Stores) {
      store();
    }
    m_Stores.clear();
  }

 private:
  settings::Batch m_Batch;
  std::vector<std::function<void()>> m_Stores;
};

}  // namespace settingsctl
