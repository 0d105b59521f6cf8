// What the tools offer to shells, without a shell.

#include <signal.h>

#include <fstream>
#include <sstream>

#include "fixture.h"
#include "keystore/key_store.h"
#include "set/fresh_set.h"
#include "settings/client.h"

namespace {

using support::Outcome;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

using Words = std::vector<std::string>;

Words OfferedBy(const std::string& tool, Words words, const support::Variables& variables = {}) {
  words.insert(words.begin(), {tool, "complete", "--"});
  const Outcome outcome = support::RunCommand(words, variables);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  Words lines;
  std::istringstream text(outcome.out);
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line);
  }
  return lines;
}

// On a busy machine an offer may take too long, as for a user, who asks again.
Words OfferedInTheEnd(const std::string& tool, const Words& words,
                      const support::Variables& variables) {
  Words offered;
  support::WaitUntil([&] { return !(offered = OfferedBy(tool, words, variables)).empty(); });
  return offered;
}

TEST(Completion, VerbsAreOfferedWithTheirDescriptions) {
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"vi"}),
              ElementsAre("visible\tTell whether an item is visible (exit code 0) or not (1)"));
  EXPECT_THAT(OfferedBy(SETCTL, {"source", "re"}),
              ElementsAre("remove\tUnplug a device, or remove an empty port",
                          "rename\tChange the name that the user sees"));
  EXPECT_THAT(OfferedBy(SETCTL, {"nosuchverb", ""}), IsEmpty());
}

TEST(Completion, HelpIsOfferedTheVerbsAndThoseOfAGroup) {
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"help", "vi"}),
              ElementsAre("visible\tTell whether an item is visible (exit code 0) or not (1)"));
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"help", ""}), Contains(StartsWith("get\t")));
  EXPECT_THAT(OfferedBy(SETCTL, {"help", "source", "re"}),
              ElementsAre("remove\tUnplug a device, or remove an empty port",
                          "rename\tChange the name that the user sees"));
  EXPECT_THAT(OfferedBy(SETCTL, {"help", "source", "remove", ""}), IsEmpty());
  EXPECT_THAT(OfferedBy(SETCTL, {"help", "nosuchverb", ""}), IsEmpty());
}

TEST(Completion, TheKeysOfAMethodAreOfferedUntilTheyAreGiven) {
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"call", "SetItemValue", "gamemode", ""}),
              ElementsAre("Value=", "PreViewFlag:="));
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"call", "SetItemValue", "gamemode", "PreViewFlag:=true", ""}),
              ElementsAre("Value="));
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"call", "DisableItemsByList", ""}),
              ElementsAre("appName=", "menuIDList:="));
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"call", "GetItemVisibleAsync", "menuID=a", "p"}),
              ElementsAre("pid="));
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"call", "GetDisabledItemsList", ""}), IsEmpty());
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"call", "NoSuchMethod", "gamemode", ""}), IsEmpty());
}

TEST(Completion, OptionsAreOfferedUntilTheyAreGivenOrExcluded) {
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"visible", "x", "--pa"}),
              ElementsAre("--path\tAsk about the groups above the item as well"));
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"visible", "x", "--path", "--pa"}), IsEmpty());
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"visible", "x", "--path", "--v"}),
              ElementsAre("--version\tPrint the version and exit"));
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"release", "--ap"}),
              ElementsAre("--app\tThe application's ID, e.g. org.example.game"));
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"hold", "x", "--", "--"}), IsEmpty());
}

TEST(Completion, ValuesOfOptionsAndArgumentsAreOffered) {
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"--bus", ""}), ElementsAre("session", "system"));
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"get", "--bus=se"}), ElementsAre("--bus=session"));
  EXPECT_THAT(
      OfferedBy(SETTINGSCTL, {"call", "GetItemPathE"}),
      ElementsAre("GetItemPathEnable\tmenuID", "GetItemPathEnableAsync\tmenuID, pid, callback"));
  EXPECT_THAT(OfferedBy(SETCTL, {"power", "o"}), ElementsAre("off", "on"));
  EXPECT_THAT(OfferedBy(SETCTL, {"--json", "app", "state", "org.example.game", "b"}),
              ElementsAre("background"));
}

TEST(Completion, FilesAreOfferedWhereAFileIsWanted) {
  const support::TempDirectory directory;
  std::filesystem::create_directory(directory / "part");
  std::ofstream(directory / "plan.json");
  std::ofstream(directory / ".plan");
  const std::string place = directory.Path().string() + "/";
  EXPECT_THAT(OfferedBy(SETCTL, {"catalogue", "check", place}),
              ElementsAre(place + "part/", place + "plan.json"));
  EXPECT_THAT(OfferedBy(SETCTL, {"--root", place + ".p"}), ElementsAre(place + ".plan"));
}

TEST(Completion, NothingIsOfferedOrSaidWhenNothingRuns) {
  const support::TempDirectory directory;
  const support::Variables nowhere = {
      {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (directory / "bus").string()},
      {"SETTINGS_ROOT", directory.Path()}};
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"get", ""}, nowhere), IsEmpty());
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"set", "picturemode", ""}, nowhere), IsEmpty());
  EXPECT_THAT(OfferedBy(SETCTL, {"key", "get", ""}, nowhere), IsEmpty());
  EXPECT_THAT(OfferedBy(SETCTL, {"source", "switch", ""}, nowhere), IsEmpty());
  EXPECT_THAT(OfferedBy(SETCTL, {"app", "start", ""}, nowhere), IsEmpty());
  EXPECT_TRUE(std::filesystem::is_empty(directory.Path()));
}

class CompletionOnBus : public OnBus {
 protected:
  Words Offered(const Words& words) const {
    return OfferedInTheEnd(SETTINGSCTL, words, Variables());
  }
};

TEST_F(CompletionOnBus, TheServiceNamesItsItemsAndTheirValues) {
  ASSERT_NO_FATAL_FAILURE(StartService());
  EXPECT_THAT(Offered({"visible", ""}),
              IsSupersetOf({"picture\tPicture", "brightness\tBrightness"}));
  EXPECT_THAT(Offered({"disable", "picture", "pic"}),
              ElementsAre("picture\tPicture", "picturemode\tPicture Mode"));
  EXPECT_THAT(Offered({"set", "picturemode", ""}), ElementsAre("standard", "movie"));
  EXPECT_THAT(Offered({"set", "brightness", "4"}), Contains("4.5"));
  EXPECT_THAT(Offered({"visible", "picturemode", "--value", "m"}), ElementsAre("movie"));
}

TEST_F(CompletionOnBus, AVerbIsOfferedTheItemsThatItTakes) {
  ASSERT_NO_FATAL_FAILURE(StartService());
  for (const char* verb : {"get", "set", "step", "preview"}) {
    EXPECT_THAT(Offered({verb, "picture"}), ElementsAre("picturemode\tPicture Mode")) << verb;
    EXPECT_THAT(Offered({verb, "picture/"}), ElementsAre("picture/picturemode\tPicture Mode",
                                                         "picture/expert/brightness\tBrightness"))
        << verb;
  }
  EXPECT_THAT(Offered({"range", ""}), ElementsAre("brightness\tBrightness"));
  EXPECT_THAT(Offered({"values", "p"}), ElementsAre("picturemode\tPicture Mode"));
  EXPECT_THAT(Offered({"children", "picture"}), ElementsAre("picture\tPicture"));
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"toggle", "picture"}, Variables()), IsEmpty());
}

TEST_F(CompletionOnBus, AnItemOrItsKeyIsOfferedToAMethodThatTakesOne) {
  ASSERT_NO_FATAL_FAILURE(StartService());
  EXPECT_THAT(Offered({"call", "GetItemValue", ""}),
              IsSupersetOf({"brightness\tBrightness", "menuID="}));
}

TEST_F(CompletionOnBus, APathIsCompletedOnceItHasBegun) {
  ASSERT_NO_FATAL_FAILURE(StartService());
  EXPECT_THAT(Offered({"why", "picture/e"}), ElementsAre("picture/expert\tExpert Settings",
                                                         "picture/expert/brightness\tBrightness"));
  EXPECT_THAT(Offered({"set", "picture/picturemode", ""}), ElementsAre("standard", "movie"));
  EXPECT_THAT(Offered({"set", "/picture/picturemode/", ""}), ElementsAre("standard", "movie"));
}

TEST_F(CompletionOnBus, TheApplicationsThatDisableItemsOrRunAreOffered) {
  ASSERT_NO_FATAL_FAILURE(StartService());
  ExpectOutput(Run({"disable", "picturemode", "--app", "org.example.game"}), "");
  EXPECT_THAT(Offered({"enable", "picturemode", "--app", ""}),
              ElementsAre("org.example.game\tdisables items"));
  settings::Client film(m_Bus.Address());
  ASSERT_TRUE(film.RequestName("org.example.film"));
  EXPECT_THAT(Offered({"disable", "picturemode", "--app", ""}),
              ElementsAre("org.example.film", "org.example.game\tdisables items"));
}

TEST_F(CompletionOnBus, AServiceThatDoesNotAnswerIsNotWaitedFor) {
  ASSERT_NO_FATAL_FAILURE(StartService());
  m_Service->Process().Signal(SIGSTOP);
  // A verb would wait for five seconds.
  const Outcome outcome = support::RunCommand({SETTINGSCTL, "complete", "--", "get", ""},
                                              Variables(), "", std::chrono::seconds(4));
  m_Service->Process().Signal(SIGCONT);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out + outcome.err, "");
}

// A bus that would start a program for the service's name; the program says so in a file.
struct Startable {
  Startable() {
    std::ofstream(directory / "settings.service")
        << "[D-BUS Service]\nName=org.nuvra.service.settings_service\n"
        << "Exec=/bin/sh -c 'echo started >>" << Started().native() << "'\n";
    std::ofstream(directory / "game.service")
        << "[D-BUS Service]\nName=org.example.game\nExec=/bin/false\n";
  }
  std::filesystem::path Started() const { return directory / "started"; }

  support::TempDirectory directory;
};

class CompletionOfStartable : private Startable, public OnBus {
 protected:
  CompletionOfStartable() : OnBus("<servicedir>" + directory.Path().string() + "</servicedir>") {}

  std::string Starts() const { return support::ReadFile(Started()); }
};

TEST_F(CompletionOfStartable, NoServiceIsStarted) {
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"get", ""}, Variables()), IsEmpty());
  EXPECT_THAT(OfferedBy(SETTINGSCTL, {"set", "picturemode", ""}, Variables()), IsEmpty());
  EXPECT_EQ(Starts(), "");
  EXPECT_NE(Run({"get", "picturemode"}).status, 0);
  EXPECT_EQ(Starts(), "started\n") << "by a verb, and by nothing before";
}

TEST_F(CompletionOfStartable, AnApplicationNeedNotRun) {
  settings::Client client(m_Bus.Address());
  EXPECT_THAT(client.Applications(), ElementsAre("org.example.game"));
  ASSERT_TRUE(client.RequestName("org.example.film"));
  ASSERT_TRUE(client.RequestName("org.example.game"));
  EXPECT_THAT(client.Applications(), ElementsAre("org.example.film", "org.example.game"));
}

TEST(CompletionOnSet, TheSetNamesItsKeysAndSources) {
  const support::TempDirectory root;
  host::KeyStore store(root / "var/lib/settings-service", root / "run/settings-service");
  host::PrepareFreshSet(store, host::SetLock(root / "run/settings-service"));
  store.Set("db/menu/brightness", 30);
  store.Set("db/menu/picturemode", std::string("movie"));
  const support::Variables variables = {{"SETTINGS_ROOT", root.Path()}};
  EXPECT_THAT(OfferedInTheEnd(SETCTL, {"key", "get", "db/menu/"}, variables),
              ElementsAre("db/menu/brightness\t30", "db/menu/picturemode\tmovie"));
  EXPECT_THAT(OfferedInTheEnd(SETCTL, {"--root", root.Path(), "key", "set", "db/menu/b"}, {}),
              ElementsAre("db/menu/brightness\t30"));
  EXPECT_THAT(OfferedInTheEnd(SETCTL, {"source", "preview", ""}, variables),
              ElementsAre("none", "tv\tTV", "hdmi1\tHDMI 1", "hdmi2\tHDMI 2"));
  EXPECT_THAT(OfferedInTheEnd(SETCTL, {"source", "add", "hdmi"}, variables),
              AllOf(Contains("hdmi3"), Not(Contains("tv"))));
}

}  // namespace
