#pragma once

#include "items/inputs.h"

namespace host {

// Runs `answer` for a call of the platform: what cannot be answered because the key store failed is
// `failure`.
template <typename Result, typename Answer>
Result AnswerOr(Result failure, Answer answer) {
  try {
    return answer();
  } catch (const InputFailure&) {
    return failure;
  }
}

}  // namespace host
