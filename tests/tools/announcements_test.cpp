#include <optional>
#include <string>
#include <vector>

#include "fixture.h"
#include "settings/client.h"

// What the client hears of items, and of whom.

namespace {

using settings::Client;
using settings::ErrorCode;
using settings::ItemUpdate;
using settings::Reason;
using testing::ElementsAre;
using testing::IsEmpty;

Json::Value Data(const std::string& name, const Json::Value& value) {
  Json::Value data;
  data[name] = value;
  return data;
}

std::string TextOf(const ItemUpdate& update) {
  const auto state = [](const char* name, std::optional<bool> is) {
    return is ? std::string(name) + (*is ? "=yes" : "=no") : std::string();
  };
  return update.item + (update.value ? " value=" + *update.value : "") +
         (update.valueName ? " name=" + *update.valueName : "") +
         state(" visible", update.visible) + state(" enabled", update.enabled);
}

class AnnouncementsTest : public OnBus {
 protected:
  AnnouncementsTest() { StartService(); }

  settings::ItemsCallback Collect() {
    return [this](const std::vector<ItemUpdate>& updates) {
      for (const ItemUpdate& update : updates) {
        m_Seen.push_back(TextOf(update));
      }
    };
  }

  // Whether the client comes to have seen as much.
  bool Sees(std::size_t count) {
    return m_Client.RunUntil([&] { return m_Seen.size() >= count; }, support::kPatience);
  }

  Client m_Client{m_Bus.Address(), support::kPatience};
  std::vector<std::string> m_Seen;
};

TEST_F(AnnouncementsTest, ASubscriptionSeesWhatItemsBecomeAndOnlyWhatChanged) {
  const settings::Subscription subscription = m_Client.SubscribeItems(Collect());
  m_Client.SetItemValue("brightness", "30");
  m_Client.Call("Hide", [] {
    Json::Value data = Data("menuID", "picturemode");
    data["hidden"] = true;
    return data;
  }());
  m_Client.DisableItem("brightness", "org.example.game");
  ASSERT_TRUE(Sees(3));
  EXPECT_THAT(m_Seen, ElementsAre("brightness value=30 name=30", "picturemode visible=no",
                                  "brightness enabled=no"));
}

TEST_F(AnnouncementsTest, OneAnnouncementMayBeOfManyItems) {
  int calls = 0;
  const settings::Subscription subscription =
      m_Client.SubscribeItems([&](const std::vector<ItemUpdate>& updates) {
        ++calls;
        Collect()(updates);
      });
  m_Client.DisableItemsByList({"brightness", "greeting"}, "org.example.game");
  ASSERT_TRUE(Sees(2));
  EXPECT_THAT(m_Seen, ElementsAre("brightness enabled=no", "greeting enabled=no"));
  EXPECT_EQ(calls, 1);
}

TEST_F(AnnouncementsTest, WhatIsNoAnnouncementIsPassedOver) {
  const settings::Subscription subscription = m_Client.SubscribeItems(Collect());
  for (const char* const text :
       {"oops", "[]", "{}", R"({"items":7})", R"({"items":[7,{},{"menuID":7}]})",
        R"({"items":[{"menuID":"greeting","value":1,"visible":"no","enabled":false}]})"}) {
    m_Client.Call("Announce", Data("text", text));
  }
  ASSERT_TRUE(Sees(1));
  EXPECT_THAT(m_Seen, ElementsAre("greeting enabled=no"));
}

TEST_F(AnnouncementsTest, AChangeOfTheLanguageIsSeen) {
  std::string heard;
  const settings::Subscription subscription =
      m_Client.SubscribeLanguage([&](const std::string& language) { heard = language; });
  m_Client.Call("Speak", Data("language", "de_DE"));
  EXPECT_TRUE(m_Client.RunUntil([&] { return !heard.empty(); }, support::kPatience));
  EXPECT_EQ(heard, "de_DE");
}

TEST_F(AnnouncementsTest, SubscriptionsLastAcrossARestart) {
  const settings::Subscription subscription = m_Client.SubscribeItems(Collect());
  EndService();
  StartService();
  m_Client.SetItemValue("brightness", "30");
  EXPECT_TRUE(Sees(1));
}

TEST_F(AnnouncementsTest, NobodyButTheServiceIsBelieved) {
  ASSERT_TRUE(m_Client.RequestName("org.example.client"));
  const settings::Subscription items = m_Client.SubscribeItems(Collect());
  const settings::Subscription language =
      m_Client.SubscribeLanguage([&](const std::string& heard) { m_Seen.push_back(heard); });
  const settings::Subscription signals =
      m_Client.Subscribe([&](const settings::Signal& signal) { m_Seen.push_back(signal.body); });
  ASSERT_NO_FATAL_FAILURE(Forge("org.example.client"));
  m_Client.SetItemValue("greeting", "real");
  ASSERT_TRUE(Sees(1));
  EXPECT_THAT(m_Seen, ElementsAre("greeting value=real name=real"));
}

TEST_F(AnnouncementsTest, ReasonsAreExplained) {
  const std::optional<settings::Explanation> explanation = m_Client.Explain("picturemode");
  ASSERT_TRUE(explanation);
  EXPECT_EQ(explanation->item, "picturemode");
  EXPECT_TRUE(explanation->visible);
  EXPECT_FALSE(explanation->enabled);
  const std::vector<Reason>& reasons = explanation->reasons;
  ASSERT_EQ(reasons.size(), 6u);
  for (const Reason& reason : reasons) {
    EXPECT_EQ(reason.what, Reason::What::kEnabled);
  }
  EXPECT_EQ(reasons[0].of, Reason::Of::kItem);
  EXPECT_EQ(reasons[0].name, "brightness");
  EXPECT_EQ(reasons[0].is, "25");
  EXPECT_THAT(reasons[0].list, ElementsAre("30", "40"));
  EXPECT_FALSE(reasons[0].isNot);
  EXPECT_EQ(reasons[1].of, Reason::Of::kKey);
  EXPECT_TRUE(reasons[1].is.isNull());
  EXPECT_EQ(reasons[2].of, Reason::Of::kFeature);
  EXPECT_EQ(reasons[3].of, Reason::Of::kSource);
  EXPECT_EQ(reasons[3].name, "memory/set/source/type");
  EXPECT_TRUE(reasons[3].isNot);
  EXPECT_THAT(reasons[3].list, ElementsAre("tv", "av"));
  EXPECT_EQ(reasons[4].of, Reason::Of::kSpeaker);
  EXPECT_EQ(reasons[5].of, Reason::Of::kApp);
  EXPECT_EQ(reasons[5].name, "org.example.game");
  EXPECT_THAT(reasons[5].list, IsEmpty());
}

TEST_F(AnnouncementsTest, AnUnknownItemHasNoExplanationAndAnotherServiceCannotExplain) {
  EXPECT_FALSE(m_Client.Explain("nosuchitem"));
  EXPECT_TRUE(m_Client.Explain("picture")->reasons.empty());
  const auto codeOf = [&](const std::string& item) {
    try {
      m_Client.Explain(item);
      ADD_FAILURE() << "no error";
    } catch (const settings::Error& error) {
      return error.Code();
    }
    return ErrorCode::kBus;
  };
  EXPECT_EQ(codeOf("greeting"), ErrorCode::kProtocol);
  EXPECT_EQ(codeOf("\xff"), ErrorCode::kInvalidMessage);
  m_Client.Call("ForgetLists");
  EXPECT_EQ(codeOf("picture"), ErrorCode::kProtocol);
}

}  // namespace
