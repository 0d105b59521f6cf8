#pragma once

#include "base/error.h"

namespace host {

// Why a set is not operated as asked.
enum class SetErrorKind {
  kMissing,         // a parameter, the subject, was not given
  kNotAllowed,      // a value that its parameter does not take; the subject is that value
  kNoSource,        // a source that is not in the list, the subject
  kSourceExists,    // one that is there already, with its device or as empty as wanted
  kTooManySources,  // the list is full
  kUnreadable,      // a key, the subject, holds what cannot be used
  kCannotCount,     // a number, in the key that is the subject, cannot become higher
};
using SetError = base::Error<SetErrorKind>;

}  // namespace host
