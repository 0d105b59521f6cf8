// The verbs that operate the virtual set, seen by another program of the set.

#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>

#include "base/json.h"
#include "fixture.h"
#include "keystore/key_store.h"
#include "set/fresh_set.h"
#include "text.h"

namespace {

using host::KeyStore;
using host::KeyValue;
using support::Outcome;
using testing::AnyOf;
using testing::ElementsAre;
using testing::SizeIs;

constexpr auto kWriting = std::filesystem::perms::owner_write |
                          std::filesystem::perms::group_write |
                          std::filesystem::perms::others_write;

class SetctlSet : public testing::Test {
 protected:
  SetctlSet() { Store(); }

  Outcome Run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), SETCTL);
    return support::RunCommand(arguments, {{"SETTINGS_ROOT", m_Root.Path()}});
  }

  void ExpectDone(const std::vector<std::string>& arguments) const {
    ExpectOutput(Run(arguments), "");
  }

  void ExpectFailure(const std::vector<std::string>& arguments, int status,
                     const std::string& message) const {
    ExpectFailureOf("setctl", Run(arguments), status, message);
  }

  KeyStore& Store() {
    if (!m_Store) {
      m_Store.emplace(m_Root / "var/lib/settings-service", m_Root / "run/settings-service");
    }
    return *m_Store;
  }

  const std::filesystem::path& Root() const { return m_Root.Path(); }

  std::optional<KeyValue> Get(const std::string& key) { return Store().Get(key); }

  // A verb's changes of keys that begin with `prefix`, as `key=value`, without the prefix.
  std::vector<std::string> ChangesBy(const std::vector<std::string>& arguments,
                                     const std::string& prefix = "") {
    return ChangesBy([&] { ExpectDone(arguments); }, prefix);
  }

  std::vector<std::string> ChangesBy(const std::function<void()>& action,
                                     const std::string& prefix) {
    // The keys of a fresh set are not the verb's.
    host::PrepareFreshSet(Store(), host::SetLock(m_Root / "run/settings-service"));
    host::KeyWatcher watcher(Store());
    action();
    std::vector<std::string> changes;
    for (auto some = watcher.TakeChanges(); !some.empty(); some = watcher.TakeChanges()) {
      for (const host::KeyChange& change : some) {
        if (change.key.rfind(prefix, 0) == 0) {
          changes.push_back(change.key.substr(prefix.size()) + "=" + Text(change.value));
        }
      }
    }
    return changes;
  }

  std::vector<Json::Value> Sources() const {
    std::vector<Json::Value> sources;
    std::istringstream lines(Run({"source", "list", "--json"}).out);
    for (std::string line; std::getline(lines, line);) {
      sources.push_back(base::TryParseJson(line).value_or(Json::Value()));
    }
    return sources;
  }

 private:
  static std::string Text(const std::optional<KeyValue>& value) {
    if (!value) {
      return "removed";
    }
    const int* number = std::get_if<int>(&*value);
    return number != nullptr ? std::to_string(*number) : std::get<std::string>(*value);
  }

  support::TempDirectory m_Root;
  std::optional<KeyStore> m_Store;
};

TEST_F(SetctlSet, AFreshSetHasItsTunerAndTwoEmptyPorts) {
  ExpectOutput(Run({"source", "list"}),
               "  0  tv           TV  current\n"
               " 13  hdmi1        HDMI 1  empty\n"
               " 14  hdmi2        HDMI 2  empty\n");
}

TEST_F(SetctlSet, AVerbThatOnlyLooksMakesNothingAndWaitsForNobody) {
  const host::SetLock operating(Root() / "run/settings-service");
  EXPECT_THAT(Sources(), SizeIs(3));
  EXPECT_THAT(Store().List(""), SizeIs(0));
}

TEST_F(SetctlSet, AVerbThatOperatesTheSetMakesItComplete) {
  ExpectDone({"protection", "0"});
  EXPECT_EQ(Get("memory/tv-viewer/viewer_state"), KeyValue(""));
  EXPECT_EQ(Get("db/sysman/rotation_state"), KeyValue(1));
}

TEST_F(SetctlSet, AnEmptyPortGetsADevice) {
  ExpectDone({"source", "add", "hdmi1", "My Console", "--detected", "Console"});
  ExpectDone({"source", "add", "14", "Computer"});
  ExpectOutput(Run({"source", "list"}),
               "  0  tv           TV  current\n"
               " 13  hdmi1        My Console (Console)\n"
               " 14  hdmi2        Computer (Computer)\n");
}

TEST_F(SetctlSet, APortThatTheSetDidNotHaveIsAdded) {
  ExpectDone({"source", "add", "HDMI4"});
  ExpectDone({"source", "add", "77"});
  ExpectDone({"source", "add", "usb-c", "Phone", "--detected", ""});
  EXPECT_THAT(Sources(), SizeIs(6));
  EXPECT_EQ(
      base::WriteJson(Sources()[3]),
      R"({"current":false,"detected":"","empty":true,"id":16,"name":"HDMI 4","port":"hdmi4","preview":false})");
  EXPECT_EQ(
      base::WriteJson(Sources()[4]),
      R"({"current":false,"detected":"","empty":true,"id":77,"name":"Source 77","port":null,"preview":false})");
  EXPECT_EQ(Sources()[5]["name"], "Phone");
  EXPECT_FALSE(Sources()[5]["empty"].asBool());
}

TEST_F(SetctlSet, APortWithADeviceKeepsIt) {
  ExpectDone({"source", "add", "hdmi1", "Console"});
  ExpectFailure({"source", "add", "hdmi1", "Player"}, 1,
                "source hdmi1 already exists: \"Console\"; rename it, or remove it first");
  ExpectFailure({"source", "add", "hdmi2"}, 1, "source hdmi2 already exists");
  EXPECT_EQ(Sources()[1]["name"], "Console");
}

TEST_F(SetctlSet, ASourceIsRenamedAndRemoved) {
  ExpectDone({"source", "add", "hdmi1", "Console"});
  ExpectDone({"source", "rename", "hdmi1", "Game \"Box\""});
  EXPECT_EQ(Sources()[1]["name"], "Game \"Box\"");
  EXPECT_EQ(Sources()[1]["detected"], "Console");
  ExpectDone({"source", "remove", "13"});
  EXPECT_EQ(Sources()[1]["name"], "HDMI 1");
  EXPECT_TRUE(Sources()[1]["empty"].asBool());
  ExpectDone({"source", "remove", "13"});
  EXPECT_THAT(Sources(), SizeIs(2));
  ExpectFailure({"source", "remove", "13"}, 10,
                "no source hdmi1; there are tv, hdmi2; add it with setctl source add hdmi1\n");
  ExpectFailure({"source", "rename", "hdmi3", "x"}, 10, "no source hdmi3");
}

TEST_F(SetctlSet, EachChangeOfTheListIsOneWriteOfItsKey) {
  EXPECT_THAT(ChangesBy({"source", "remove", "hdmi2"}),
              ElementsAre(R"(memory/set/sources=[{"detected":"","id":0,"name":"TV"},)"
                          R"({"detected":"","empty":true,"id":13,"name":"HDMI 1"}])"));
  EXPECT_THAT(ChangesBy({"source", "add", "hdmi1", "x"}), SizeIs(1));
  EXPECT_THAT(ChangesBy({"source", "rename", "hdmi1", "y"}), SizeIs(1));
}

TEST_F(SetctlSet, ASwitchPlaysAllStepsInTheirOrder) {
  ExpectDone({"source", "add", "hdmi1", "Console"});
  EXPECT_THAT(
      ChangesBy({"source", "switch", "hdmi1"}, "memory/set/"),
      ElementsAre("source/preview=-1", "source/current=13", "source/type=hdmi", "source/state=1",
                  "signal=128", "signal=25", "picture_setting=0", "signal=26"));
  ExpectOutput(Run({"source", "list"}),
               "  0  tv           TV\n"
               " 13  hdmi1        Console (Console)  current\n"
               " 14  hdmi2        HDMI 2  empty\n");
  EXPECT_EQ(Sources()[1]["current"], true);
}

constexpr char kNobodyReads[] = R"(exec > >(exit 0); wait $!; exec "$0" "$@")";

TEST_F(SetctlSet, ASwitchIsPlayedToItsEndAlsoWhenItsOutputCannotBeWritten) {
  const std::pair<std::string, Outcome> outputs[] = {
      {kNobodyReads, {0, "", ""}},
      {R"(exec "$0" "$@" > /dev/full)",
       {1, "", "setctl: cannot write to standard output: No space left on device\n"}},
  };
  ExpectDone({"source", "add", "hdmi1", "Console"});
  for (const auto& [shell, outcomeOfIt] : outputs) {
    const auto change = [this, &output = shell, &expected = outcomeOfIt] {
      const Outcome outcome =
          support::RunCommand({"bash", "-c", output, SETCTL, "--json", "source", "switch", "hdmi1"},
                              {{"SETTINGS_ROOT", Root()}});
      EXPECT_EQ(outcome.status, expected.status);
      EXPECT_EQ(outcome.err, expected.err);
    };
    EXPECT_THAT(
        ChangesBy(change, "memory/set/"),
        ElementsAre("source/preview=-1", "source/current=13", "source/type=hdmi", "source/state=1",
                    "signal=128", "signal=25", "picture_setting=0", "signal=26"));
  }
}

TEST_F(SetctlSet, ASwitchToAnEmptyPortFindsNoSignal) {
  EXPECT_THAT(ChangesBy({"source", "switch", "hdmi1"}, "memory/set/"),
              ElementsAre("source/preview=-1", "source/current=13", "source/type=hdmi",
                          "source/state=0", "signal=128", "signal=25", "signal=28"));
}

TEST_F(SetctlSet, APreviewLeavesTheCurrentSourceAndEnds) {
  EXPECT_THAT(ChangesBy({"source", "preview", "hdmi2"}, "memory/set/"),
              ElementsAre("source/preview=14", "source/type=hdmi", "signal=128"));
  ExpectOutput(Run({"source", "list"}),
               "  0  tv           TV  current\n"
               " 13  hdmi1        HDMI 1  empty\n"
               " 14  hdmi2        HDMI 2  empty  preview\n");
  EXPECT_THAT(ChangesBy({"source", "preview", "none"}, "memory/set/"),
              ElementsAre("source/preview=-1", "source/type=tv", "signal=128"));
}

TEST_F(SetctlSet, ASignalIsPlayedAlone) {
  EXPECT_THAT(ChangesBy({"source", "signal", "28"}), ElementsAre("memory/set/signal=28"));
  ExpectFailure({"source", "signal", "lost"}, 2, "lost");
}

TEST_F(SetctlSet, ASourceThatIsNotThereIsNotShown) {
  ExpectDone({"source", "preview", "none"});
  ExpectFailure({"source", "switch", "hdmi3"}, 10, "setctl source add hdmi3");
  ExpectDone({"source", "add", "20"});
  ExpectFailure({"source", "preview", "99"}, 10,
                "no source 99; there are tv, hdmi1, hdmi2, 20; add it with setctl source add 99\n");
  ExpectFailure({"source", "switch", "scart"}, 2, "valid: tv, hdmi1");
  ExpectFailure({"source", "switch", "-1"}, 2, "-1");
  EXPECT_EQ(Get("memory/set/source/current"), KeyValue(0));
}

TEST_F(SetctlSet, ANameIsPlainText) {
  ExpectFailure({"source", "add", "hdmi1", "a\nb"}, 2, "plain text");
  ExpectFailure({"source", "rename", "hdmi1", std::string(257, 'x')}, 2, "256 bytes");
  ExpectFailure({"source", "add", "hdmi1", "x", "--detected", "\x1b[2J"}, 2, "plain text");
  EXPECT_EQ(Sources()[1]["name"], "HDMI 1");
}

TEST_F(SetctlSet, AListThatCannotBeReadIsNamedAndCanBeMadeAnew) {
  Store().Set("memory/set/sources", "[{}]");
  for (const std::vector<std::string>& verb :
       {std::vector<std::string>{"source", "list"}, {"source", "add", "hdmi3"}}) {
    ExpectFailure(verb, 1, "setctl key unset memory/set/sources");
  }
  EXPECT_EQ(Get("memory/set/sources"), KeyValue("[{}]"));
  ExpectDone({"key", "unset", "memory/set/sources"});
  EXPECT_THAT(Sources(), SizeIs(3));
}

TEST_F(SetctlSet, SeveralProgramsThatAddSourcesLoseNone) {
  std::vector<std::unique_ptr<support::Process>> adding;
  for (int number = 100; number < 116; ++number) {
    adding.push_back(std::make_unique<support::Process>(
        std::vector<std::string>{SETCTL, "source", "add", std::to_string(number)},
        support::Variables{{"SETTINGS_ROOT", Root()}}, support::Files()));
  }
  for (const auto& process : adding) {
    EXPECT_EQ(process->Wait(), 0);
  }
  EXPECT_THAT(Sources(), SizeIs(19));
}

TEST_F(SetctlSet, EveryStateIsOneKey) {
  const std::pair<std::vector<std::string>, std::string> verbs[] = {
      {{"game-item", "2"}, "memory/set/game_item=2"},
      {{"game-mode", "1"}, "memory/set/game_mode=1"},
      {{"picture-setting", "0"}, "memory/set/picture_setting=0"},
      {{"power", "off"}, "memory/set/power=2"},
      {{"power", "picture-off"}, "memory/set/power=1"},
      {{"power", "on"}, "memory/set/power=0"},
      {{"window", "3840", "1080"}, "memory/set/window=[0,0,3840,1080]"},
      {{"rotate", "2"}, "db/sysman/rotation_state=2"},
      {{"rotate", "3"}, "db/sysman/rotation_state=3"},
      {{"speaker", "bluetooth"}, "memory/set/speaker=bluetooth"},
      {{"language", "de_DE"}, "db/menu_widget/language=de_DE"},
      {{"protection", "1"}, "memory/ave/protection=1"},
  };
  for (const auto& [verb, change] : verbs) {
    EXPECT_THAT(ChangesBy(verb), ElementsAre(change));
  }
}

TEST_F(SetctlSet, TheWindowKeepsItsPlace) {
  ExpectDone({"window", "10", "20"});
  Store().Set("memory/set/window", "[5,6,7,8]");
  ExpectDone({"window", "0", "0"});
  EXPECT_EQ(Get("memory/set/window"), KeyValue("[5,6,0,0]"));
  Store().Set("memory/set/window", "nonsense");
  ExpectDone({"window", "1", "2"});
  EXPECT_EQ(Get("memory/set/window"), KeyValue("[0,0,1,2]"));
}

TEST_F(SetctlSet, ThePictureMayBeAsLargeAsIsSaid) {
  ExpectDone({"window", "2147483647", "0"});
  EXPECT_EQ(Get("memory/set/window"), KeyValue("[0,0,2147483647,0]"));
}

TEST_F(SetctlSet, AStateThatIsNoneEndsWith2) {
  ExpectFailure({"game-item", "on"}, 2, "on");
  ExpectFailure({"game-mode", "2"}, 2, "2");
  ExpectFailure({"power", "half"}, 2, "half");
  ExpectFailure({"window", "-1", "5"}, 2, "-1");
  ExpectFailure({"window", "5"}, 2, "H");
  ExpectFailure({"rotate", "3000000000"}, 2, "3000000000");
  ExpectFailure({"speaker", "gramophone"}, 2, "valid: tvspeaker, receiver, optical");
  ExpectFailure({"speaker", ""}, 2, "invalid output \"\"; valid: tvspeaker");
  ExpectFailure({"reset", "all"}, 2, "all");
  EXPECT_EQ(Get("memory/set/power"), std::nullopt);
}

TEST_F(SetctlSet, AValueThatASetDoesNotHaveIsRefusedWithWhatThereIs) {
  const std::pair<std::vector<std::string>, std::string> verbs[] = {
      {{"rotate", "9"}, "invalid rotation \"9\"; valid: 0, 1, 2, 3"},
      {{"rotate", "-1"}, "invalid rotation \"-1\"; valid: 0, 1, 2, 3"},
      {{"protection", "2"}, "invalid protection mode \"2\"; valid: 0, 1"},
      {{"source", "signal", "99"}, "invalid signal \"99\"; valid: 25, 26, 27, 28, 29, 30, 128"},
      {{"game-item", "5"}, "invalid game item \"5\"; valid: 0, 1, 2"},
      {{"picture-setting", "77"}, "invalid picture setting \"77\"; valid: 0, 1"},
      {{"power", "half"}, "invalid power state \"half\"; valid: off, picture-off, on"},
      {{"window", "5", "x"}, "invalid size \"x\"; valid: a number from 0 to 2147483647\n"},
      {{"window", "4294967296", "5"},
       "invalid size \"4294967296\"; valid: a number from 0 to 2147483647\n"},
      {{"source", "switch", "2147483648"}, ", hdmi8, a number from 0 to 2147483647\n"},
  };
  for (const auto& [verb, message] : verbs) {
    ExpectFailure(verb, 2, message);
  }
  EXPECT_THAT(Store().List(""), SizeIs(0));
}

TEST_F(SetctlSet, ALanguageIsALocaleOfATranslatedOne) {
  for (const std::string name : {"en", "de_DE", "en_GB.UTF-8", "es_ES@euro", "ko_KR"}) {
    ExpectDone({"language", name});
    EXPECT_EQ(Get("db/menu_widget/language"), KeyValue(name));
  }
  for (const std::string name : {"xx_YY", "tlh", "", "German", "de-DE", "de_de", "../de", "de_DE.",
                                 "C\n", "de_DE/x", "de_DE\n"}) {
    ExpectFailure({"language", name}, 2, "\"; valid: ar, de, en, en_US, es, fr, ko, any of these");
  }
  EXPECT_EQ(Get("db/menu_widget/language"), KeyValue("ko_KR"));
}

TEST_F(SetctlSet, AGeneralResetBeginsAndEnds) {
  EXPECT_THAT(ChangesBy({"reset", "general"}),
              ElementsAre("memory/menu/general/reset/progressing=1",
                          "memory/menu/general/reset/progressing=0"));
}

TEST_F(SetctlSet, AGeneralResetEndsAlsoWhenASignalEndsTheVerb) {
  const std::string progressing = "memory/menu/general/reset/progressing";
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    support::Process verb({SETCTL, "reset", "general"}, {{"SETTINGS_ROOT", Root()}},
                          support::Files());
    ASSERT_TRUE(support::WaitUntil([&] { return Get(progressing) == KeyValue(1); }));
    verb.Signal(signal);
    // 0 on a machine on which the signal came when all was over.
    EXPECT_THAT(verb.Wait(), AnyOf(128 + signal, 0));
    EXPECT_EQ(Get(progressing), KeyValue(0));
  }
}

TEST_F(SetctlSet, EachFactoryResetIsCounted) {
  EXPECT_THAT(ChangesBy({"reset", "factory"}), ElementsAre("db/factory/factory_reset_count=1"));
  EXPECT_THAT(ChangesBy({"reset", "factory"}), ElementsAre("db/factory/factory_reset_count=2"));
  Store().Set("db/factory/factory_reset_count", 2147483647);
  ExpectFailure({"reset", "factory"}, 1, "cannot count any further");
  EXPECT_EQ(Get("db/factory/factory_reset_count"), KeyValue(2147483647));
}

TEST_F(SetctlSet, AsJsonAVerbPrintsTheKeysThatItWrote) {
  ExpectOutput(Run({"--json", "power", "off"}), "{\"key\":\"memory/set/power\",\"value\":2}\n");
  ExpectOutput(Run({"source", "preview", "hdmi1", "--json"}),
               "{\"key\":\"memory/set/source/preview\",\"value\":13}\n"
               "{\"key\":\"memory/set/source/type\",\"value\":\"hdmi\"}\n"
               "{\"key\":\"memory/set/signal\",\"value\":128}\n");
}

TEST_F(SetctlSet, AMistypedRootDoesNotBecomeASet) {
  const std::filesystem::path none = Root() / "none";
  ExpectFailure({"--root", none, "power", "off"}, 2, none);
  EXPECT_FALSE(std::filesystem::exists(none));
}

TEST_F(SetctlSet, ASetOfAnotherUserEndsWith13) {
  // Its owner is not looked at, but who may write.
  const std::filesystem::path state = Root() / "var/lib/settings-service";
  for (const std::filesystem::path& kept : {state / "keys.db", state}) {
    std::filesystem::permissions(kept, std::filesystem::perms::all & ~kWriting);
  }
  std::vector<std::string> command = {SETCTL, "power", "off"};
  if (geteuid() == 0) {
    // The superuser is held up by no permission but for this.
    const std::vector<std::string> held = {"setpriv",
                                           "--bounding-set=-dac_override,-dac_read_search"};
    command.insert(command.begin(), held.begin(), held.end());
  }
  ExpectFailureOf("setctl", support::RunCommand(command, {{"SETTINGS_ROOT", Root()}}), 13, Root());
}

}  // namespace
