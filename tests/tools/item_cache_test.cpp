#include "settings/item_cache.h"

#include <signal.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "fixture.h"

namespace {

using namespace std::chrono_literals;
using settings::CacheEvent;
using settings::Client;
using settings::ItemCache;
using settings::ItemChange;
using settings::ItemState;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Names = std::vector<std::string>;

std::string TextOf(CacheEvent event) {
  switch (event) {
    case CacheEvent::kRead:
      return "read";
    case CacheEvent::kChanged:
      return "changed";
    case CacheEvent::kLanguage:
      return "language";
    case CacheEvent::kGone:
      return "gone";
  }
  return "?";
}

std::string TextOf(const ItemState& state) {
  const auto states = [](bool own, bool path) {
    return std::string(own ? "yes" : "no") + (path ? "" : own ? "(no)" : "");
  };
  return state.name + " " + state.value.value_or("-") + "/" + state.valueName + " " +
         states(state.visible, state.pathVisible) + " " + states(state.enabled, state.pathEnabled);
}

class ItemCacheTest : public OnBus {
 protected:
  void Make(const Names& items, std::chrono::microseconds timeout = support::kPatience) {
    m_Client = std::make_unique<Client>(m_Bus.Address(), timeout);
    m_Cache = std::make_unique<ItemCache>(
        *m_Client, items, [this](CacheEvent event, const std::vector<ItemChange>& changes) {
          std::string told = TextOf(event);
          for (const ItemChange& change : changes) {
            told += " | " + change.item + ": " + TextOf(change.from) + " -> " + TextOf(change.to);
          }
          m_Told.push_back(told);
        });
  }

  // The same, and waits until all is read.
  void MakeCurrent(const Names& items) {
    Make(items);
    ASSERT_TRUE(RunUntil([&] { return m_Cache->IsCurrent(); }));
    m_Told.clear();
  }

  bool RunUntil(const std::function<bool()>& done) {
    return m_Client->RunUntil(done, support::kPatience);
  }

  bool IsTold(std::size_t count) {
    return RunUntil([&] { return m_Told.size() >= count; });
  }

  std::string Found(const std::string& item) const {
    const ItemState* const state = m_Cache->Find(item);
    return state == nullptr ? "none" : TextOf(*state);
  }

  // What another program does.
  settings::Reply OtherCalls(const std::string& method, const Json::Value& data = {}) {
    return Client(m_Bus.Address()).Call(method, data.isNull() ? Json::objectValue : data);
  }

  void OtherSets(const std::string& item, const std::string& value) {
    ASSERT_TRUE(Client(m_Bus.Address()).SetItemValue(item, value));
  }

  void OtherHides(const std::string& item, bool hidden) {
    Json::Value data;
    data["menuID"] = item;
    data["hidden"] = hidden;
    OtherCalls("Hide", data);
  }

  int Messages() { return OtherCalls("Messages").body["messages"].asInt(); }

  static Json::Value Data(const std::string& name, const std::string& value) {
    Json::Value data;
    data[name] = value;
    return data;
  }

  std::unique_ptr<Client> m_Client;
  std::unique_ptr<ItemCache> m_Cache;
  std::vector<std::string> m_Told;
};

TEST_F(ItemCacheTest, ReadsAllAtOnceAndThenAnswersWithoutAMessage) {
  StartService();
  Make({"picture", "picturemode", "brightness", "greeting"});
  EXPECT_FALSE(m_Cache->IsCurrent());
  EXPECT_EQ(Found("picturemode"), "none");
  ASSERT_TRUE(IsTold(1));
  EXPECT_THAT(m_Told, ElementsAre("read"));
  EXPECT_TRUE(m_Cache->IsCurrent());
  const int messages = Messages();
  EXPECT_EQ(messages, 3) << "the items, the group that is not among them, and this question";
  EXPECT_EQ(Found("picture"), "Picture -/ yes yes");
  EXPECT_EQ(Found("picturemode"), "Picture Mode standard/Standard yes no");
  EXPECT_EQ(Found("brightness"), "Brightness 25/25 yes(no) yes");
  EXPECT_EQ(Messages(), messages + 1);
}

TEST_F(ItemCacheTest, AnItemThatIsNotTheServicesOrNotTheCachesIsNotFound) {
  StartService();
  ASSERT_NO_FATAL_FAILURE(MakeCurrent({"brightness", "nosuchitem"}));
  EXPECT_EQ(Found("nosuchitem"), "none");
  EXPECT_EQ(Found("picture"), "none") << "a group that was read for its item";
  EXPECT_EQ(Found("greeting"), "none");
}

TEST_F(ItemCacheTest, AChangeIsToldOnceWithWhatItWasAndIs) {
  StartService();
  ASSERT_NO_FATAL_FAILURE(MakeCurrent({"picturemode", "brightness"}));
  OtherSets("picturemode", "movie");
  OtherSets("greeting", "other");
  OtherSets("picturemode", "movie");
  OtherSets("brightness", "30");
  ASSERT_TRUE(IsTold(2));
  EXPECT_THAT(m_Told, ElementsAre("changed | picturemode: Picture Mode standard/Standard yes no -> "
                                  "Picture Mode movie/movie yes no",
                                  "changed | brightness: Brightness 25/25 yes(no) yes -> "
                                  "Brightness 30/30 yes(no) yes"));
  EXPECT_EQ(Found("brightness"), "Brightness 30/30 yes(no) yes");
}

TEST_F(ItemCacheTest, AnAnnouncementThatSaysNothingNewIsNotTold) {
  StartService();
  ASSERT_NO_FATAL_FAILURE(MakeCurrent({"picturemode"}));
  OtherCalls("Announce", Data("text", R"({"items":[{"menuID":"picturemode","visible":true}]})"));
  OtherSets("picturemode", "movie");
  ASSERT_TRUE(IsTold(1));
  EXPECT_THAT(m_Told, ElementsAre(HasSubstr("movie/movie")));
}

TEST_F(ItemCacheTest, AGroupHidesAndShowsWhatIsBelowIt) {
  StartService();
  ASSERT_NO_FATAL_FAILURE(MakeCurrent({"brightness", "picturemode"}));
  OtherHides("expert", false);
  ASSERT_TRUE(IsTold(1));
  EXPECT_EQ(Found("brightness"), "Brightness 25/25 yes yes");
  OtherHides("picture", true);
  ASSERT_TRUE(IsTold(2));
  EXPECT_THAT(m_Told[1], HasSubstr("changed | brightness: Brightness 25/25 yes yes -> "
                                   "Brightness 25/25 yes(no) yes | picturemode: "));
  Client(m_Bus.Address()).DisableItem("picture", "org.example.game");
  ASSERT_TRUE(IsTold(3));
  EXPECT_EQ(Found("brightness"), "Brightness 25/25 yes(no) yes(no)");
  EXPECT_EQ(Found("picturemode"), "Picture Mode standard/Standard yes(no) no");
}

TEST_F(ItemCacheTest, WhatChangesWhileItIsReadIsNotMissed) {
  StartService();
  Make({"picturemode", "brightness"});
  // Announced and answered, but not taken yet.
  OtherSets("brightness", "31");
  OtherSets("brightness", "32");
  ASSERT_TRUE(RunUntil([&] { return Found("brightness") == "Brightness 32/32 yes(no) yes"; }));
}

TEST_F(ItemCacheTest, AnAnswerFromBeforeAnAnnouncementThatIsSentLaterDoesNotCountMore) {
  StartService();
  OtherCalls("AnnounceBeforeAnswers",
             Data("text", R"({"items":[{"menuID":"brightness","value":"77","valueName":"77"}]})"));
  ASSERT_NO_FATAL_FAILURE(MakeCurrent({"brightness"}));
  EXPECT_EQ(Found("brightness"), "Brightness 77/77 yes(no) yes");
}

TEST_F(ItemCacheTest, ARestartedServiceIsReadAgainAndTheDifferencesAreTold) {
  StartService();
  ASSERT_NO_FATAL_FAILURE(MakeCurrent({"picturemode", "brightness"}));
  OtherSets("picturemode", "movie");
  ASSERT_TRUE(IsTold(1));
  m_Service->Process().Signal(SIGKILL);
  ASSERT_TRUE(IsTold(2));
  EXPECT_FALSE(m_Cache->IsCurrent());
  EXPECT_EQ(Found("picturemode"), "Picture Mode movie/movie yes no") << "as it was known last";
  StartService();
  ASSERT_TRUE(IsTold(3));
  EXPECT_TRUE(m_Cache->IsCurrent());
  EXPECT_THAT(m_Told, ElementsAre(HasSubstr("changed"), "gone",
                                  "read | picturemode: Picture Mode movie/movie yes no -> "
                                  "Picture Mode standard/Standard yes no"));
  OtherSets("brightness", "30");
  EXPECT_TRUE(IsTold(4));
}

TEST_F(ItemCacheTest, AServiceThatStartsLaterIsReadWhenItIsThere) {
  Make({"picturemode"});
  EXPECT_FALSE(m_Client->RunUntil([&] { return !m_Told.empty(); }, 50ms));
  EXPECT_FALSE(m_Cache->IsCurrent());
  StartService();
  ASSERT_TRUE(IsTold(1));
  EXPECT_EQ(Found("picturemode"), "Picture Mode standard/Standard yes no");
}

TEST_F(ItemCacheTest, AServiceThatDoesNotAnswerInTimeIsAskedAgain) {
  StartService();
  m_Service->Process().Signal(SIGSTOP);
  Make({"picturemode"}, 500ms);
  EXPECT_FALSE(m_Client->RunUntil([&] { return m_Cache->IsCurrent(); }, 1s));
  m_Service->Process().Signal(SIGCONT);
  EXPECT_TRUE(RunUntil([&] { return m_Cache->IsCurrent(); }));
}

TEST_F(ItemCacheTest, AnotherLanguageChangesTheNames) {
  StartService();
  ASSERT_NO_FATAL_FAILURE(MakeCurrent({"brightness", "picturemode"}));
  Json::Value data = Data("language", "de_DE");
  data["ending"] = " (de)";
  OtherCalls("Speak", data);
  ASSERT_TRUE(IsTold(1));
  EXPECT_THAT(m_Told, ElementsAre("language | brightness: Brightness 25/25 yes(no) yes -> "
                                  "Brightness (de) 25/25 yes(no) yes | picturemode: Picture Mode "
                                  "standard/Standard yes no -> Picture Mode (de) "
                                  "standard/Standard yes no"));
  EXPECT_TRUE(m_Cache->IsCurrent());
}

TEST_F(ItemCacheTest, NothingIsToldAfterItsEndNotEvenWhenTheCallbackEndsIt) {
  StartService();
  m_Client = std::make_unique<Client>(m_Bus.Address());
  int calls = 0;
  m_Cache = std::make_unique<ItemCache>(*m_Client, Names{"picturemode"},
                                        [&](CacheEvent, const std::vector<ItemChange>&) {
                                          ++calls;
                                          m_Cache.reset();
                                          ++calls;  // what the callback holds is still there
                                        });
  ASSERT_TRUE(RunUntil([&] { return calls > 0; }));
  int seen = 0;
  const settings::Subscription after =
      m_Client->SubscribeItems([&](const std::vector<settings::ItemUpdate>&) { ++seen; });
  OtherSets("picturemode", "movie");
  ASSERT_TRUE(RunUntil([&] { return seen == 1; }));
  EXPECT_EQ(calls, 2);
}

TEST_F(ItemCacheTest, WhatTheCallbackThrowsComesOutOfTheProcessing) {
  StartService();
  m_Client = std::make_unique<Client>(m_Bus.Address());
  m_Cache = std::make_unique<ItemCache>(
      *m_Client, Names{"picturemode"},
      [](CacheEvent, const std::vector<ItemChange>&) { throw std::out_of_range("mine"); });
  EXPECT_THROW(RunUntil([] { return false; }), std::out_of_range);
}

TEST_F(ItemCacheTest, NobodyButTheServiceIsBelieved) {
  StartService();
  ASSERT_NO_FATAL_FAILURE(MakeCurrent({"brightness", "picturemode"}));
  ASSERT_TRUE(m_Client->RequestName("org.example.client"));
  ASSERT_NO_FATAL_FAILURE(Forge("org.example.client"));
  OtherSets("picturemode", "movie");
  ASSERT_TRUE(IsTold(1));
  EXPECT_THAT(m_Told, ElementsAre(HasSubstr("changed | picturemode: ")));
  EXPECT_TRUE(m_Cache->IsCurrent());
}

TEST_F(ItemCacheTest, ACacheWithoutItemsKnowsWhetherTheServiceIsThere) {
  StartService();
  ASSERT_NO_FATAL_FAILURE(MakeCurrent({}));
  EndService();
  ASSERT_TRUE(IsTold(1));
  EXPECT_THAT(m_Told, ElementsAre("gone"));
}

TEST_F(ItemCacheTest, AnItemThatNoMessageCanHoldIsAnError) {
  StartService();
  EXPECT_THROW(
      {
        Make({"picturemode", "\xff"});
        RunUntil([] { return false; });
      },
      settings::Error);
}

TEST_F(ItemCacheTest, AMenuOfManyItemsIsReadInFewMessages) {
  StartService();
  Names items = {"picture", "picturemode", "expert", "brightness"};
  for (int level = 0; level < 300; ++level) {
    items.push_back("level" + std::to_string(level));
  }
  const int before = Messages();
  ASSERT_NO_FATAL_FAILURE(MakeCurrent(items));
  EXPECT_LT(Messages() - before, 12);
  EXPECT_EQ(Found("level299"), "Level -/ yes yes");
  OtherHides("level0", true);
  ASSERT_TRUE(IsTold(1));
  EXPECT_EQ(Found("level299"), "Level -/ yes(no) yes");
}

}  // namespace
