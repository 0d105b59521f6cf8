#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "settings/client.h"
#include "settings/question.h"

namespace settings {

// The answer to a question of a batch. Copies share the same answer, which outlives its batch.
template <typename T>
class Answer {
 public:
  // Whether it has come, or never will.
  bool IsThere() const { return m_State->result || m_State->error; }

  // Throws Error when the question could not be asked or was answered with an error, and
  // std::logic_error while there is no answer yet.
  const T& Get() const {
    if (m_State->error) {
      std::rethrow_exception(m_State->error);
    }
    if (!m_State->result) {
      throw std::logic_error("the answer is not there yet; ask the batch first");
    }
    return *m_State->result;
  }

 private:
  friend class Batch;
  struct State {
    std::optional<T> result;
    std::exception_ptr error;
  };
  std::shared_ptr<State> m_State = std::make_shared<State>();
};

// Questions that are asked together, in few messages. The service serves them in the order in which
// they were added, with other clients' requests in between. Any number may be asked: while as many
// are on their way as the service takes, the others wait here. What timed out, or was sent by a
// batch that ended, the service serves all the same: behind much of that one question is asked, and
// the others when that is answered. A service that takes only one request per message is asked one
// by one. The client's thread only.
class [[gnu::visibility("default")]] Batch {
 public:
  // The client must outlive the batch.
  explicit Batch(Client & client);

  // Stops waiting for what was sent; those answers never come.
  ~Batch();
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;

  template <typename T>
  Answer<T> Add(const Question<T>& question) {
    Answer<T> answer;
    AddRequest(question.method, question.data,
               [question, state = answer.m_State](const Reply* reply, std::exception_ptr error) {
                 try {
                   if (error) {
                     std::rethrow_exception(error);
                   }
                   state->result = question.read(question.method, *reply);
                 } catch (...) {
                   state->error = std::current_exception();
                 }
               });
    return answer;
  }

  // Asks what was added since the last time and waits; the client's timeout applies to each
  // message. Calls no callbacks. When it returns, all answers are there. Throws Error when the
  // service cannot be reached; questions that were not answered have the same error.
  void Ask();

  // The same without waiting: the answers come through the client's Process and RunUntil, which
  // call `done` when the last one is there; with nothing to wait for it is called immediately. It
  // may do what the callback of a subscription may, and end the batch. Several of these may be
  // under way. When an answer does not come in time, what waits to be sent has the same error.
  // Throws Error when the connection is lost; then `done` is not called.
  void Send(std::function<void()> done);

 private:
  // Gets the reply, or null and the error.
  using Take = std::function<void(const Reply* reply, std::exception_ptr error)>;
  void AddRequest(const std::string& method, const Json::Value& data, Take take);

  struct [[gnu::visibility("hidden")]] Impl;
  std::unique_ptr<Impl> m_Impl;
};

}  // namespace settings
