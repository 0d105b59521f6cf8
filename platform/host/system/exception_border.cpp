#include "system/exception_border.h"

#include <cxxabi.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <typeinfo>

#include "base/utf8.h"
#include "system/error_log.h"

namespace host {
namespace {

constexpr std::size_t kMaxTextSize = 1024;

std::string CurrentExceptionType() {
  const std::type_info* type = abi::__cxa_current_exception_type();
  if (type == nullptr) {
    return "unknown type";
  }
  const std::unique_ptr<char, decltype(&std::free)> name(
      abi::__cxa_demangle(type->name(), nullptr, nullptr, nullptr), std::free);
  return std::string("type ") + (name != nullptr ? name.get() : type->name());
}

}  // namespace

std::string CurrentExceptionText() {
  try {
    throw;
  } catch (const std::exception& exception) {
    return base::OneLine(exception.what(), kMaxTextSize);
  } catch (...) {
    return base::OneLine("an exception of " + CurrentExceptionType(), kMaxTextSize);
  }
}

void LogCurrentException(const char* tag, std::string_view what) {
  LogError(tag, std::string(what) + ": " + CurrentExceptionText());
}

}  // namespace host
