// The keys of a set are open to every program of it, also to those that write nonsense.

#include <memory>

#include "device_power.h"
#include "ormu.h"
#include "set/keys.h"
#include "set/set_value.h"
#include "set_test.h"
#include "source_api.h"
#include "tv_service.h"

namespace host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

const std::string kTwoSources =
    R"([{"id":13,"name":"Console"},{"id":14,"name":"Computer","detected":"PC"}])";

std::vector<KeyValue> BadSourceLists() {
  std::string many = "[";
  for (int i = 0; i <= 256; ++i) {
    many += R"({"id":1,"name":""},)";
  }
  many.back() = ']';
  return {
      5,
      "",
      "[",
      "{}",
      "null",
      "[1]",
      "[{}]",
      R"([{"id":"13","name":"x"}])",
      R"([{"id":-1,"name":"x"}])",
      R"([{"id":3000000000,"name":"x"}])",
      R"([{"id":1.5,"name":"x"}])",
      R"([{"id":13}])",
      R"([{"id":13,"name":7}])",
      R"([{"id":13,"name":"x","detected":null}])",
      R"([{"id":13,"name":"x","empty":"yes"}])",
      R"([{"id":13,"name":"a\nb"}])",
      R"([{"id":13,"name":"a\u0000b"}])",
      "[{\"id\":13,\"name\":\"\xff\"}]",
      R"([{"id":13,"name":")" + std::string(257, 'x') + "\"}]",
      kTwoSources + "x",
      kTwoSources + '\0' + "x",
      R"([{"id":013,"name":"x"}])",
      std::string(100'000, '['),
      many,
      "[" + std::string(2'000'000, ' ') + "]",
  };
}

void TakeEvent(int event, void* numbers) { static_cast<Numbers*>(numbers)->Take(event); }

TEST_F(HostSet, AListOfSourcesThatCannotBeReadChangesNothing) {
  for (const KeyValue& bad : BadSourceLists()) {
    Store().Set(kSourcesKey, bad);
    const auto before = std::make_shared<std::multimap<int, CSourceItem>>();
    std::shared_ptr<std::multimap<int, CSourceItem>> list = before;
    EXPECT_NE(CSourceAPI::Get()->GetSourceList(list), 0);
    EXPECT_EQ(list, before);
  }
  Store().Set(kSourcesKey, kTwoSources);
  std::shared_ptr<std::multimap<int, CSourceItem>> list;
  EXPECT_EQ(CSourceAPI::Get()->GetSourceList(list), 0);
  EXPECT_THAT(*list, SizeIs(2));
}

TEST_F(HostSet, AListOfSourcesThatCannotBeReadIsNoEventAndLoggedOncePerChange) {
  Numbers events;
  ASSERT_EQ(CSourceAPI::Get()->RegisterSourceAPICallback(TakeEvent, &events), 0);
  const std::vector<KeyValue> bad = BadSourceLists();
  for (const KeyValue& each : bad) {
    Store().Set(kSourcesKey, each);
    std::shared_ptr<std::multimap<int, CSourceItem>> list;
    for (int i = 0; i < 3; ++i) {
      EXPECT_NE(CSourceAPI::Get()->GetSourceList(list), 0);
    }
  }
  Store().Set(kSourceEventKey, 9);
  EXPECT_TRUE(events.WaitForCount(1));
  EXPECT_EQ(CSourceAPI::Get()->UnregisterSourceAPICallback(&events), 0);
  EXPECT_THAT(events.All(), ElementsAre(9));
  const std::vector<std::string> lines = Logged("memory/set/sources ");
  // Though there are two readers, which may be changes apart.
  EXPECT_EQ(lines.size(), bad.size());
  for (const std::string& line : lines) {
    EXPECT_LT(line.size(), 300U);
    EXPECT_THAT(line, HasSubstr("it is ignored"));
  }
}

TEST_F(HostSet, AReaderThatComesAgainLogsAnUnusableValueOnce) {
  Store().Set(kGameItemKey, "many");
  int value = -5;
  for (int i = 0; i < 5; ++i) {
    EXPECT_NE(ormu_get_game_mode(0, 1, &value), 0);
  }
  EXPECT_EQ(value, -5);
  EXPECT_THAT(Logged("memory/set/game_item "), SizeIs(1));
  Store().Set(kGameItemKey, 1);
  EXPECT_EQ(ormu_get_game_mode(0, 1, &value), 0);
  Store().Set(kGameItemKey, "many");
  EXPECT_NE(ormu_get_game_mode(0, 1, &value), 0);
  EXPECT_THAT(Logged("memory/set/game_item is a text where a number belongs"), SizeIs(2));
}

TEST_F(HostSet, ATextInTheKeyOfAnEventIsLoggedAndTheNextEventDelivered) {
  const GameItems items;
  Store().Set(kGameItemKey, 1);
  Store().Set(kGameItemKey, "on");
  Store().Set(kGameItemKey, std::string(1'000'000, '\xff'));
  Store().Unset(kGameItemKey);
  Store().Set(kGameItemKey, 2);
  ASSERT_TRUE(items.WaitForCount(2));
  EXPECT_THAT(items.All(), ElementsAre(1, 2));
  EXPECT_THAT(Logged("memory/set/game_item "), SizeIs(2));
}

TEST_F(HostSet, AnUnusablePowerStateIsPassedOver) {
  struct Powers {
    static void Call(_device_power_state_info* info, void* self) {
      static_cast<Powers*>(self)->previous.Take(info->previous_state);
      static_cast<Powers*>(self)->current.Take(info->current_state);
    }
    Numbers previous;
    Numbers current;
  } powers;
  Store().Set(kPowerKey, "off");
  ASSERT_EQ(device_power_subscribe_state_changed_event(Powers::Call, &powers), 0);
  Store().Set(kPowerKey, 2);
  Store().Set(kPowerKey, "on");
  Store().Unset(kPowerKey);
  Store().Set(kPowerKey, 1);
  EXPECT_TRUE(powers.current.WaitForCount(2));
  EXPECT_EQ(device_power_unsubscribe_state_changed_event(Powers::Call), 0);
  EXPECT_THAT(powers.previous.All(), ElementsAre(kPowerOn, 2));
  EXPECT_THAT(powers.current.All(), ElementsAre(2, 1));
}

int TakeSource(ESignalType, EProfile, unsigned short, TSSignalData data, void* numbers) {
  static_cast<Numbers*>(numbers)->Take(data.sourceId);
  return 0;
}

TEST_F(HostSet, ASignalWithoutAUsableSourceTellsNone) {
  Numbers sources;
  ISignalSubscriber* subscriber = nullptr;
  ASSERT_EQ(TVServiceAPI::CreateSignalSubscriber(TakeSource, &subscriber), 0);
  ASSERT_EQ(subscriber->Subscribe(SIGNAL_EXT_SOURCE_UNPLUG, &sources, PROFILE_MAIN), 0);
  Store().Set(kSignalKey, 29);
  Store().Set(kCurrentSourceKey, "hdmi1");
  Store().Set(kPreviewKey, "none");
  Store().Set(kSignalKey, 29);
  Store().Set(kCurrentSourceKey, 13);
  Store().Set(kSignalKey, 29);
  Store().Set(kSignalKey, "29");
  Store().Unset(kCurrentSourceKey);
  Store().Set(kSignalKey, 29);
  EXPECT_TRUE(sources.WaitForCount(4));
  TVServiceAPI::Destroy(subscriber);
  EXPECT_THAT(sources.All(), ElementsAre(-1, -1, 13, -1));
}

// The set's controls, released at the end.
struct Controls {
  Controls() {
    EXPECT_EQ(TVServiceAPI::CreateSourceControl(PROFILE_MAIN, 0, &source), 0);
    EXPECT_EQ(TVServiceAPI::CreateVideoControl(PROFILE_MAIN, 0, &video), 0);
  }
  ~Controls() {
    TVServiceAPI::Destroy(source);
    TVServiceAPI::Destroy(video);
  }

  // Every question fails and leaves its answers untouched.
  void ExpectFailures() const {
    int number = -5;
    EXPECT_LT(source->GetSourceState(&number), 0);
    EXPECT_LT(source->GetCurrentSource(&number), 1);
    EXPECT_LT(source->GetSourceBeforePreview(&number), 1);
    EXPECT_NE(video->GetVideoWindow(number, number, number, number), 0);
    EXPECT_NE(ormu_get_real_game_mode(1, &number), 0);
    EXPECT_EQ(number, -5);
  }

  ISourceControl* source = nullptr;
  IVideoControl* video = nullptr;
};

TEST_F(HostSet, WithoutKeysEveryQuestionFailsAndThereAreNoSources) {
  Controls().ExpectFailures();
  std::shared_ptr<std::multimap<int, CSourceItem>> list;
  EXPECT_EQ(CSourceAPI::Get()->GetSourceList(list), 0);
  ASSERT_NE(list, nullptr);
  EXPECT_THAT(*list, SizeIs(0));
  EXPECT_THAT(Logged("memory/set/"), SizeIs(0));
}

TEST_F(HostSet, UnusableKeysMakeTheirQuestionsFail) {
  for (const char* key : {kSourceStateKey, kCurrentSourceKey, kGameModeKey, kPreviewKey}) {
    Store().Set(key, "text");
  }
  for (const KeyValue& window : std::vector<KeyValue>{5, "", "[]", "[0,0,1920]", "[0,0,1,2,3]",
                                                      R"([0,0,1920,"1080"])", "[0,0,1e30,1]"}) {
    Store().Set(kWindowKey, window);
    Controls().ExpectFailures();
  }
}

TEST_F(HostSet, AnExceptionOfACallbackIsLoggedAndTheNextEventDelivered) {
  struct Thrower {
    static void Call(void*, int value, void* numbers) {
      static_cast<Numbers*>(numbers)->Take(value);
      throw std::runtime_error("no way");
    }
  };
  Numbers numbers;
  const int id = ormu_register_callback_id("game-mode-changed", Thrower::Call, &numbers);
  Store().Set(kGameModeKey, 1);
  Store().Set(kGameModeKey, 0);
  EXPECT_TRUE(numbers.WaitForCount(2));
  EXPECT_EQ(ormu_unregister_callback_id(id), 0);
  EXPECT_FALSE(Logged("a callback of the set: no way").empty());
}

TEST(SetValue, SourcesAreReadAsTheyWereWritten) {
  SetSource source;
  source.sourceId = 13;
  source.editName = "Köln \"1\" \\ /";
  source.detectedName = "日本語";
  const std::vector<SetSource> read =
      ReadSources(WriteSources({source, EmptyPort(*FindPort("hdmi3"))}));
  ASSERT_THAT(read, SizeIs(2));
  EXPECT_EQ(read[0].sourceId, 13);
  EXPECT_EQ(read[0].editName, source.editName);
  EXPECT_EQ(read[0].detectedName, source.detectedName);
  EXPECT_FALSE(read[0].isEmpty);
  EXPECT_EQ(read[1].sourceId, 15);
  EXPECT_EQ(read[1].editName, "HDMI 3");
  EXPECT_TRUE(read[1].isEmpty);
  EXPECT_THAT(ReadSources(WriteSources({})), SizeIs(0));
}

TEST(SetValue, SeveralSourcesMayHaveOneNumber) {
  EXPECT_THAT(ReadSources(R"([{"id":13,"name":"a"},{"id":13,"name":"b"}])"), SizeIs(2));
}

}  // namespace
}  // namespace host
