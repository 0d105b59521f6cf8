#include "active_net_speaker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

#include "dlog.h"
#include "platform_double.h"

namespace {

using testing::ElementsAre;

class ActiveNetSpeaker : public testing::Test {
 protected:
  ActiveNetSpeaker() {
    m_Platform.Reset();
    m_Name.fill('#');
    m_Type.fill('#');
  }

  int Ask() { return GetActiveNetSpkInfo(m_Name.data(), m_Type.data(), m_Speakers); }

  int AskAbout(const std::string& speakers) {
    m_Platform.SetKey("memory/set/network_speakers", speakers);
    return Ask();
  }

  void ExpectUntouched() {
    EXPECT_EQ(m_Name.front(), '#');
    EXPECT_EQ(m_Type.front(), '#');
    EXPECT_THAT(m_Speakers, ElementsAre("before"));
  }

  PlatformDouble& m_Platform = PlatformDouble::Get();
  std::array<char, NET_SPEAKER_DISPLAY_NAME_SIZE> m_Name;
  std::array<char, NET_SPEAKER_TYPE_SIZE> m_Type;
  std::vector<std::string> m_Speakers = {"before"};
};

TEST_F(ActiveNetSpeaker, TheFirstSpeakerIsDescribedAndAllAreNamed) {
  EXPECT_EQ(AskAbout(R"([{"id": "s1", "name": "Living Room", "type": "soundbar"},
                         {"id": "s2", "name": "Kitchen", "type": "speaker"}])"),
            2);
  EXPECT_STREQ(m_Name.data(), "Living Room");
  EXPECT_STREQ(m_Type.data(), "soundbar");
  EXPECT_THAT(m_Speakers, ElementsAre("s1", "s2"));
  EXPECT_TRUE(m_Platform.Log().empty());
}

TEST_F(ActiveNetSpeaker, LongTextsAreCutToTheBuffersAtACharacter) {
  std::string name = "x";
  while (name.size() < 200) {
    name += "\u00e9";
  }
  EXPECT_EQ(AskAbout(R"([{"id": "s1", "name": ")" + name +
                     R"(", "type": "0123456789012345678901234567890"}])"),
            1);
  EXPECT_EQ(m_Name.data(), name.substr(0, 127));
  EXPECT_STREQ(m_Type.data(), "0123456789012345678901");
}

TEST_F(ActiveNetSpeaker, ACutNameEndsBeforeTheCharacterThatDoesNotFit) {
  std::string name;
  while (name.size() < 200) {
    name += "\u00e9";
  }
  EXPECT_EQ(AskAbout(R"([{"id": "s1", "name": ")" + name + R"(", "type": "t"}])"), 1);
  EXPECT_EQ(m_Name.data(), name.substr(0, 126));
}

TEST_F(ActiveNetSpeaker, WithoutADescriptionThereIsNoSpeaker) {
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(AskAbout(""), 0);
  EXPECT_EQ(AskAbout("[]"), 0);
  m_Platform.SetKey("memory/set/network_speakers", 1);
  EXPECT_EQ(Ask(), 0);
  ExpectUntouched();
  EXPECT_TRUE(m_Platform.Log().empty());
}

TEST_F(ActiveNetSpeaker, ADamagedDescriptionIsNoSpeakerAndIsLogged) {
  const std::string deep(5000, '[');
  std::size_t logged = 0;
  for (const std::string& damaged :
       {std::string("["), std::string("{}"), std::string("[1]"), std::string("[null]"),
        std::string(R"([{"id": "s1", "name": "Living Room"}])"),
        std::string(R"([{"id": 1, "name": "Living Room", "type": "soundbar"}])"),
        std::string("[{\"id\": \"s1\", \"name\": \"\xff\", \"type\": \"soundbar\"}]"),
        std::string(R"([{"id": "s1", "name": "A", "type": "b"}, {"id": "s2"}])"),
        std::string(R"([{"id": "s1", "name": "A", "type": "b"}] x)"),
        std::string(R"([{"id": "s1", "name": "A", "type": "b", "volume": 07}])"), deep}) {
    EXPECT_EQ(AskAbout(damaged), 0) << damaged;
    ExpectUntouched();
    ASSERT_EQ(m_Platform.Log().size(), ++logged) << damaged;
    EXPECT_EQ(m_Platform.Log().back().priority, DLOG_ERROR);
    EXPECT_THAT(m_Platform.Log().back().text, testing::StartsWith("memory/set/network_speakers: "));
  }
}

}  // namespace
