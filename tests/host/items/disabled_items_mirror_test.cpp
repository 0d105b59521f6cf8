#include <gmock/gmock.h>

#include <algorithm>
#include <map>

#include "disabled_items_fixture.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class DisabledItemsMirror : public DisabledItemsTest {
 protected:
  void SetMirror(const std::string& text) { m_Platform.SetKey(kMirror, text); }

  using Record = std::map<std::string, Texts>;

  static Record WholeRecord() {
    Record record;
    for (const std::string& id : Disabled()) {
      record[id] = Disablers(id);
    }
    return record;
  }
};

TEST_F(DisabledItemsMirror, HasOneLineForEachItemInTheOrderOfTheIdentifiers) {
  Api::DisableItem("tone", "org.example.b");
  Api::DisableItem("audio", "org.example.b");
  Api::DisableItem("tone", "org.example.a");
  EXPECT_EQ(Mirror(),
            "{\"id\":\"audio\",\"apps\":[\"org.example.b\"]}\n"
            "{\"id\":\"tone\",\"apps\":[\"org.example.b\",\"org.example.a\"]}");
}

TEST_F(DisabledItemsMirror, IsEmptyWhenNoItemIsDisabled) {
  Api::DisableItem("tone", "org.example.one");
  Api::EnableItem("tone", "org.example.one");
  EXPECT_EQ(Mirror(), "");
}

TEST_F(DisabledItemsMirror, FollowsChangesThatNobodyIsTold) {
  Api::DisableItem("tone", "org.example.one");
  Api::DisableItem("tone", "org.example.two");
  EXPECT_EQ(Mirror(), R"({"id":"tone","apps":["org.example.one","org.example.two"]})");
  Api::EnableItem("tone", "org.example.one");
  EXPECT_EQ(Mirror(), R"({"id":"tone","apps":["org.example.two"]})");
}

TEST_F(DisabledItemsMirror, IsWrittenOnceForACall) {
  Disable({"picture", "tone", "game", "audio", "reset"}, "org.example.one");
  EXPECT_EQ(m_Platform.Writes(), 1);
  Release("org.example.one");
  EXPECT_EQ(m_Platform.Writes(), 2);
}

TEST_F(DisabledItemsMirror, BringsTheRecordThroughARestart) {
  Disable({"reset", "tone", "game"}, "org.example.two");
  Disable({"game", "tone"}, "org.example.one");
  const Record record = WholeRecord();
  const std::string mirror = Mirror();
  Restart();
  EXPECT_EQ(WholeRecord(), record);
  EXPECT_EQ(Mirror(), mirror);
  EXPECT_THAT(Errors(), IsEmpty());
  EXPECT_EQ(Release("org.example.two"), Answer(true, {"reset"}));
  EXPECT_EQ(Release("org.example.one"), Answer(true, {"tone", "game"}));
}

TEST_F(DisabledItemsMirror, IsLeftAloneWhileItCannotBeRead) {
  Disable({"tone"}, "org.example.one");
  const std::string mirror = Mirror();
  const int writes = m_Platform.Writes();
  m_Platform.FailReads();
  Api::UpdateDisabledItemList();
  EXPECT_EQ(Mirror(), mirror);
  EXPECT_EQ(m_Platform.Writes(), writes);
  EXPECT_THAT(Disabled(), ElementsAre("tone"));
}

TEST_F(DisabledItemsMirror, IsReadBeforeTheItemsAreLoadedAndJudgedThen) {
  const std::string text =
      "{\"id\":\"nosuch\",\"apps\":[\"org.example.one\"]}\n"
      "{\"id\":\"tone\",\"apps\":[\"org.example.one\"]}";
  RemoveCatalogue();
  Api::InitSettingsItemInfoAPI();
  m_Platform.Reset();
  SetMirror(text);
  Api::UpdateDisabledItemList();
  EXPECT_EQ(Mirror(), text);
  EXPECT_EQ(m_Platform.Writes(), 0);
  EXPECT_THAT(Errors(), IsEmpty()) << "nothing is known to be unknown";

  WriteCatalogue("{\"items\": [" + std::string(kItems) + "]}");
  Api::InitSettingsItemInfoAPI();
  EXPECT_THAT(Disabled(), ElementsAre("tone"));
  EXPECT_EQ(Mirror(), R"({"id":"tone","apps":["org.example.one"]})");
  EXPECT_THAT(Errors(), ElementsAre(HasSubstr("dropped 1 items that are not in the catalogue; the "
                                              "first is \"nosuch\"")));
}

TEST_F(DisabledItemsMirror, TakesThePlaceOfTheWholeRecord) {
  Api::DisableItem("tone", "org.example.one");
  SetMirror(R"({"id":"game","apps":["org.example.two"]})");
  Api::UpdateDisabledItemList();
  EXPECT_EQ(WholeRecord(), (Record{{"game", {"org.example.two"}}}));
}

TEST_F(DisabledItemsMirror, EmptyOrMissingMeansThatNoItemIsDisabled) {
  Api::DisableItem("tone", "org.example.one");
  SetMirror("");
  Api::UpdateDisabledItemList();
  EXPECT_THAT(Disabled(), IsEmpty());

  Api::DisableItem("tone", "org.example.one");
  m_Platform.RemoveKey(kMirror);
  Api::UpdateDisabledItemList();
  EXPECT_THAT(Disabled(), IsEmpty());
  EXPECT_FALSE(m_Platform.Key(kMirror)) << "there is nothing to write";
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(DisabledItemsMirror, SaysWhichInstanceOfAnApplicationLived) {
  m_Platform.SetLiving("org.example.one", "bus:1.7");
  Disable({"tone", "game"}, "org.example.one");
  Api::DisableItem("tone", "org.example.two");
  EXPECT_EQ(Mirror(),
            "{\"id\":\"game\",\"apps\":[\"org.example.one\"]}\n"
            "{\"id\":\"tone\",\"apps\":[\"org.example.one\",\"org.example.two\"]}\n"
            "{\"app\":\"org.example.one\",\"instance\":\"bus:1.7\"}");
  Api::EnableItem("tone", "org.example.one");
  EXPECT_THAT(Mirror(), HasSubstr("bus:1.7")) << "it still disables another item";
  Api::EnableItem("game", "org.example.one");
  EXPECT_EQ(Mirror(), R"({"id":"tone","apps":["org.example.two"]})");
}

TEST_F(DisabledItemsMirror, IsOfTheInstanceThatDisabledLast) {
  Api::DisableItem("tone", "org.example.one");
  m_Platform.SetLiving("org.example.one", "bus:1.7");
  EXPECT_FALSE(Api::DisableItem("tone", "org.example.one")) << "it was disabled already";
  EXPECT_THAT(Mirror(), HasSubstr("bus:1.7"));
  m_Platform.SetLiving("org.example.one", "bus:1.8");
  Api::DisableItem("nosuch", "org.example.one");
  EXPECT_THAT(Mirror(), HasSubstr("bus:1.7")) << "nothing was disabled";
  Api::DisableItem("game", "org.example.one");
  EXPECT_THAT(Mirror(), HasSubstr("bus:1.8"));
  m_Platform.FailWrites();
  m_Platform.SetLiving("org.example.one", "bus:1.9");
  Api::DisableItem("audio", "org.example.one");
  m_Platform.LetWritesSucceed();
  Api::EnableItem("game", "org.example.one");
  EXPECT_THAT(Mirror(), HasSubstr("bus:1.8")) << "the call before changed nothing";
}

TEST_F(DisabledItemsMirror, IsOfTheInstanceThatTakesItsNameLater) {
  Api::DisableItem("tone", "org.example.one");
  m_Platform.Begin("org.example.other", "bus:1.6");
  EXPECT_EQ(Mirror(), R"({"id":"tone","apps":["org.example.one"]})");
  m_Platform.Begin("org.example.one", "bus:1.7");
  EXPECT_EQ(Mirror(),
            "{\"id\":\"tone\",\"apps\":[\"org.example.one\"]}\n"
            "{\"app\":\"org.example.one\",\"instance\":\"bus:1.7\"}");
}

TEST_F(DisabledItemsMirror, ReportsTheEndOfInstancesThatAreGoneWhenItIsRead) {
  for (const char* app : {"org.example.ended", "org.example.lives", "org.example.restarted"}) {
    m_Platform.SetLiving(app, "bus:1.7");
    Disable({"tone", "game"}, app);
  }
  Disable({"tone"}, "org.example.never");
  const std::string mirror = Mirror();
  m_Platform.SetLiving("org.example.ended", "");
  m_Platform.SetLiving("org.example.restarted", "bus:1.8");
  Restart();
  EXPECT_THAT(m_Platform.ReportedEnds(), ElementsAre("org.example.ended", "org.example.restarted"));
  EXPECT_EQ(Mirror(), mirror) << "only the event itself releases";
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(DisabledItemsMirror, WithoutTheLineOfItsInstanceAnApplicationIsTakenForOneThatNeverLived) {
  SetMirror(
      "{\"id\":\"tone\",\"apps\":[\"org.example.one\"]}\n"
      "{\"app\":\"org.example.one\",\"instance\":\"bus:1");
  Restart();
  EXPECT_EQ(WholeRecord(), (Record{{"tone", {"org.example.one"}}}));
  EXPECT_THAT(m_Platform.ReportedEnds(), IsEmpty());
  EXPECT_THAT(Errors(), ElementsAre(HasSubstr("dropped 1 of 2 lines")));
}

TEST_F(DisabledItemsMirror, AnInstanceWithoutItemsIsLeftOut) {
  SetMirror(R"({"app":"org.example.one","instance":"bus:1.7"})");
  Restart();
  EXPECT_THAT(m_Platform.ReportedEnds(), IsEmpty());
  EXPECT_EQ(Mirror(), "");
}

TEST_F(DisabledItemsMirror, AnApplicationThatALineRepeatsAndAnItemOfTwoLinesCountOnce) {
  SetMirror(
      "{\"id\":\"tone\",\"apps\":[\"org.example.one\",\"org.example.one\"]}\n"
      "{\"id\":\"tone\",\"apps\":[\"org.example.two\",\"org.example.one\"]}");
  Api::UpdateDisabledItemList();
  EXPECT_EQ(WholeRecord(), (Record{{"tone", {"org.example.one", "org.example.two"}}}));
  EXPECT_EQ(Mirror(), R"({"id":"tone","apps":["org.example.one","org.example.two"]})");
}

TEST_F(DisabledItemsMirror, LinesThatAreDamagedAreLeftOutAndLoggedTogether) {
  SetMirror(
      "{\"id\":\"tone\",\"apps\":[\"org.example.one\"]}\n"
      "{\"id\":\"game\",\"apps\":[\"org.example.one\"\n"
      "{\"id\":\"audio\"}\n"
      "{\"id\":\"reset\",\"apps\":[\"org.example.two\"]}");
  Restart();
  EXPECT_EQ(WholeRecord(), (Record{{"tone", {"org.example.one"}}, {"reset", {"org.example.two"}}}));
  EXPECT_THAT(Errors(), ElementsAre("memory/menu/disabled_items: dropped 2 of 4 lines, which are "
                                    "damaged; line 2: it is not JSON\n"));
  EXPECT_EQ(Mirror(),
            "{\"id\":\"reset\",\"apps\":[\"org.example.two\"]}\n"
            "{\"id\":\"tone\",\"apps\":[\"org.example.one\"]}")
      << "what is sound is written anew";
}

// A line, and a part of what is logged about it.
TEST_F(DisabledItemsMirror, EveryLineThatIsNoEntryIsDamaged) {
  const struct {
    std::string line;
    const char* message;
  } lines[] = {
      {"{}", "it is not an object with an \"id\" and a list of \"apps\""},
      {"[]", "it is not an object"},
      {"\"tone\"", "it is not JSON"},
      {"null", "it is not JSON"},
      {R"({"id":"tone"})", "it is not an object"},
      {R"({"id":"tone","apps":[]})", "it is not an object"},
      {R"({"id":"tone","apps":"org.example.one"})", "it is not an object"},
      {R"({"id":"tone","apps":{"org.example.one":1}})", "it is not an object"},
      {R"({"id":1,"apps":["org.example.one"]})", "it is not an object"},
      {R"({"apps":["org.example.one"]})", "it is not an object"},
      {R"({"id":"tone","apps":["org.example.one",2]})", "an application is not a name"},
      {R"({"id":"tone","apps":[""]})", "an application is not a name"},
      {R"({"id":"tone","apps":[["org.example.one"]]})", "an application is not a name"},
      {R"({"id":"tone","apps":["org.example.one","one"]})", "an application is not a name"},
      {R"({"app":"one","instance":"bus:1.7"})", "an application is not a name"},
      {R"({"instance":"bus:1.7"})", "an application is not a name"},
      {R"({"app":"org.example.one","instance":7})", "it is not an object"},
      {R"({"id":"tone","apps":["org.example.one"]}})", "it is not JSON"},
      {R"({"id":"tone","id":"game","apps":["org.example.one"]})", "it is not JSON"},
      {"tone", "it is not JSON"},
      {"\n", "it is not JSON"},
      {std::string(5000, '['), "it is not JSON"},
  };
  for (const auto& [line, message] : lines) {
    m_Platform.Reset();
    SetMirror(line);
    Restart();
    EXPECT_THAT(Disabled(), IsEmpty()) << line;
    EXPECT_THAT(Errors(), ElementsAre(HasSubstr(message))) << line;
    EXPECT_EQ(Mirror(), "") << line;
  }
}

TEST_F(DisabledItemsMirror, ANumberInsteadOfATextMeansThatNoItemIsDisabled) {
  m_Platform.SetKey(kMirror, 3);
  Restart();
  EXPECT_THAT(Disabled(), IsEmpty());
}

// However much of the text is lost at its end, each entry that is whole is kept as it was, and
// nothing else is read out of the rest.
TEST_F(DisabledItemsMirror, ACutTextKeepsExactlyTheLinesThatAreWhole) {
  const Texts apps = {"org.example.one", "org.example.two", "org.example-3.three", "a.b"};
  for (const std::string& app : apps) {
    Disable({"picture", "tone", "game", "audio", "reset"}, app);
    Disable({"brightness"}, "org.example.one");
  }
  const std::string text = Mirror();
  const Record record = WholeRecord();
  ASSERT_EQ(record.size(), 6u);
  for (std::size_t length = 0; length < text.size(); ++length) {
    const std::string cut = text.substr(0, length);
    m_Platform.Reset();
    SetMirror(cut);
    Restart();
    Record expected;
    std::size_t end = 0;
    for (const auto& [id, disablers] : record) {
      end = text.find('\n', end);
      if (std::min(end, text.size()) > length) {
        break;
      }
      expected.emplace(id, disablers);
      ++end;
    }
    ASSERT_EQ(WholeRecord(), expected) << cut;
    const bool isWhole = length == 0 || text[length] == '\n' || text[length - 1] == '\n';
    ASSERT_EQ(Errors().size(), isWhole ? 0u : 1u) << cut;
  }
}

// One wrong byte anywhere touches one line, or joins or parts two, and no more.
TEST_F(DisabledItemsMirror, AWrongByteCostsTheEntriesAroundItAtMost) {
  Disable({"picture", "tone", "game", "audio", "reset"}, "org.example.one");
  Disable({"picture", "tone", "game", "audio", "reset"}, "org.example.two");
  const std::string text = Mirror();
  const Record record = WholeRecord();
  for (std::size_t position = 0; position < text.size(); ++position) {
    for (const char byte : {'\0', '\n', '"', '\\', '}', ' ', '\x7f', '\xff'}) {
      std::string damaged = text;
      damaged[position] = byte;
      m_Platform.Reset();
      SetMirror(damaged);
      Restart();
      const Record read = WholeRecord();
      std::size_t kept = 0;
      for (const auto& [id, disablers] : read) {
        ASSERT_TRUE(record.contains(id)) << damaged;
        kept += disablers == record.at(id);
      }
      const auto lines = std::count(damaged.begin(), damaged.end(), '\n');
      ASSERT_GE(kept, byte == '\0' ? 0 : record.size() - (lines < 4 ? 2 : 1)) << damaged;
    }
  }
}

TEST_F(DisabledItemsMirror, ACallAfterAFailedRepairWritesTheWholeRecord) {
  SetMirror("{\"id\":\"tone\",\"apps\":[\"org.example.one\"]}\n{\"id\":");
  m_Platform.FailWrites();
  Restart();
  EXPECT_THAT(Disabled(), ElementsAre("tone"));
  EXPECT_THAT(Errors(),
              ElementsAre(HasSubstr("dropped 1 of 2 lines"), HasSubstr("cannot be written")));
  m_Platform.LetWritesSucceed();
  Api::DisableItem("game", "org.example.one");
  EXPECT_EQ(Mirror(),
            "{\"id\":\"game\",\"apps\":[\"org.example.one\"]}\n"
            "{\"id\":\"tone\",\"apps\":[\"org.example.one\"]}");
}

}  // namespace
