#include <fmt/format.h>

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
  static constexpr int kItemCount = 10'000;

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

TEST_F(DisabledItemsSize, TenThousandItemsOfOneListAreDisabledReadAgainAndReleasedSwiftly) {
  const Answer all(true, Ids(0, kItemCount));
  ExpectFast("disable", [&] { EXPECT_EQ(Disable(all.second, "one"), all); });
  EXPECT_EQ(m_Platform.Writes(), 1);
  ExpectFast("disable_by_another",
             [&] { EXPECT_EQ(Disable(all.second, "two"), Answer(false, {})); });
  ExpectFast("read", [&] { Api::UpdateDisabledItemList(); });
  ExpectFast("list", [&] { EXPECT_EQ(Disabled(), all.second); });
  ExpectFast("release", [&] { EXPECT_EQ(Release("one"), Answer(false, {})); });
  ExpectFast("release_last", [&] { EXPECT_EQ(Release("two"), all); });
  EXPECT_EQ(m_Platform.Writes(), 4);
  EXPECT_EQ(Mirror(), "");
}

TEST_F(DisabledItemsSize, AThousandApplicationsMayDisableTenItemsEach) {
  ExpectFast("disable", [&] {
    for (int app = 0; app < 1000; ++app) {
      ASSERT_EQ(Disable(Ids(app * 10, 10), App(app)), Answer(true, Ids(app * 10, 10)));
    }
  });
  ExpectFast("release", [&] {
    for (int app = 0; app < 1000; ++app) {
      ASSERT_EQ(Release(App(app)), Answer(true, Ids(app * 10, 10)));
    }
  });
  EXPECT_EQ(m_Platform.Writes(), 2000);
}

TEST_F(DisabledItemsSize, AThousandApplicationsMayDisableTheSameTenItems) {
  ExpectFast("disable", [&] {
    for (int app = 0; app < 1000; ++app) {
      ASSERT_EQ(Disable(Ids(0, 10), App(app)).first, app == 0);
    }
  });
  EXPECT_EQ(Disablers(Id(5)).size(), 1000u);
  ExpectFast("release", [&] {
    for (int app = 0; app < 1000; ++app) {
      ASSERT_EQ(Release(App(app)).first, app == 999);
    }
  });
  EXPECT_EQ(m_Platform.Writes(), 2000);
}

}  // namespace
