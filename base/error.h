#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace base {

// An error of one of several kinds, and what it is about. The text says what is wrong but not what
// to do about it: that depends on who asked.
template <typename Kinds>
class Error : public std::runtime_error {
 public:
  using Kind = Kinds;

  Error(Kind kind, std::string subject, const std::string& text)
      : std::runtime_error(text), m_Kind(kind), m_Subject(std::move(subject)) {}

  Kind GetKind() const { return m_Kind; }
  const std::string& Subject() const { return m_Subject; }

 private:
  Kind m_Kind;
  std::string m_Subject;
};

}  // namespace base
