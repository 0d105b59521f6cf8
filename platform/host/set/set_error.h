#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace host {

// Why a set is not operated as asked. The text says what is wrong and not what to do about it: that
// depends on who asked.
class SetError : public std::runtime_error {
 public:
  enum class Kind {
    kMissing,         // a parameter, the subject, was not given
    kNotAllowed,      // a value that its parameter does not take; the subject is that value
    kNoSource,        // a source that is not in the list, the subject
    kSourceExists,    // one that is there already, with its device or as empty as wanted
    kTooManySources,  // the list is full
    kUnreadable,      // a key, the subject, holds what cannot be used
    kCannotCount,     // a number, in the key that is the subject, cannot become higher
  };

  SetError(Kind kind, std::string subject, const std::string& text)
      : std::runtime_error(text), m_Kind(kind), m_Subject(std::move(subject)) {}

  Kind GetKind() const { return m_Kind; }
  const std::string& Subject() const { return m_Subject; }

 private:
  Kind m_Kind;
  std::string m_Subject;
};

}  // namespace host
