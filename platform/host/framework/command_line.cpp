#include "framework/command_line.h"

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string_view>

#include "base/number.h"
#include "base/utf8.h"
#include "base/version.h"

namespace host {
namespace {

constexpr int kWrongUsage = 2;
constexpr std::uint64_t kLeastLogLimit = 64 * 1024;
constexpr std::uint64_t kMostLogLimit = std::uint64_t{1} << 40;

constexpr char kFooter[] =
    "Environment variables:\n"
    "  SETTINGS_ROOT               root directory of the set, unless --root is given\n"
    "  SETTINGS_MODEL              the model's features, unless --model is given\n"
    "  SETTINGS_DATA_DIR           catalogue and models\n"
    "  SETTINGS_CONFIG_DIR         access.json, which says who may change what\n"
    "  DBUS_SESSION_BUS_ADDRESS    the session bus\n"
    "\n"
    "Exit status: 0 stopped by a signal, 1 failed, 2 wrong usage, 5 already running,\n"
    "8 no bus, 13 the bus does not allow it.";

std::string CheckBus(const std::string& bus) {
  const bool valid = bus == "session" || bus == "system" || bus.find(':') != std::string::npos;
  return valid ? "" : "\"" + bus + "\" is neither session nor system nor the address of a bus";
}

// Empty when `root` is a directory or can become one.
std::string CheckRoot(const std::filesystem::path& root) {
  std::error_code ignored;
  std::filesystem::path existing = root;
  while (!std::filesystem::exists(std::filesystem::symlink_status(existing, ignored)) &&
         existing.has_relative_path()) {
    existing = existing.parent_path();
  }
  const bool valid = std::filesystem::is_directory(existing, ignored);
  return valid ? "" : "\"" + existing.string() + "\" is not a directory";
}

std::string CheckNotEmpty(const std::string& path) {
  return path.empty() ? "the name is empty" : "";
}

// Fails, with advice, when something is missing that a set cannot do without.
void CheckData(const Environment& environment) {
  std::error_code ignored;
  const auto isFile = [&](const std::filesystem::path& path) {
    return std::filesystem::exists(path, ignored) && !std::filesystem::is_directory(path, ignored);
  };
  if (!isFile(environment.dataDir / "catalogue" / "menu.json")) {
    throw CLI::ValidationError("there is no catalogue/menu.json in \"" +
                               environment.dataDir.string() +
                               "\": name the directory of the data with SETTINGS_DATA_DIR");
  }
  if (!isFile(environment.modelFile)) {
    throw CLI::ValidationError("there is no model file \"" + environment.modelFile.string() +
                               "\": name one with --model or SETTINGS_MODEL");
  }
}

// Replaces the size of a log, digits and perhaps a letter, by its number of bytes.
std::string ReadLogLimit(std::string& text) {
  constexpr std::string_view kLetters = "KMGT";
  const std::size_t letter = text.empty() ? std::string::npos : kLetters.find(text.back());
  const bool hasLetter = letter != std::string::npos;
  const std::uint64_t unit = hasLetter ? std::uint64_t{1} << 10 * (letter + 1) : 1;
  const std::optional<std::uint64_t> count =
      base::ParseWhole<std::uint64_t>(text.substr(0, text.size() - (hasLetter ? 1 : 0)));
  if (!count || *count > kMostLogLimit / unit || *count * unit < kLeastLogLimit) {
    return "\"" + text + "\" is not a size from 64K to 1T, such as 16M";
  }
  text = std::to_string(*count * unit);
  return "";
}

// An option that has no value, or another one: the parser's message begins with its name.
std::string WrongCount(const CLI::App& app, const std::string& message) {
  const std::string name = message.substr(0, message.find(':'));
  const CLI::Option* const option = app.get_option_no_throw(name);
  const bool isMissing = option == nullptr || option->count() < 2;
  return name + (isMissing ? " needs a value" : " given twice");
}

// What no option took, and else the parser's words. An option comes before what follows it.
std::string Problem(const CLI::App& app, const CLI::Error& error) {
  std::string unexpected;
  for (const std::string& word : app.remaining()) {
    const bool isOption = word.rfind('-', 0) == 0;
    if (isOption || unexpected.empty()) {
      unexpected = (isOption ? "no option \"" : "unexpected argument \"") + word + "\"";
    }
  }
  if (!unexpected.empty()) {
    return unexpected;
  }
  const bool isCount = dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr;
  return isCount ? WrongCount(app, error.what()) : error.what();
}

// What was wrong quotes what was typed.
std::string VisibleFailure(const CLI::App* app, const CLI::Error& error) {
  std::string message = app->get_name() + ": ";
  base::AppendVisible(message, Problem(*app, error));
  return message + "; see " + app->get_name() + " --help\n";
}

std::string ProgramName(const char* path) { return std::filesystem::path(path).filename(); }

}  // namespace

CommandLine ReadCommandLine(int argc, const char* const* argv) {
  CommandLine line;
  line.environment = EnvironmentFromVariables();
  const std::string program = ProgramName(argv[0]);

  CLI::App app(
      "Serves the settings of a television over D-Bus until stopped by SIGTERM "
      "or SIGINT.",
      program);
  app.set_version_flag("--version", program + " " + base::kVersion, "Print the version and exit");
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.add_option("--bus", line.bus, "The bus to serve on: session, system or an address")
      ->type_name("BUS")
      ->check(CheckBus)
      ->capture_default_str();
  app.add_option("--root", line.environment.root, "Root directory of the set")
      ->type_name("DIR")
      ->check(CheckNotEmpty);
  app.add_option("--model", line.environment.modelFile, "The model's features")->type_name("FILE");
  app.add_option("--log", line.logFile, "Append the log to this file")
      ->type_name("FILE")
      ->check(CheckNotEmpty);
  app.add_option("--log-limit", line.logLimit,
                 "Size of the log file, such as 16M, at which it is renamed to FILE.1")
      ->type_name("SIZE")
      ->transform(CLI::Validator(ReadLogLimit, ""))
      ->default_str("16M");
  app.footer(kFooter);
  app.failure_message(VisibleFailure);
  try {
    app.parse(argc, argv);
    line.environment.root = std::filesystem::absolute(line.environment.root);
    if (const std::string wrong = CheckRoot(line.environment.root); !wrong.empty()) {
      throw CLI::ValidationError(app.count("--root") > 0 ? "--root" : "SETTINGS_ROOT", wrong);
    }
    CheckData(line.environment);
  } catch (const CLI::ParseError& end) {
    throw CommandLineEnd{app.exit(end) == 0 ? 0 : kWrongUsage};
  }
  return line;
}

}  // namespace host
