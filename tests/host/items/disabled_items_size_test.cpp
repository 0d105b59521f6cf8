#include <fmt/format.h>
#include <gmock/gmock.h>

#include "disabled_items_fixture.h"
#include "processor_time.h"

namespace {

#ifdef NDEBUG
constexpr double kLimit = 1;
#else
constexpr double kLimit = 30;
#endif

class DisabledItemsSize : public DisabledItemsTest {
 protected:
  static constexpr int kItemCount = 6'000;

  DisabledItemsSize() {
    std::string items;
    for (int i = 0; i < kItemCount; ++i) {
      items += fmt::format(R"({}{{"id": "{}", "kind": "action", "name": "I", "displayId": "I"}})",
                           i == 0 ? "" : ",\n", Id(i));
    }
    LoadItems(items);
  }

  static std::string Id(int number) { return fmt::format("item{}", number); }
  static std::string App(int number) { return fmt::format("org.example.application{}", number); }

  static Texts Ids(int first, int count) {
    Texts ids;
    for (int i = first; i < first + count; ++i) {
      ids.push_back(Id(i));
    }
    return ids;
  }

  // The processor time of some work, for the report of the test.
  template <typename Work>
  void ExpectFast(const char* name, Work work) {
    const double seconds = SecondsFor(work);
    RecordProperty(name, std::to_string(seconds));
    EXPECT_LT(seconds, kLimit) << name;
  }
};

TEST_F(DisabledItemsSize, SixThousandItemsOfOneListAreDisabledReadAgainAndReleasedSwiftly) {
  const Answer all(true, Ids(0, kItemCount));
  ExpectFast("disable", [&] { EXPECT_EQ(Disable(all.second, "a.b"), all); });
  EXPECT_EQ(m_Platform.Writes(), 1);
  ExpectFast("disable_by_another",
             [&] { EXPECT_EQ(Disable(all.second, "c.d"), Answer(false, {})); });
  ExpectFast("read", [&] { Api::UpdateDisabledItemList(); });
  ExpectFast("list", [&] { EXPECT_EQ(Disabled(), all.second); });
  ExpectFast("release", [&] { EXPECT_EQ(Release("a.b"), Answer(false, {})); });
  ExpectFast("release_last", [&] { EXPECT_EQ(Release("c.d"), all); });
  EXPECT_EQ(m_Platform.Writes(), 4);
  EXPECT_EQ(Mirror(), "");
}

TEST_F(DisabledItemsSize, AThousandApplicationsMayDisableFourItemsEach) {
  ExpectFast("disable", [&] {
    for (int app = 0; app < 1000; ++app) {
      ASSERT_EQ(Disable(Ids(app * 4, 4), App(app)), Answer(true, Ids(app * 4, 4)));
    }
  });
  ExpectFast("release", [&] {
    for (int app = 0; app < 1000; ++app) {
      ASSERT_EQ(Release(App(app)), Answer(true, Ids(app * 4, 4)));
    }
  });
  EXPECT_EQ(m_Platform.Writes(), 2000);
}

TEST_F(DisabledItemsSize, AThousandApplicationsMayDisableTheSameFiveItems) {
  ExpectFast("disable", [&] {
    for (int app = 0; app < 1000; ++app) {
      ASSERT_EQ(Disable(Ids(0, 5), App(app)).first, app == 0);
    }
  });
  EXPECT_EQ(Disablers(Id(4)).size(), 1000u);
  ExpectFast("release", [&] {
    for (int app = 0; app < 1000; ++app) {
      ASSERT_EQ(Release(App(app)).first, app == 999);
    }
  });
  EXPECT_EQ(m_Platform.Writes(), 2000);
}

TEST_F(DisabledItemsSize, AFullRecordRefusesMoreButLetsGo) {
  const Texts all = Ids(0, kItemCount);
  Disable(all, "a.b");
  Disable(all, "c.d");
  EXPECT_EQ(Disable(all, "e.f"), Answer(false, {}));
  EXPECT_THAT(Errors(), testing::ElementsAre(testing::HasSubstr("disabled_items: full")));
  EXPECT_EQ(Disablers(Id(5)), (Texts{"a.b", "c.d"})) << "a call is taken whole or not at all";

  int taken = 0;
  for (const int step : {500, 50, 1}) {
    const std::size_t refusals = Errors().size();
    while (Errors().size() == refusals) {
      Disable(Ids(taken, step), "e.f");
      taken += step;
    }
    taken -= step;
  }
  const std::string mirror = Mirror();
  EXPECT_GT(mirror.size(), 256u * 1024u - 10);
  EXPECT_LE(mirror.size(), 256u * 1024u);
  EXPECT_FALSE(Api::EnableItem(Id(0), "a.b")) << "others still disable it";
  Disable(Ids(taken, 1), "e.f");
  EXPECT_EQ(Disablers(Id(taken)), (Texts{"a.b", "c.d", "e.f"})) << "but now there is room";
}

TEST_F(DisabledItemsSize, LongNamesFillTheRecordSooner) {
  const std::string name = "org." + std::string(245, 'x') + ".";
  int taken = 0;
  while (Disable(Ids(taken, 1), name + "a" + std::to_string(taken)).first) {
    ++taken;
  }
  EXPECT_GT(taken, 500);
  EXPECT_LT(taken, 5'000);
  EXPECT_LE(Mirror().size(), 256u * 1024u);
  EXPECT_THAT(Errors(), testing::ElementsAre(testing::HasSubstr("disabled_items: full")));
}

TEST_F(DisabledItemsSize, OfAMirrorBeyondTheLimitsAPartIsReadSwiftly) {
  std::string text;
  for (int app = 0; app < 100'000; ++app) {
    text += fmt::format(R"({}{{"id":"{}","apps":["{}"]}})", app == 0 ? "" : "\n",
                        Id(app % kItemCount), App(app));
  }
  m_Platform.SetKey(kMirror, text);
  ExpectFast("read", [&] { Api::UpdateDisabledItemList(); });
  EXPECT_THAT(Errors(), testing::ElementsAre(testing::HasSubstr("dropped")));
  EXPECT_GT(Disabled().size(), 1'000u);
  EXPECT_LE(Mirror().size(), 256u * 1024u);

  m_Platform.Reset();
  text = R"({"id":"item0","apps":["a.b0")";
  for (int app = 1; app < 100'000; ++app) {
    text += fmt::format(",\"a.b{}\"", app);
  }
  m_Platform.SetKey(kMirror, text + "]}");
  ExpectFast("read_line", [&] { Api::UpdateDisabledItemList(); });
  EXPECT_THAT(Disabled(), testing::IsEmpty()) << "one line is taken whole or not at all";
}

}  // namespace
