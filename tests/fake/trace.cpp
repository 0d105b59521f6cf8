#include <algorithm>
#include <charconv>
#include <cstdarg>
#include <cstdio>

#include "call.h"
#include "dlog.h"

namespace fakes {

namespace {

// Every log line begins like this: module, function, line, and the last two again.
constexpr char kLogPrefix[] = "%s: %s(%d) > [%s:%d] ";

std::string PrintV(const char* format, va_list arguments) {
  va_list counted;
  va_copy(counted, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, counted);
  va_end(counted);
  std::string text(length + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, arguments);
  text.resize(length);
  return text;
}

__attribute__((format(printf, 1, 2))) std::string Print(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::string text = PrintV(format, arguments);
  va_end(arguments);
  return text;
}

std::string PriorityText(int priority) {
  switch (priority) {
    case DLOG_DEBUG:
      return "D";
    case DLOG_INFO:
      return "I";
    case DLOG_WARN:
      return "W";
    case DLOG_ERROR:
      return "E";
    default:
      return Print("%d", priority);
  }
}

// The line of the trace for a log line, which is `text` when printed.
std::string LogLine(log_id_t id, int priority, const char* tag, const char* format,
                    const std::string& text, va_list arguments) {
  std::string line = PriorityText(priority) + " ";
  std::string complaints;
  const std::string_view formatText = format;
  if (formatText.starts_with(kLogPrefix)) {
    const char* module = va_arg(arguments, const char*);
    const char* function = va_arg(arguments, const char*);
    const int number = va_arg(arguments, int);
    const char* functionAgain = va_arg(arguments, const char*);
    const int numberAgain = va_arg(arguments, int);
    const std::string prefix =
        Print(kLogPrefix, module, function, number, functionAgain, numberAgain);
    line += Print("%s %s | ", module, function) + Escaped(text.substr(prefix.size()));
    if (prefix != Print(kLogPrefix, module, function, number, function, number) || number <= 0) {
      complaints += " !! prefix " + prefix.substr(0, prefix.size() - 1);
    }
  } else {
    line += "| " + Escaped(text) + " !! format " + Escaped(formatText);
  }
  if (!formatText.ends_with('\n')) {
    complaints += " !! format without line end";
  }
  if (id != LOG_ID_MAIN) {
    complaints += Print(" !! log id %d", id);
  }
  if (const std::string tagText = Print("%s", tag); tagText != "settings-service") {
    complaints += " !! tag " + tagText;
  }
  return line + complaints;
}

// What an injected failure makes of a call: nothing, or the failure to act on.
const FailureOptions* TakeFailure(const std::string& call, const std::string& firstArgument) {
  for (InjectedFailure& failure : Shared().state.failures) {
    const FailureOptions& options = failure.options;
    if (failure.call != call || (!options.on.empty() && options.on != firstArgument)) {
      continue;
    }
    if (failure.spared < options.after) {
      ++failure.spared;
    } else if (failure.uses < options.times) {
      ++failure.uses;
      return &options;
    }
  }
  return nullptr;
}

}  // namespace

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\n') {
      escaped += "\\n";
    } else if (c == '\\') {
      escaped += "\\\\";
    } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) {
      escaped += Print("\\x%02x", c);
    } else {
      escaped += c;
    }
  }
  return escaped;
}

std::string TraceText(bool value) { return value ? "true" : "false"; }

std::string TraceText(int value) { return std::to_string(value); }

std::string TraceText(unsigned value) { return std::to_string(value); }

std::string TraceText(double value) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof(text), value).ptr};
}

std::string TraceText(const char* value) {
  return value == nullptr ? "null" : TraceText(std::string(value));
}

std::string TraceText(const std::string& value) { return '"' + Escaped(value) + '"'; }

std::string TraceText(const std::vector<std::string>& value) {
  std::string texts;
  for (const std::string& text : value) {
    texts += (texts.empty() ? "" : ", ") + TraceText(text);
  }
  return "[" + texts + "]";
}

std::string TraceText(const Json::Value& value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, value);
}

std::string TraceText(const Verbatim& value) { return value.text; }

std::string TraceText(const Pointer& value) {
  if (value.address == nullptr) {
    return "null";
  }
  State& state = Shared().state;
  auto [named, isNew] = state.names.try_emplace(value.address);
  if (isNew) {
    named->second = value.kind + std::to_string(++state.namesGiven[value.kind]);
  }
  return named->second;
}

std::optional<int> Call::Failure(int usual) {
  const FailureOptions* failure = TakeFailure(m_Name, m_FirstArgument);
  if (failure == nullptr) {
    return std::nullopt;
  }
  if (failure->exception) {
    Write(" throws");
    std::rethrow_exception(failure->exception);
  }
  return failure->code.value_or(usual);
}

void Call::Write(const std::string& end) {
  m_Shared.state.trace.push_back(m_Line + end + m_Complaints);
  m_Shared.changed.notify_all();
}

void Call::Complain(const std::string& about) { m_Complaints += " !! " + about; }

void Call::MainLoopThreadOnly() {
  if (std::this_thread::get_id() != m_Shared.state.mainLoopThread) {
    Complain("not on the main-loop thread");
  }
}

std::string Call::Joined(std::initializer_list<std::string> texts) {
  std::string joined;
  for (const std::string& text : texts) {
    joined += joined.empty() ? text : ", " + text;
  }
  return joined;
}

std::vector<std::string> Platform::Trace() const {
  std::lock_guard lock(Shared().mutex);
  return Shared().state.trace;
}

std::vector<std::string> Platform::TakeTrace() {
  std::lock_guard lock(Shared().mutex);
  return std::exchange(Shared().state.trace, {});
}

bool Platform::WaitForTrace(const std::string& text, std::chrono::milliseconds limit) const {
  std::unique_lock lock(Shared().mutex);
  return Shared().changed.wait_for(lock, limit, [&] {
    const auto& trace = Shared().state.trace;
    return std::any_of(trace.begin(), trace.end(), [&](const std::string& line) {
      return line.find(text) != std::string::npos;
    });
  });
}

void Platform::Name(const void* pointer, std::string name) {
  std::lock_guard lock(Shared().mutex);
  Shared().state.names[pointer] = std::move(name);
}

void Platform::Fail(std::string call, FailureOptions options) {
  std::lock_guard lock(Shared().mutex);
  Shared().state.failures.push_back({.call = std::move(call), .options = std::move(options)});
}

std::vector<std::string> Platform::UnusedFailures() const {
  std::lock_guard lock(Shared().mutex);
  std::vector<std::string> unused;
  for (const InjectedFailure& failure : Shared().state.failures) {
    const bool always = failure.options.times == FailureOptions::kAlways;
    const int wanted = always ? 1 : failure.options.times;
    if (failure.uses < wanted) {
      const std::string where =
          failure.options.on.empty() ? "" : Print(" on \"%s\"", failure.options.on.c_str());
      unused.push_back(Print("%s%s was to fail %d time(s), but did so %d time(s)",
                             failure.call.c_str(), where.c_str(), wanted, failure.uses));
    }
  }
  return unused;
}

}  // namespace fakes

using namespace fakes;

extern "C" int __dlog_print(log_id_t id, int priority, const char* tag, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::string text = PrintV(format, arguments);
  va_end(arguments);
  va_start(arguments, format);
  std::string line = LogLine(id, priority, tag, format, text, arguments);
  va_end(arguments);

  std::lock_guard lock(Shared().mutex);
  int result = static_cast<int>(text.size());
  if (const FailureOptions* failure = TakeFailure("__dlog_print", text)) {
    result = failure->code.value_or(-1);
    line += " -> " + TraceText(result);
  }
  Shared().state.trace.push_back(std::move(line));
  Shared().changed.notify_all();
  return result;
}
