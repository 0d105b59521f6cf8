#include "settingsctl/values_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "base/json.h"
#include "common.h"
#include "text.h"

namespace settingsctl {
namespace {

using tools::ExitCode;
using tools::Failure;
using tools::Quote;

// Far more than any menu has.
constexpr std::size_t kMostBytes = 64 * 1024 * 1024;

constexpr int kMostLevels = 32;

Failure CannotRead(const std::string& name, const std::string& why) {
  return Failure(ExitCode::kRefused, fmt::format("cannot read {}: {}", name, why));
}

std::string ReadAll(const std::string& file, const std::string& name) {
  const auto close = [](std::FILE* stream) { return stream == stdin ? 0 : std::fclose(stream); };
  const std::unique_ptr<std::FILE, decltype(close)> stream(
      file == "-" ? stdin : std::fopen(file.c_str(), "rbe"), close);
  if (!stream) {
    if (errno == ENOENT) {
      throw Failure(ExitCode::kNotFound, "no file " + name);
    }
    throw CannotRead(name, std::strerror(errno));
  }
  std::string text;
  char buffer[64 * 1024];
  while (const std::size_t size = std::fread(buffer, 1, sizeof buffer, stream.get())) {
    text.append(buffer, size);
    if (text.size() > kMostBytes) {
      throw CannotRead(name, "it is larger than 64 MiB");
    }
  }
  if (std::ferror(stream.get()) != 0) {
    throw CannotRead(name, std::strerror(errno));
  }
  return text;
}

}  // namespace

ValuesOfItems ReadValues(const std::string& file) {
  const std::string name = file == "-" ? "standard input" : Quote(file);
  const std::string text = ReadAll(file, name);
  const auto fail = [&](std::size_t at, const std::string& problem) {
    const base::JsonPlace place = base::PlaceOf(text, at);
    throw Failure(ExitCode::kRefused, fmt::format("{}, line {}, column {}: {}; nothing was set",
                                                  name, place.line, place.column, problem));
  };
  if (const char* problem = base::ByteOrderMarkProblem(text)) {
    fail(0, problem);
  }
  const std::size_t begin = std::min(text.find_first_not_of(" \t\r\n"), text.size());
  if (text.compare(begin, 1, "{") != 0) {
    fail(begin, "expected a JSON object, item to value");
  }
  Json::Value root;
  if (const auto fault = base::ReadJson(text, kMostLevels, root)) {
    fail(fault->at, fault->problem);
  }
  ValuesOfItems values;
  for (const std::string& item : root.getMemberNames()) {
    values.emplace_back(item, root[item]);
  }
  std::sort(values.begin(), values.end(), [](const auto& one, const auto& other) {
    return one.second.getOffsetStart() < other.second.getOffsetStart();
  });
  return values;
}

std::string ValuesText(const std::vector<std::pair<std::string, std::string>>& values,
                       bool onOneLine) {
  std::string text;
  for (const auto& [item, value] : values) {
    text += text.empty() ? "" : ",";
    text += onOneLine ? "" : "\n  ";
    text += tools::JsonText(item) + (onOneLine ? ":" : ": ") + tools::JsonText(value);
  }
  return "{" + text + (onOneLine || text.empty() ? "}" : "\n}");
}

}  // namespace settingsctl
