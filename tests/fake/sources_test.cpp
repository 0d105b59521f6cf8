#include <string>

#include "fixture.h"
#include "lwipc.h"
#include "source_api.h"

namespace {

void OnSources(int event, void* userData) {
  LwipcEventDone(
      (std::string(userData == nullptr ? "null" : "data") + " " + std::to_string(event)).c_str());
}

void OnSourcesToo(int, void*) { LwipcEventDone("too"); }

class FakeSources : public fakes::FakePlatformTest {
 protected:
  FakeSources() {
    fake.Name(reinterpret_cast<const void*>(OnSources), "OnSources");
    fake.Name(reinterpret_cast<const void*>(OnSourcesToo), "OnSourcesToo");
    fake.Name(&m_Data, "data");
  }

  int m_Data = 0;
};

TEST_F(FakeSources, AreGivenAsAListOfTheCallersOwn) {
  fake.SetSources({{14, {.sourceId = 14, .editName = "PC", .detectedName = ""}},
                   {13, {.sourceId = 15, .editName = "Game", .detectedName = "Box"}}});
  std::shared_ptr<std::multimap<int, CSourceItem>> list;
  EXPECT_EQ(CSourceAPI::Get()->GetSourceList(list), 0);
  ASSERT_EQ(list->size(), 2u);
  EXPECT_EQ(list->find(13)->second.editName, "Game");
  list->clear();
  CSourceAPI::Get()->GetSourceList(list);
  EXPECT_EQ(list->size(), 2u);
  fake.Fail("CSourceAPI::GetSourceList", {.code = -2});
  EXPECT_EQ(CSourceAPI::Get()->GetSourceList(list), -2);
  EXPECT_EQ(list->size(), 2u);
  ExpectTrace(R"(
    CSourceAPI::GetSourceList() -> 0: {13 is 15 "Game" "Box", 14 "PC" ""}
    CSourceAPI::GetSourceList() -> 0: {13 is 15 "Game" "Box", 14 "PC" ""}
    CSourceAPI::GetSourceList() -> -2
  )");
}

TEST_F(FakeSources, TellWhoeverIsRegistered) {
  CSourceAPI* const sources = CSourceAPI::Get();
  EXPECT_EQ(sources->RegisterSourceAPICallback(OnSourcesToo, &m_Data), 0);
  EXPECT_EQ(sources->RegisterSourceAPICallback(OnSources, &m_Data), 0);
  fake.SendSourceEvent(4);
  fake.SendSourceEvent(-1, nullptr);
  EXPECT_EQ(sources->UnregisterSourceAPICallback(nullptr), -1);
  EXPECT_EQ(sources->UnregisterSourceAPICallback(&m_Data), 0);
  EXPECT_EQ(sources->UnregisterSourceAPICallback(&m_Data), -1);
  fake.SendSourceEvent(5);
  ExpectTrace(R"(
    CSourceAPI::RegisterSourceAPICallback(OnSourcesToo, data) -> 0
    CSourceAPI::RegisterSourceAPICallback(OnSources, data) -> 0
    LwipcEventDone("data 4") -> 0
    LwipcEventDone("null -1") -> 0
    CSourceAPI::UnregisterSourceAPICallback(null) -> -1
    CSourceAPI::UnregisterSourceAPICallback(data) -> 0
    CSourceAPI::UnregisterSourceAPICallback(data) -> -1
  )");
}

TEST_F(FakeSources, TellNobodyWhoCouldNotRegister) {
  fake.Fail("CSourceAPI::RegisterSourceAPICallback", {.code = -2, .times = 1});
  EXPECT_EQ(CSourceAPI::Get()->RegisterSourceAPICallback(OnSources, &m_Data), -2);
  fake.SendSourceEvent(4);
  CSourceAPI::Get()->RegisterSourceAPICallback(OnSources, &m_Data);
  fake.Fail("CSourceAPI::UnregisterSourceAPICallback", {.code = -3});
  EXPECT_EQ(CSourceAPI::Get()->UnregisterSourceAPICallback(&m_Data), -3);
  fake.SendSourceEvent(5);
  ExpectTrace(R"(
    CSourceAPI::RegisterSourceAPICallback(OnSources, data) -> -2
    CSourceAPI::RegisterSourceAPICallback(OnSources, data) -> 0
    CSourceAPI::UnregisterSourceAPICallback(data) -> -3
    LwipcEventDone("data 5") -> 0
  )");
}

}  // namespace
