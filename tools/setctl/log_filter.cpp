#include "setctl/log_filter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <iterator>
#include <string_view>
#include <utility>

#include "base/number.h"
#include "text.h"

namespace setctl {
namespace {

using std::chrono::microseconds;
using std::chrono::system_clock;

constexpr const char* kLevels[] = {"debug", "info", "warning", "error"};
constexpr std::string_view kLetters = "DIWE";
constexpr std::string_view kTimeForm = "0000-00-00T00:00:00.000000Z";

// Whether the text has digits where the form has zeros, and else what the form has.
bool HasForm(std::string_view text, std::string_view form) {
  return std::equal(text.begin(), text.end(), form.begin(), form.end(), [](char is, char should) {
    return should == '0' ? is >= '0' && is <= '9' : is == should;
  });
}

// A whole number at the beginning of the text, which has the digits.
int Number(std::string_view text, std::size_t at, std::size_t digits) {
  return base::ParseWhole<int>(text.substr(at, digits)).value_or(0);
}

std::optional<system_clock::time_point> Ago(const std::string& text, system_clock::time_point now) {
  // More than a century is a mistake, and more than the clock can count.
  constexpr std::int64_t kMost = 3'000'000'000;
  constexpr std::pair<char, std::int64_t> kUnits[] = {
      {'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}};
  const auto number = base::ParseWhole<std::int64_t>(text.substr(0, text.size() - 1));
  for (const auto& [unit, seconds] : kUnits) {
    if (number && *number >= 0 && *number <= kMost / seconds && text.back() == unit) {
      return now - std::chrono::seconds(*number * seconds);
    }
  }
  return std::nullopt;
}

// The day or the time of day that the text leaves out are those of `now`, or 0.
std::optional<system_clock::time_point> At(std::string text, system_clock::time_point now) {
  const bool isUtc = text.back() == 'Z';
  if (isUtc) {
    text.pop_back();
  }
  std::replace(text.begin(), text.end(), ' ', 'T');
  const std::time_t clock = system_clock::to_time_t(now);
  std::tm fields{};
  isUtc ? gmtime_r(&clock, &fields) : localtime_r(&clock, &fields);
  if (HasForm(std::string_view(text).substr(0, 5), kTimeForm.substr(11, 5))) {
    text = fmt::format("{:04}-{:02}-{:02}T{}", fields.tm_year + 1900, fields.tm_mon + 1,
                       fields.tm_mday, text);
  }
  const std::string_view form = kTimeForm.substr(0, text.size());
  // Seconds may have fewer decimals than a log writes.
  const bool isCut = text.size() == 10 || text.size() == 16 || text.size() == 19 ||
                     (text.size() > 20 && text.size() <= 26);
  if (!isCut || !HasForm(text, form)) {
    return std::nullopt;
  }
  text += kTimeForm.substr(text.size());
  fields.tm_year = Number(text, 0, 4) - 1900;
  fields.tm_mon = Number(text, 5, 2) - 1;
  fields.tm_mday = Number(text, 8, 2);
  fields.tm_hour = Number(text, 11, 2);
  fields.tm_min = Number(text, 14, 2);
  fields.tm_sec = Number(text, 17, 2);
  fields.tm_isdst = -1;
  const std::tm given = fields;
  const std::time_t seconds = isUtc ? timegm(&fields) : mktime(&fields);
  // A day that does not exist becomes another one, and the clock does not count all years.
  constexpr int kYears[] = {1970 - 1900, 2200 - 1900};
  if (given.tm_year < kYears[0] || given.tm_year > kYears[1] || fields.tm_mon != given.tm_mon ||
      fields.tm_mday != given.tm_mday || given.tm_hour > 23 || given.tm_min > 59 ||
      given.tm_sec > 59) {
    return std::nullopt;
  }
  return system_clock::from_time_t(seconds) + microseconds(Number(text, 20, 6));
}

// As a log writes it, so that times compare as texts.
std::string LogTime(system_clock::time_point time) {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
  const std::time_t clock = system_clock::to_time_t(seconds);
  std::tm utc{};
  gmtime_r(&clock, &utc);
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:06}Z", utc.tm_year + 1900,
                     utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec,
                     std::chrono::floor<microseconds>(time - seconds).count());
}

int Compile(const std::string& pattern, regex_t& compiled) {
  return regcomp(&compiled, pattern.c_str(), REG_EXTENDED | REG_NOSUB);
}

}  // namespace

std::vector<std::string> LogLevels() { return {std::begin(kLevels), std::end(kLevels)}; }

std::optional<LogLine> ParseLogLine(const std::string& line) {
  const std::size_t tag = kTimeForm.size() + 3;
  if (!HasForm(std::string_view(line).substr(0, kTimeForm.size()), kTimeForm) ||
      line.size() < tag || line[tag - 3] != ' ' || line[tag - 1] != ' ') {
    return std::nullopt;
  }
  const std::size_t level = kLetters.find(line[tag - 2]);
  const std::size_t end = line.find("): ", tag);
  const std::size_t open = end == std::string::npos ? end : line.rfind('(', end);
  if (level == std::string_view::npos || open == std::string::npos || open < tag) {
    return std::nullopt;
  }
  const auto pid = base::ParseWhole<int>(std::string_view(line).substr(open + 1, end - open - 1));
  if (!pid) {
    return std::nullopt;
  }
  return LogLine{line.substr(0, kTimeForm.size()), kLevels[level], line.substr(tag, open - tag),
                 *pid, line.substr(end + 3)};
}

std::string LogLineJson(const std::string& line) {
  const std::optional<LogLine> fields = ParseLogLine(line);
  const auto orNull = [&](const auto LogLine::*field) {
    return fields ? Json::Value((*fields).*field) : Json::Value();
  };
  return tools::JsonLine({{"time", orNull(&LogLine::time)},
                          {"level", orNull(&LogLine::level)},
                          {"tag", orNull(&LogLine::tag)},
                          {"pid", orNull(&LogLine::pid)},
                          {"message", fields ? fields->message : line}});
}

std::optional<system_clock::time_point> ParseSince(const std::string& text,
                                                   system_clock::time_point now) {
  if (text.empty()) {
    return std::nullopt;
  }
  const auto ago = Ago(text, now);
  return ago ? ago : At(text, now);
}

std::string PatternProblem(const std::string& pattern) {
  regex_t compiled;
  const int result = Compile(pattern, compiled);
  if (result == 0) {
    regfree(&compiled);
    return "";
  }
  char why[256];
  regerror(result, &compiled, why, sizeof why);
  return fmt::format("{} is not a regular expression: {}", tools::Quote(pattern), why);
}

LogFilter::LogFilter(const std::optional<std::string>& level,
                     const std::optional<std::string>& pattern,
                     const std::optional<std::string>& since) {
  if (level) {
    const std::vector<std::string> all = LogLevels();
    m_LevelsBelow.assign(all.begin(), std::find(all.begin(), all.end(), *level));
  }
  if (pattern) {
    auto compiled = std::make_unique<regex_t>();
    if (Compile(*pattern, *compiled) == 0) {
      m_Pattern = std::shared_ptr<regex_t>(compiled.release(), [](regex_t* expression) {
        regfree(expression);
        delete expression;
      });
    }
  }
  if (since) {
    const auto time = ParseSince(*since, system_clock::now());
    m_Since = time ? LogTime(*time) : "";
  }
}

bool LogFilter::Passes(const std::string& line) {
  if (!IsActive()) {
    return true;
  }
  const std::optional<LogLine> fields = ParseLogLine(line);
  if (fields) {
    m_IsSince = fields->time >= m_Since;
    if (std::find(m_LevelsBelow.begin(), m_LevelsBelow.end(), fields->level) !=
        m_LevelsBelow.end()) {
      return false;
    }
  }
  if (!m_Since.empty() && !m_IsSince) {
    return false;
  }
  // A line may hold any byte, even zero.
  regmatch_t range{0, static_cast<regoff_t>(line.size())};
  return !m_Pattern || regexec(m_Pattern.get(), line.c_str(), 1, &range, REG_STARTEND) == 0;
}

}  // namespace setctl
