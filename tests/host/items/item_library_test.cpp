#include "items/item_library.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "catalogue_directory.h"
#include "memory_inputs.h"
#include "platform_double.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ItemLibrary : public testing::Test {
 protected:
  ItemLibrary() {
    PlatformDouble::Get().Reset();
    const auto file = m_Directory.Write("menu.json", R"({"items": [
      {"id": "output", "kind": "list", "name": "Output", "displayId": "OUTPUT", "default": "tv",
       "follows": "speaker",
       "options": [{"value": "tv", "name": "TV"}, {"value": "receiver", "name": "Receiver"}]},
      {"id": "game", "kind": "switch", "name": "Game", "displayId": "GAME", "default": "off",
       "visible": {"speaker": "receiver"}}]})");
    m_Library.Load(file);
    m_Other.Load(file);
  }

  ~ItemLibrary() override { PlatformDouble::Get().Reset(); }

  CatalogueDirectory m_Directory;
  MemoryInputs m_Inputs;
  MemoryInputs m_OtherInputs;
  host::ItemLibrary m_Library{m_Inputs};
  host::ItemLibrary m_Other{m_OtherInputs};
};

TEST_F(ItemLibrary, SharesNothingWithAnother) {
  const std::string ids[] = {"output"};
  m_Library.StoreValue(*m_Library.Find("game"), 1);
  m_Library.Disabled().Disable(ids, "org.example.app");
  m_Inputs.WriteText("memory/set/speaker", "receiver");
  m_Library.FreshSpeakerType();
  m_Other.FreshSpeakerType();
  EXPECT_EQ(m_Library.CurrentValue(*m_Library.Find("game")), 1);
  EXPECT_EQ(m_Library.CurrentValue(*m_Library.Find("output")), 1);
  EXPECT_TRUE(m_Library.IsTrue(m_Library.Find("game")->states.visible));
  EXPECT_THAT(m_Library.Disabled().AllItems(), ElementsAre("output"));
  EXPECT_EQ(m_Other.CurrentValue(*m_Other.Find("game")), 0);
  EXPECT_EQ(m_Other.CurrentValue(*m_Other.Find("output")), 0);
  EXPECT_FALSE(m_Other.IsTrue(m_Other.Find("game")->states.visible));
  EXPECT_THAT(m_Other.Disabled().AllItems(), IsEmpty());
}

TEST_F(ItemLibrary, WritesByNothingButItsInputs) {
  const std::string ids[] = {"output"};
  m_Library.PreviewValue(*m_Library.Find("output"), 1);
  m_Library.Disabled().Disable(ids, "org.example.app");
  EXPECT_EQ(m_Inputs.Text("memory/menu/preview/output"), "receiver");
  EXPECT_NE(m_Inputs.Text("memory/menu/disabled_items"), std::nullopt);
  EXPECT_EQ(PlatformDouble::Get().Writes(), 0);
}

}  // namespace
