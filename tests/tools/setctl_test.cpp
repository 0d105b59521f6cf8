#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "base/json.h"
#include "fixture.h"
#include "keystore/key_store.h"
#include "system/log_file.h"
#include "text.h"

namespace {

using namespace std::string_literals;
using host::KeyStore;
using host::KeyValue;
using support::Outcome;
using support::ReadFile;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

void ExpectFailure(const Outcome& outcome, int status, const std::string& message) {
  ExpectFailureOf("setctl", outcome, status, message);
}

// A set's root directory, in which a daemon made the key store, and the tool.
class Setctl : public testing::Test {
 protected:
  Setctl() { Store(); }

  support::Variables Variables() const { return {{"SETTINGS_ROOT", m_Root.Path()}}; }

  static std::vector<std::string> Command(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), SETCTL);
    return arguments;
  }

  Outcome Run(const std::vector<std::string>& arguments) const {
    return support::RunCommand(Command(arguments), Variables());
  }

  std::unique_ptr<Background> Start(const std::vector<std::string>& arguments) const {
    return std::make_unique<Background>(Command(arguments), Variables());
  }

  // The set's key store, as another program of the set sees it.
  KeyStore& Store() {
    if (!m_Store) {
      m_Store = std::make_unique<KeyStore>(m_Root / "var/lib/settings-service",
                                           m_Root / "run/settings-service");
    }
    return *m_Store;
  }

  support::TempDirectory m_Root;
  std::unique_ptr<KeyStore> m_Store;
};

TEST_F(Setctl, AStoredKeyIsReadBackByEveryProgramOfTheSet) {
  ExpectOutput(Run({"key", "set", "db/menu/x", "5"}), "");
  ExpectOutput(Run({"key", "set", "memory/y", "text"}), "");
  ExpectOutput(Run({"key", "get", "db/menu/x"}), "5\n");
  ExpectOutput(Run({"key", "get", "memory/y"}), "text\n");
  EXPECT_EQ(Store().Get("db/menu/x"), KeyValue(5));
  EXPECT_EQ(Store().Get("memory/y"), KeyValue("text"));
}

TEST_F(Setctl, ABackupOfARunningStoreIsAWholeOfItsOwn) {
  Store().Set("db/x", KeyValue(5));
  Store().Set("memory/x", KeyValue(6));
  const std::filesystem::path backup = m_Root / "backup";
  ExpectOutput(Run({"key", "backup", backup}), "");
  Store().Set("db/x", KeyValue(7));
  ExpectOutput(Run({"key", "backup", m_Root / "later"}), "");
  const Outcome first = Run({"key", "recover", backup});
  EXPECT_EQ(first.status, 0);
  EXPECT_EQ(first.out, "db/x = 5\n");
  EXPECT_EQ(Run({"key", "recover", m_Root / "later"}).out, "db/x = 7\n");
  ExpectFailure(Run({"key", "backup", m_Root / "var/lib/settings-service/keys.db"}), 2,
                "choose another directory");
  ExpectFailure(Run({"key", "backup", m_Root / "run/settings-service/keys.db"}), 2,
                "choose another directory");
  const Outcome nowhere = Run({"key", "backup", m_Root / "none/backup"});
  ExpectFailure(nowhere, 1, "cannot make " + (m_Root / "none/backup").string());
  EXPECT_THAT(nowhere.err, Not(HasSubstr("keys.db")));
  EXPECT_EQ(Store().Get("db/x"), KeyValue(7));
  EXPECT_EQ(Store().Get("memory/x"), KeyValue(6));
}

TEST_F(Setctl, ACheckTellsHowTheFilesAreAndMendsNothing) {
  Store().Set("db/x", KeyValue(5));
  const std::string file = m_Root / "var/lib/settings-service/keys.db";
  const std::string memory = m_Root / "run/settings-service/keys.db";
  ExpectOutput(Run({"key", "check"}), file + " is whole\n" + memory + " is whole\n");
  m_Store.reset();
  ExpectOutput(Run({"key", "check"}), file + " is whole\n" + memory + " is whole\n");
  std::filesystem::resize_file(file, 5000);
  for (int time = 0; time < 2; ++time) {
    const Outcome outcome = Run({"key", "check"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, StartsWith(file + " is cut short\n"));
  }
  // Who opens it mends it and says so.
  const Outcome listed = Run({"key", "list"});
  EXPECT_EQ(listed.status, 0);
  EXPECT_THAT(listed.err, HasSubstr("is set aside as " + file + ".damaged-"));
  const Outcome outcome = Run({"key", "check", "--json"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out,
              AllOf(HasSubstr(R"("state":"whole")"), HasSubstr(R"("state":"set aside")")));
}

TEST_F(Setctl, WhatCanBeReadOfADamagedFileIsPrintedAndStored) {
  for (int i = 100; i < 300; ++i) {
    Store().Set("db/key" + std::to_string(i), KeyValue(std::string(100, 'x')));
  }
  m_Store.reset();
  const std::filesystem::path file = m_Root / "var/lib/settings-service/keys.db";
  std::filesystem::rename(file, m_Root / "damaged");
  Store().Set("db/new", KeyValue(1));
  std::fstream(m_Root / "damaged", std::ios::in | std::ios::out).seekp(5 * 4096) << "damage";
  const Outcome printed = Run({"key", "recover", m_Root / "damaged"});
  EXPECT_EQ(printed.status, 1);
  EXPECT_THAT(printed.err, HasSubstr("parts of the file cannot be read"));
  EXPECT_THAT(printed.out, AllOf(HasSubstr("db/key200 = \"x"), HasSubstr("db/key299 = \"x")));
  EXPECT_EQ(Store().Get("db/key200"), std::nullopt);
  EXPECT_EQ(Run({"key", "recover", "--set", m_Root / "damaged"}).out, printed.out);
  EXPECT_EQ(Store().Get("db/key200"), KeyValue(std::string(100, 'x')));
  EXPECT_EQ(Store().Get("db/new"), KeyValue(1));
  ExpectFailure(Run({"key", "recover", m_Root / "none"}), 10, "no file");
  std::ofstream(m_Root / "notes") << "no key file\n";
  ExpectFailure(Run({"key", "recover", m_Root / "notes"}), 1,
                "no key can be read in " + (m_Root / "notes").string() + "; is it a key file?\n");
}

TEST_F(Setctl, AllThatCanBeReadIsStoredAlsoWhenTheOutputCannotBeWritten) {
  for (int i = 100; i < 300; ++i) {
    Store().Set("db/key" + std::to_string(i), KeyValue(std::string(100, 'x')));
  }
  const std::filesystem::path backup = m_Root / "backup";
  ExpectOutput(Run({"key", "backup", backup}), "");
  const std::pair<std::string, int> outputs[] = {
      {R"(exec > >(exit 0); wait $!; exec "$0" "$@")", 0},
      {R"(exec "$0" "$@" > /dev/full)", 1},
  };
  for (const auto& [shell, status] : outputs) {
    for (int i = 100; i < 300; ++i) {
      Store().Unset("db/key" + std::to_string(i));
    }
    std::vector<std::string> command = Command({"key", "recover", "--set", backup});
    command.insert(command.begin(), {"bash", "-c", shell});
    EXPECT_EQ(support::RunCommand(command, Variables()).status, status);
    EXPECT_EQ(Store().List("db/key").size(), 200u);
  }
}

TEST_F(Setctl, ABackupIsReadWhateverBecameOfTheStore) {
  Store().Set("db/x", KeyValue(5));
  const std::filesystem::path backup = m_Root / "backup";
  ExpectOutput(Run({"key", "backup", backup}), "");
  for (int i = 0; i < 300; ++i) {
    Store().Set("db/key" + std::to_string(i), KeyValue(std::string(100, 'x')));
  }
  // As long as the store is in use nobody mends it.
  const std::string log = m_Root / "var/lib/settings-service/keys.db-wal";
  std::fstream frames(log, std::ios::in | std::ios::out | std::ios::binary);
  frames.seekp(32);
  frames << std::string(std::filesystem::file_size(log) - 32, 'x') << std::flush;
  ASSERT_EQ(Run({"key", "list"}).status, 1);
  EXPECT_EQ(Run({"key", "recover", backup}).out, "db/x = 5\n");

  m_Store.reset();
  std::filesystem::remove_all(m_Root / "run");
  const Outcome stopped = Run({"key", "recover", backup});
  EXPECT_EQ(stopped.status, 0);
  EXPECT_EQ(stopped.out, "db/x = 5\n");
  EXPECT_FALSE(std::filesystem::exists(m_Root / "run"));
  ExpectFailure(Run({"key", "recover", "--set", backup}), 8, "no set runs");
}

TEST_F(Setctl, TheTypeOfAValueFollowsItsTextTheKeyOrTheOptions) {
  Store().Set("db/held", KeyValue("old"));
  Run({"key", "set", "db/held", "5"});
  EXPECT_EQ(Store().Get("db/held"), KeyValue("5"));
  Run({"key", "set", "db/held", "5", "--int"});
  EXPECT_EQ(Store().Get("db/held"), KeyValue(5));
  Run({"key", "set", "--string", "db/held", "6"});
  EXPECT_EQ(Store().Get("db/held"), KeyValue("6"));
  ExpectOutput(Run({"key", "set", "db/negative", "-7"}), "");
  EXPECT_EQ(Store().Get("db/negative"), KeyValue(-7));
  ExpectOutput(Run({"key", "set", "db/list", R"([{"id":"a"},{"id":"b"}])"}), "");
  EXPECT_EQ(Store().Get("db/list"), KeyValue(R"([{"id":"a"},{"id":"b"}])"));
  ExpectOutput(Run({"key", "set", "db/empty", ""}), "");
  EXPECT_EQ(Store().Get("db/empty"), KeyValue(""));
}

TEST_F(Setctl, AValueThatDoesNotFitChangesNothing) {
  Store().Set("db/x", KeyValue(1));
  ExpectFailure(Run({"key", "set", "db/x", "2147483648"}), 2, "32 bits");
  ExpectFailure(Run({"key", "set", "db/x", "many", "--int"}), 2, "\"many\" is not an integer");
  ExpectFailure(Run({"key", "set", "db/x", "1", "--int", "--string"}), 2, "--int");
  EXPECT_EQ(Store().Get("db/x"), KeyValue(1));
}

TEST_F(Setctl, AKeyIsRemovedOnce) {
  Store().Set("db/x", KeyValue(1));
  ExpectOutput(Run({"key", "unset", "db/x"}), "");
  EXPECT_EQ(Store().Get("db/x"), std::nullopt);
  ExpectFailure(Run({"key", "unset", "db/x"}), 10, "no key \"db/x\"");
}

TEST_F(Setctl, AMissingKeyEndsWith10) {
  Store().Set("db/menu/brightness", KeyValue(1));
  ExpectFailure(Run({"key", "get", "db/none"}), 10,
                ": no key \"db/none\"; setctl key list shows all\n");
  ExpectFailure(Run({"key", "get", "db/menu/brigthness"}), 10,
                ": no key \"db/menu/brigthness\"; nearest: db/menu/brightness\n");
  ExpectFailure(Run({"key", "unset", "brightness"}), 2, "keys begin with db/ or memory/");
}

TEST_F(Setctl, ANameOutsideTheStoresEndsWith2AndSaysWhereKeysAre) {
  for (const std::string verb : {"get", "unset", "list", "watch"}) {
    ExpectFailure(Run({"key", verb, "menu/x"}), 2, "keys begin with db/ or memory/");
  }
  ExpectFailure(Run({"key", "set", "db/", "1"}), 2, "keys begin with db/ or memory/");
  ExpectFailure(Run({"key", "get", "db/a\nb"}), 2, "\"db/a\\nb\" is not a valid key");
}

TEST_F(Setctl, KeysAreListedInOrderWithTheirTypes) {
  Store().Set("memory/z", KeyValue("a \"quoted\"\nline"));
  Store().Set("db/menu/b", KeyValue("5"));
  Store().Set("db/menu/a", KeyValue(5));
  ExpectOutput(Run({"key", "list"}),
               "db/menu/a = 5\n"
               "db/menu/b = \"5\"\n"
               "memory/z = \"a \\\"quoted\\\"\\nline\"\n");
  ExpectOutput(Run({"key", "list", "db/menu/b"}), "db/menu/b = \"5\"\n");
  ExpectOutput(Run({"key", "list", "memory/none"}), "");
}

TEST_F(Setctl, EveryKeyVerbPrintsJsonOnRequest) {
  ExpectOutput(Run({"--json", "key", "set", "db/x", "5"}), "{\"key\":\"db/x\",\"value\":5}\n");
  ExpectOutput(Run({"key", "--json", "get", "db/x"}), "{\"key\":\"db/x\",\"value\":5}\n");
  ExpectOutput(Run({"key", "list", "--json"}), "{\"key\":\"db/x\",\"value\":5}\n");
  ExpectOutput(Run({"key", "unset", "db/x", "--json"}), "{\"key\":\"db/x\",\"value\":null}\n");
}

TEST_F(Setctl, AValueCannotDisturbATerminal) {
  Store().Set("db/x", KeyValue("\x1b[2J\xff"));
  ExpectOutput(Run({"key", "get", "db/x"}), "\\x1b[2J\\xff\n");
  EXPECT_TRUE(base::TryParseJson(Run({"key", "get", "db/x", "--json"}).out));
}

TEST_F(Setctl, TheRootOnTheCommandLineGoesBeforeTheVariable) {
  support::TempDirectory other;
  KeyStore(other / "var/lib/settings-service", other / "run/settings-service");
  ExpectOutput(Run({"--root", other.Path(), "key", "set", "db/x", "1"}), "");
  ExpectFailure(Run({"key", "get", "db/x"}), 10, "db/x");
  ExpectOutput(Run({"key", "get", "db/x", "--root", other.Path()}), "1\n");
}

TEST_F(Setctl, AMistypedRootDoesNotBecomeASet) {
  const std::filesystem::path none = m_Root / "none";
  ExpectFailure(Run({"--root", none, "key", "set", "db/x", "1"}), 2, none);
  ExpectFailure(Run({"--root", none, "log"}), 2, none);
  EXPECT_FALSE(std::filesystem::exists(none));
}

TEST_F(Setctl, WithoutASetNothingIsMadeAndEveryVerbSaysHowToStartOne) {
  const support::TempDirectory empty;
  const support::TempDirectory ended;
  std::filesystem::create_directories(ended / "var/lib/settings-service");
  std::ofstream(ended / "var/lib/settings-service/keys.db") << "what a set keeps";
  // As after a copy that was cut short.
  const support::TempDirectory blank;
  for (const char* directory : {"var/lib/settings-service", "run/settings-service"}) {
    std::filesystem::create_directories(blank / directory);
    std::ofstream(blank / directory / "keys.db").close();
  }
  const std::vector<std::vector<std::string>> verbs = {
      {"key", "get", "db/x"},
      {"key", "set", "db/x", "1"},
      {"key", "unset", "db/x"},
      {"key", "list"},
      {"key", "watch"},
      {"source", "list"},
      {"game-mode", "1"},
      {"language", "de_DE"},
      {"reset", "factory"},
      {"log"},
      {"app", "log", "org.pavix.menu"},
  };
  for (std::vector<std::string> verb : verbs) {
    SCOPED_TRACE(testing::PrintToString(verb));
    for (const std::filesystem::path& root : {empty.Path(), ended.Path(), blank.Path()}) {
      std::vector<std::string> line = {"--root", root};
      line.insert(line.end(), verb.begin(), verb.end());
      ExpectFailure(Run(line), 8, "no set runs in \"" + root.native() + "\"; start one");
    }
  }
  EXPECT_TRUE(std::filesystem::is_empty(empty.Path()));
  EXPECT_FALSE(std::filesystem::exists(ended / "run"));
  EXPECT_TRUE(std::filesystem::is_empty(blank / "var/lib/settings-service/keys.db"));
  EXPECT_TRUE(std::filesystem::is_empty(blank / "run/settings-service/keys.db"));
}

TEST_F(Setctl, AnEmptyRootIsWrongUsage) {
  ExpectFailure(Run({"--root", "", "key", "list"}), 2, "--root: the name is empty");
}

TEST_F(Setctl, AStoreThatCannotBeOpenedIsNamed) {
  m_Store.reset();
  const std::filesystem::path file = m_Root / "run/settings-service/changed";
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  ExpectFailure(Run({"key", "list"}), 1, file);
}

TEST_F(Setctl, ASetOfAnotherUserEndsWith13) {
  std::filesystem::permissions(m_Root / "var/lib/settings-service", std::filesystem::perms::none);
  std::vector<std::string> command = Command({"key", "list"});
  if (geteuid() == 0) {
    // The superuser is held up by no permission but for this.
    const std::vector<std::string> held = {"setpriv",
                                           "--bounding-set=-dac_override,-dac_read_search"};
    command.insert(command.begin(), held.begin(), held.end());
  }
  ExpectFailure(support::RunCommand(command, Variables()), 13, m_Root.Path());
  std::filesystem::permissions(m_Root / "var/lib/settings-service",
                               std::filesystem::perms::owner_all);
}

TEST_F(Setctl, WrongUsageEndsWith2AndSaysWhatIsWrong) {
  const std::pair<std::vector<std::string>, std::string> lines[] = {
      {{}, "no verb given; see setctl --help"},
      {{"nosuchverb"}, "no verb \"nosuchverb\"; see setctl --help"},
      {{"catalog", "check"}, "no verb \"catalog\"; nearest: catalogue, catalogue check, "},
      {{"list"}, "no verb \"list\"; nearest: key list, source list, app list\n"},
      {{"key"}, "no verb given after key; valid: get, set, unset, list, watch, check, backup, "},
      {{"key", "nosuchverb"}, "no verb \"key nosuchverb\"; see setctl key --help"},
      {{"key", "gett", "db/a"}, "no verb \"key gett\"; nearest: key get, key set\n"},
      {{"key", "get"}, "KEY is required; see setctl key get --help"},
      {{"key", "get", "db/a", "db/b"}, "unexpected argument \"db/b\"; see setctl key get --help"},
      {{"key", "set", "db/a"}, "VALUE is required; see setctl key set --help"},
      {{"key", "set", "db/a", "1", "--int", "--string"},
       "--int excludes --string; see setctl key set --help"},
      {{"key", "unset"}, "KEY is required; see setctl key unset --help"},
      {{"key", "list", "db/", "db/"}, "unexpected argument \"db/\"; see setctl key list --help"},
      {{"key", "watch", "--count", "0"},
       "--count: \"0\" is not a whole number from 1 to 2147483647\n"},
      {{"key", "watch", "--timeout", "0"}, "--timeout: \"0\" is not a number of seconds above 0"},
      {{"key", "watch", "--timeout", "0x10"},
       "--timeout: \"0x10\" is not a number of seconds above 0"},
      {{"log", "--lines", "0"}, "--lines: \"0\" is not a whole number from 1 to 2147483647\n"},
      {{"log", "--level", "warn"}, "--level: \"warn\" is not one of debug, info, warning, error\n"},
      {{"log", "--grep", "("}, "--grep: \"(\" is not a regular expression: Unmatched"},
      {{"log", "--since", "soon"}, "--since: \"soon\" is no time; use e.g. 10m "},
      {{"log", "stray"}, "unexpected argument \"stray\"; see setctl log --help"},
      {{"log", "--folow"}, "no option \"--folow\"; nearest: --follow\n"},
      {{"app", "state", "org.example.a", "foregroun"},
       "STATE: \"foregroun\" is not one of foreground, visible, background\n"},
      {{"--root"}, "--root needs a value, DIR; see setctl --help"},
  };
  for (const auto& [line, problem] : lines) {
    SCOPED_TRACE(testing::PrintToString(line));
    ExpectFailure(Run(line), 2, "setctl: " + problem);
  }
}

TEST_F(Setctl, HelpAndVersionAreNoErrors) {
  const Outcome help = Run({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* text : {"  key ", "  log ", "Examples:", "Exit codes:", "--root DIR"}) {
    EXPECT_THAT(help.out, HasSubstr(text));
  }
  EXPECT_THAT(
      Run({"key", "--help"}).out,
      AllOf(HasSubstr("  watch "), HasSubstr("  unset "),
            HasSubstr("Examples:\n  setctl key get db/menu/brightness\n  setctl key set ")));
  EXPECT_THAT(Run({"key", "set", "--help"}).out, HasSubstr("--string"));
  EXPECT_THAT(Run({"--version"}).out, StartsWith("setctl "));
}

class KeyWatch : public Setctl {
 protected:
  // Starts a watch; returns when it sees every change.
  void Watch(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"key", "watch"});
    m_Watch = Start(arguments);
    ASSERT_TRUE(m_Watch->WaitForErr("watching…\n")) << m_Watch->Err();
  }

  // What it printed, without the times, which must be there.
  std::string Changes() const {
    std::string changes;
    std::istringstream lines(m_Watch->Out());
    for (std::string line; std::getline(lines, line);) {
      EXPECT_THAT(line, testing::MatchesRegex(kTimePattern + " .*"s));
      changes += line.substr(line.find(' ') + 1) + "\n";
    }
    return changes;
  }

  std::unique_ptr<Background> m_Watch;
};

TEST_F(KeyWatch, EachChangeIsALineWithTimeKeyAndValue) {
  Store().Set("db/a", KeyValue(0));
  Watch({"--count", "4"});
  Store().Set("db/a", KeyValue(1));
  Store().Set("memory/b", KeyValue("x\n"));
  Store().Set("db/a", KeyValue(1));
  Store().Unset("db/a");
  EXPECT_EQ(m_Watch->Process().Wait(), 0);
  EXPECT_EQ(Changes(), "db/a = 1\nmemory/b = \"x\\n\"\ndb/a = 1\ndb/a removed\n");
}

TEST_F(KeyWatch, OnlyKeysWithThePrefixArePrintedAndCounted) {
  Watch({"memory/set/", "--count", "2"});
  Store().Set("memory/other", KeyValue(1));
  Store().Set("memory/set/a", KeyValue(2));
  Store().Set("memory/setting", KeyValue(3));
  Store().Set("memory/set/b", KeyValue(4));
  EXPECT_EQ(m_Watch->Process().Wait(), 0);
  EXPECT_EQ(Changes(), "memory/set/a = 2\nmemory/set/b = 4\n");
}

TEST_F(KeyWatch, ItEndsAfterTheGivenNumberOfChangesEvenWhenMoreCame) {
  Watch({"--count", "1"});
  for (int i = 0; i < 5; ++i) {
    Store().Set("memory/a", KeyValue(i));
  }
  EXPECT_EQ(m_Watch->Process().Wait(), 0);
  EXPECT_EQ(Changes(), "memory/a = 0\n");
}

TEST_F(KeyWatch, AsJsonEachLineIsAnObject) {
  Watch({"--json", "--count", "1"});
  Store().Set("memory/a", KeyValue("x"));
  EXPECT_EQ(m_Watch->Process().Wait(), 0);
  EXPECT_THAT(m_Watch->Out(),
              testing::MatchesRegex(R"(\{"time":"[^"]+","key":"memory/a","value":"x"\})"
                                    "\n"));
}

TEST_F(KeyWatch, EachLineIsThereAtOnce) {
  Watch({});
  Store().Set("memory/a", KeyValue(1));
  EXPECT_TRUE(m_Watch->WaitForOut("memory/a = 1\n"));
  EXPECT_TRUE(m_Watch->Process().Running());
}

TEST_F(KeyWatch, AfterItsTimeItEndsWith0OrWith3WhenChangesAreMissing) {
  EXPECT_EQ(Run({"key", "watch", "--timeout", "0.05"}).status, 0);
  const Outcome outcome = Run({"key", "watch", "--count", "2", "--timeout", "0.05"});
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.err,
            "watching…\n"
            "setctl: only 0 of 2 changes arrived in 0.05 s; wait longer with --timeout\n");
}

TEST_F(KeyWatch, InterruptAndTerminationEndItRegularly) {
  for (const int signal : {SIGINT, SIGTERM}) {
    Watch({});
    m_Watch->Process().Signal(signal);
    EXPECT_EQ(m_Watch->Process().Wait(), 0);
  }
}

class Log : public Setctl {
 protected:
  Log() { std::filesystem::create_directories(m_Directory); }

  void Append(const std::string& text) { std::ofstream(m_File, std::ios::app) << text; }

  const std::filesystem::path m_Directory = m_Root / "var/log";
  const std::filesystem::path m_File = m_Directory / "settings-service.log";
};

TEST_F(Log, IsPrintedToItsEnd) {
  Append("one\ntwo \\ \"x\"\nrest");
  ExpectOutput(Run({"log"}), "one\ntwo \\ \"x\"\nrest\n");
  ExpectOutput(Run({"log", "--lines", "2"}), "two \\ \"x\"\nrest\n");
  ExpectOutput(Run({"log", "--lines", "1", "--json"}),
               "{\"time\":null,\"level\":null,\"tag\":null,\"pid\":null,\"message\":\"rest\"}\n");
}

TEST_F(Log, IsChosenFromByLevelPatternAndTime) {
  const std::string debug = "2026-11-20T22:00:00.000000Z D tag(1): gamma\n";
  const std::string info = "2026-11-20T22:00:01.000000Z I tag(1): contrast 1\n";
  const std::string error = "2026-11-20T22:00:02.000000Z E tag(1): contrast 2\n";
  const std::string warning = "2026-11-20T22:00:03.000000Z W tag(1): tint\n";
  Append(debug + info + error + warning);
  ExpectOutput(Run({"log", "--level", "warning"}), error + warning);
  ExpectOutput(Run({"log", "--grep", "contrast [0-9]$"}), info + error);
  ExpectOutput(Run({"log", "--since", "2026-11-20T22:00:02Z"}), error + warning);
  ExpectOutput(Run({"log", "--grep", "contrast", "--level", "error"}), error);
  ExpectOutput(Run({"log", "--grep", "contrast", "--lines", "1"}), error);
  ExpectOutput(Run({"log", "--grep", "hue"}), "");
  ExpectOutput(Run({"log", "--level", "error", "--json"}),
               R"({"time":"2026-11-20T22:00:02.000000Z","level":"error","tag":"tag","pid":1,)"
               R"("message":"contrast 2"})"
               "\n");
}

TEST_F(Log, IsChosenFromWhileItIsFollowed) {
  Append("tint 1\nhue 1\ntint 2\nhue 2\n");
  const auto follow = Start({"log", "--follow", "--grep", "tint", "--lines", "1"});
  EXPECT_TRUE(follow->WaitForOut("tint 2\n"));
  Append("hue 3\ntint 3\n");
  EXPECT_TRUE(follow->WaitForOut("tint 3\n"));
  follow->Process().Signal(SIGINT);
  EXPECT_EQ(follow->Process().Wait(), 0);
  EXPECT_EQ(follow->Out(), "tint 2\ntint 3\n");
}

TEST_F(Log, CannotDisturbATerminal) {
  Append("a\x1b[2J\n");
  ExpectOutput(Run({"log"}), "a\\x1b[2J\n");
}

TEST_F(Log, IsFollowedAcrossTruncationAndRotation) {
  Append("zero\none\n");
  const auto follow = Start({"log", "--follow", "--lines", "1"});
  EXPECT_TRUE(follow->WaitForOut("one\n"));
  Append("two\n");
  EXPECT_TRUE(follow->WaitForOut("two\n"));
  std::ofstream(m_File, std::ios::trunc);
  Append("3\n");
  EXPECT_TRUE(follow->WaitForOut("3\n"));
  std::filesystem::rename(m_File, m_Directory / "settings-service.log.1");
  Append("four\n");
  EXPECT_TRUE(follow->WaitForOut("four\n"));
  follow->Process().Signal(SIGINT);
  EXPECT_EQ(follow->Process().Wait(), 0);
  EXPECT_EQ(follow->Out(), "one\ntwo\n3\nfour\n");
}

// A program whose lines wait to be written, as all that log to the file do it.
class LinesThatWait {
 public:
  explicit LinesThatWait(const std::filesystem::path& file) : m_File(file, 1 << 20) {
    m_File.SetUnwritten(true);
  }

 private:
  host::LogFile m_File;
};

TEST_F(Log, LinesThatAreNotWrittenInTimeAreSaidToBeMissing) {
  Append("one\n");
  const LinesThatWait waiting(m_File);
  const Outcome outcome = Run({"log"});
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.out, "one\n");
  EXPECT_EQ(outcome.err,
            "setctl: the last lines are missing: the daemon did not write them within 2 s\n");
}

TEST_F(Log, WhoFollowsIsToldThatLinesAreStillToCome) {
  Append("one\n");
  const LinesThatWait waiting(m_File);
  const auto follow = Start({"log", "--follow"});
  EXPECT_TRUE(follow->WaitForOut("one\n"));
  EXPECT_EQ(follow->Err(), "lines are still to come: the daemon did not write them within 2 s\n");
  follow->Process().Signal(SIGTERM);
  EXPECT_EQ(follow->Process().Wait(), 0);
}

TEST_F(Log, AMissingFileEndsWith10AndSaysWhereTheLinesAre) {
  for (const std::vector<std::string>& line :
       {std::vector<std::string>{"log"}, std::vector<std::string>{"log", "--follow"}}) {
    ExpectFailure(Run(line), 10, "or, under systemd, to the journal");
  }
}

TEST_F(Log, AReaderThatEndsEndsTheFollowing) {
  Append("one\n");
  const Outcome outcome = support::RunCommand(
      {"bash", "-c", "\"$0\" log --follow | head -n 1; exit ${PIPESTATUS[0]}", SETCTL},
      Variables());
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "one\n");
  EXPECT_EQ(outcome.err, "");
}

TEST_F(Setctl, ACatalogueWithoutMistakesPassesSilently) {
  const std::filesystem::path file = m_Root / "menu.json";
  std::ofstream(file) << R"({"items": [{"id": "a", "kind": "action", "name": "A",
                             "displayId": "MENU_A"}]})";
  ExpectOutput(Run({"catalogue", "check", file}), "");
}

TEST_F(Setctl, EachMistakeInACatalogueIsPrintedWithItsPlace) {
  const std::filesystem::path file = m_Root / "menu.json";
  std::ofstream(file) << "{\"items\": [\n"
                         "{\"id\": \"a\", \"kind\": \"action\", \"displayId\": \"MENU_A\"}]}";
  const Outcome outcome = Run({"catalogue", "check", file});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "");
  EXPECT_THAT(outcome.out, testing::StartsWith(file.native() + ":2: a: "));
  EXPECT_EQ(Lines(outcome.out), 1);
  EXPECT_THAT(Run({"catalogue", "check", file, "--json"}).out,
              testing::StartsWith("{\"file\":\"" + file.native() +
                                  "\",\"line\":2,\"item\":\"a\",\"message\":\""));
}

TEST_F(Setctl, EveryDeliveredFileOfTheCataloguePassesByItself) {
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(CATALOGUE_DIRECTORY)) {
    if (entry.path().filename() != "catalogue.schema.json") {
      SCOPED_TRACE(entry.path());
      ExpectOutput(Run({"catalogue", "check", entry.path()}), "");
      ++files;
    }
  }
  EXPECT_GT(files, 5);
}

TEST_F(Setctl, TheSchemaOfACatalogueIsTheDeliveredOne) {
  ExpectOutput(Run({"catalogue", "schema"}),
               ReadFile(std::filesystem::path(CATALOGUE_DIRECTORY) / "catalogue.schema.json"));
}

TEST_F(Setctl, AFileOfACatalogueIsCheckedAsAPartOfIt) {
  const auto write = [&](const char* name, const std::string& text) {
    std::ofstream(m_Root / name) << text;
    return m_Root / name;
  };
  const auto action = [](const std::string& id, const std::string& rule) {
    return R"({"items": [{"id": ")" + id + R"(", "kind": "action", "name": "A", "displayId": "A",
           "visible": {"item": ")" +
           rule + R"(", "is": "on"}}]})";
  };
  write("menu.json", R"({"files": ["a.json", "b.json", "c.json"]})");
  write("a.json", R"({"items": [{"id": "game", "kind": "switch", "name": "Game",
                    "displayId": "GAME", "default": "on"}]})");
  const std::filesystem::path good = write("b.json", action("b", "game"));
  const std::filesystem::path bad = write("c.json", action("c", "sport"));

  const Outcome part = Run({"catalogue", "check", bad});
  EXPECT_EQ(part.status, 1);
  EXPECT_EQ(part.out, bad.native() + ":2: c: rule on \"sport\", which is not an item\n");
  EXPECT_EQ(part.err, "");

  const Outcome other = Run({"catalogue", "check", good});
  EXPECT_EQ(other.status, 0);
  EXPECT_EQ(other.out, "");
  EXPECT_EQ(other.err,
            "mistakes in other files, 1, may hide some in this one; see setctl catalogue "
            "check " +
                (m_Root / "menu.json").native() + "\n");

  // Which index a file belongs to is seen from where it lies, also without a directory in its name.
  EXPECT_EQ(support::RunCommand({"sh", "-c", "cd \"$1\" && exec \"$0\" catalogue check c.json",
                                 SETCTL, m_Root.Path()})
                .out,
            "c.json:2: c: rule on \"sport\", which is not an item\n");
}

TEST_F(Setctl, AFileThatNoIndexNamesIsACatalogueOfItsOwn) {
  std::ofstream(m_Root / "menu.json") << R"({"files": ["other.json"]})";
  const std::filesystem::path file = m_Root / "a.json";
  std::ofstream(file) << R"({"items": [{"id": "a", "kind": "action", "name": "A", "displayId": "A",
      "visible": {"item": "game", "is": "on"}}]})";
  const Outcome outcome = Run({"catalogue", "check", file});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, file.native() + ":2: a: rule on \"game\", which is not an item\n");
}

}  // namespace
