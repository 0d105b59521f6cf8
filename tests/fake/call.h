#pragma once

#include <initializer_list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "state.h"

namespace fakes {

// Text for the trace: shown as it is.
struct Verbatim {
  std::string text;
};

// A pointer that is only passed through. `kind` is what it is called when it has no name.
struct Pointer {
  const void* address;
  const char* kind = "object";
};

// The text with line ends, other control characters and backslashes escaped.
std::string Escaped(std::string_view text);

// How a value looks in the trace.
std::string TraceText(bool value);
std::string TraceText(int value);
std::string TraceText(unsigned value);
std::string TraceText(double value);
std::string TraceText(const char* value);
std::string TraceText(const void* value) = delete;  // a Pointer says what it is
std::string TraceText(const std::string& value);
std::string TraceText(const std::vector<std::string>& value);
std::string TraceText(const Json::Value& value);
std::string TraceText(const Verbatim& value);
std::string TraceText(const Pointer& value);  // the caller holds the lock

// One platform call while it runs: holds the lock, fails when the test wants it to, and writes
// the call's line into the trace at its end. A function of the platform is
//
//   Call call("name", arguments…);
//   if (auto code = call.Failure(-1)) return call.Returns(*code);
//   …
//   return call.Returns(0, outputs…);
class Call {
 public:
  template <typename... Arguments>
  explicit Call(std::string_view name, const Arguments&... arguments)
      : m_Shared(Shared()), m_Lock(m_Shared.mutex), m_Name(name) {
    m_Line = m_Name + "(" + Joined({TraceText(arguments)...}) + ")";
    if constexpr (sizeof...(arguments) > 0) {
      m_FirstArgument = PlainText(arguments...);
    }
  }

  // What an injected failure makes of this call: nothing, the code to return (`usual` when the
  // test named none), or an exception.
  std::optional<int> Failure(int usual);

  // Ends the call.
  template <typename Result, typename... Outputs>
  Result Returns(Result result, const Outputs&... outputs) {
    Write(" -> " + TraceText(result) +
          (sizeof...(outputs) > 0 ? ": " + Joined({TraceText(outputs)...}) : ""));
    return result;
  }
  void Ends() { Write(""); }

  // For a call whose end in the trace is not its result. The call stays open.
  void Write(const std::string& end);

  // Appends "!! …" to the line.
  void Complain(const std::string& about);

  // For functions that only the main-loop thread may call.
  void MainLoopThreadOnly();

  State* operator->() const { return &m_Shared.state; }
  std::unique_lock<std::mutex>& Lock() { return m_Lock; }

 private:
  static std::string Joined(std::initializer_list<std::string> texts);

  template <typename First, typename... Others>
  static std::string PlainText(const First& first, const Others&...) {
    if constexpr (std::is_convertible_v<const First&, const char*>) {
      const char* text = first;
      return text == nullptr ? "" : text;
    } else if constexpr (std::is_same_v<First, std::string>) {
      return first;
    } else {
      return TraceText(first);
    }
  }

  SharedState& m_Shared;
  std::unique_lock<std::mutex> m_Lock;
  std::string m_Name;
  std::string m_FirstArgument;
  std::string m_Line;
  std::string m_Complaints;
};

}  // namespace fakes
