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
  Api::DisableItem("tone", "one");
  Api::EnableItem("tone", "one");
  EXPECT_EQ(Mirror(), "");
}

TEST_F(DisabledItemsMirror, FollowsChangesThatNobodyIsTold) {
  Api::DisableItem("tone", "one");
  Api::DisableItem("tone", "two");
  EXPECT_EQ(Mirror(), R"({"id":"tone","apps":["one","two"]})");
  Api::EnableItem("tone", "one");
  EXPECT_EQ(Mirror(), R"({"id":"tone","apps":["two"]})");
}

TEST_F(DisabledItemsMirror, IsWrittenOnceForACall) {
  Disable({"picture", "tone", "game", "audio", "reset"}, "one");
  EXPECT_EQ(m_Platform.Writes(), 1);
  Release("one");
  EXPECT_EQ(m_Platform.Writes(), 2);
}

TEST_F(DisabledItemsMirror, BringsTheRecordThroughARestart) {
  Disable({"reset", "tone", "game"}, "two");
  Disable({"game", "tone"}, "one");
  const Record record = WholeRecord();
  const std::string mirror = Mirror();
  Restart();
  EXPECT_EQ(WholeRecord(), record);
  EXPECT_EQ(Mirror(), mirror);
  EXPECT_THAT(Errors(), IsEmpty());
  EXPECT_EQ(Release("two"), Answer(true, {"reset"}));
  EXPECT_EQ(Release("one"), Answer(true, {"tone", "game"}));
}

TEST_F(DisabledItemsMirror, IsReadBeforeTheItemsAreLoadedAndJudgedThen) {
  const std::string text =
      "{\"id\":\"nosuch\",\"apps\":[\"one\"]}\n"
      "{\"id\":\"tone\",\"apps\":[\"one\"]}";
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
  EXPECT_EQ(Mirror(), R"({"id":"tone","apps":["one"]})");
  EXPECT_THAT(Errors(), ElementsAre(HasSubstr("dropped 1 items that are not in the catalogue; the "
                                              "first is \"nosuch\"")));
}

TEST_F(DisabledItemsMirror, TakesThePlaceOfTheWholeRecord) {
  Api::DisableItem("tone", "one");
  SetMirror(R"({"id":"game","apps":["two"]})");
  Api::UpdateDisabledItemList();
  EXPECT_EQ(WholeRecord(), (Record{{"game", {"two"}}}));
}

TEST_F(DisabledItemsMirror, EmptyOrMissingMeansThatNoItemIsDisabled) {
  Api::DisableItem("tone", "one");
  SetMirror("");
  Api::UpdateDisabledItemList();
  EXPECT_THAT(Disabled(), IsEmpty());

  Api::DisableItem("tone", "one");
  m_Platform.RemoveKey(kMirror);
  Api::UpdateDisabledItemList();
  EXPECT_THAT(Disabled(), IsEmpty());
  EXPECT_FALSE(m_Platform.Key(kMirror)) << "there is nothing to write";
  EXPECT_THAT(Errors(), IsEmpty());
}

TEST_F(DisabledItemsMirror, CarriesNamesOfEverySort) {
  std::string everyByte;
  for (int byte = 0; byte < 256; ++byte) {
    everyByte += static_cast<char>(byte);
  }
  const Texts apps = {"\"quoted\"",
                      "back\\slash\\",
                      "line\nend\r\t",
                      "한국어 ü 😀",
                      "]}\n{\"id\":\"reset\",\"apps\":[\"x\"]}",
                      std::string(4096, 'x'),
                      std::string("zero\0inside", 11),
                      " ",
                      everyByte};
  for (const std::string& app : apps) {
    EXPECT_EQ(Disable({"tone", "game"}, app).first, app == apps.front());
  }
  Restart();
  EXPECT_EQ(WholeRecord(), (Record{{"tone", apps}, {"game", apps}}));
  EXPECT_THAT(Errors(), IsEmpty());
  for (const std::string& app : apps) {
    EXPECT_EQ(Release(app).first, app == apps.back());
  }
  EXPECT_EQ(Mirror(), "");
}

TEST_F(DisabledItemsMirror, AnApplicationThatALineRepeatsAndAnItemOfTwoLinesCountOnce) {
  SetMirror(
      "{\"id\":\"tone\",\"apps\":[\"one\",\"one\"]}\n"
      "{\"id\":\"tone\",\"apps\":[\"two\",\"one\"]}");
  Api::UpdateDisabledItemList();
  EXPECT_EQ(WholeRecord(), (Record{{"tone", {"one", "two"}}}));
  EXPECT_EQ(Mirror(), R"({"id":"tone","apps":["one","two"]})");
}

TEST_F(DisabledItemsMirror, LinesThatAreDamagedAreLeftOutAndLoggedTogether) {
  SetMirror(
      "{\"id\":\"tone\",\"apps\":[\"one\"]}\n"
      "{\"id\":\"game\",\"apps\":[\"one\"\n"
      "{\"id\":\"audio\"}\n"
      "{\"id\":\"reset\",\"apps\":[\"two\"]}");
  Restart();
  EXPECT_EQ(WholeRecord(), (Record{{"tone", {"one"}}, {"reset", {"two"}}}));
  EXPECT_THAT(Errors(), ElementsAre("memory/menu/disabled_items: left out 2 of 4 lines, which are "
                                    "damaged; line 2: it is not JSON\n"));
  EXPECT_EQ(Mirror(),
            "{\"id\":\"reset\",\"apps\":[\"two\"]}\n"
            "{\"id\":\"tone\",\"apps\":[\"one\"]}")
      << "what is sound is written anew";
}

// A line, and a part of what is logged about it.
TEST_F(DisabledItemsMirror, EveryLineThatIsNoEntryIsDamaged) {
  const struct {
    std::string line;
    const char* message;
  } lines[] = {
      {"{}", "it is no object with an \"id\" and a list of \"apps\""},
      {"[]", "it is no object"},
      {"\"tone\"", "it is not JSON"},
      {"null", "it is not JSON"},
      {R"({"id":"tone"})", "it is no object"},
      {R"({"id":"tone","apps":[]})", "it is no object"},
      {R"({"id":"tone","apps":"one"})", "it is no object"},
      {R"({"id":"tone","apps":{"one":1}})", "it is no object"},
      {R"({"id":1,"apps":["one"]})", "it is no object"},
      {R"({"apps":["one"]})", "it is no object"},
      {R"({"id":"tone","apps":["one",2]})", "an application is not a name"},
      {R"({"id":"tone","apps":[""]})", "an application is not a name"},
      {R"({"id":"tone","apps":[["one"]]})", "an application is not a name"},
      {R"({"id":"tone","apps":["one"]}})", "it is not JSON"},
      {R"({"id":"tone","id":"game","apps":["one"]})", "it is not JSON"},
      {"tone", "it is not JSON"},
      {"\n", "it is not JSON"},
      {std::string(5000, '['), "stackLimit"},
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
  const Texts apps = {"org.example.one", "with \"quotes\" and \\", "end\nof line", "한국어 😀"};
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
  Disable({"picture", "tone", "game", "audio", "reset"}, "two \"\\ 한");
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
  SetMirror("{\"id\":\"tone\",\"apps\":[\"one\"]}\n{\"id\":");
  m_Platform.FailWrites();
  Restart();
  EXPECT_THAT(Disabled(), ElementsAre("tone"));
  EXPECT_THAT(Errors(),
              ElementsAre(HasSubstr("left out 1 of 2 lines"), HasSubstr("cannot be written")));
  m_Platform.LetWritesSucceed();
  Api::DisableItem("game", "one");
  EXPECT_EQ(Mirror(),
            "{\"id\":\"game\",\"apps\":[\"one\"]}\n"
            "{\"id\":\"tone\",\"apps\":[\"one\"]}");
}

}  // namespace
