#pragma once

#include <string>
#include <utility>
#include <vector>

#include "dlog.h"
#include "items_test.h"

// Tests of the record of disabled items. The record of the process is empty at the beginning of
// each: the platform under the library is new, and the record is taken from there.
class DisabledItemsTest : public ItemsTest {
 protected:
  using Api = CSettingsItemInfoAPI;
  using Texts = std::vector<std::string>;

  static constexpr char kMirror[] = "memory/menu/disabled_items";
  static constexpr char kItems[] = R"(
    {"id": "picture", "kind": "group", "name": "Picture", "displayId": "PICTURE", "items": [
      {"id": "tone", "kind": "switch", "name": "Tone", "displayId": "TONE", "default": "off"},
      {"id": "brightness", "kind": "range", "name": "Brightness", "displayId": "BRIGHTNESS",
       "min": 0, "max": 5, "step": 1, "default": 0}]},
    {"id": "game", "kind": "switch", "name": "Game", "displayId": "GAME", "default": "off"},
    {"id": "audio", "kind": "switch", "name": "Audio", "displayId": "AUDIO", "default": "off"},
    {"id": "reset", "kind": "action", "name": "Reset", "displayId": "RESET"})";

  DisabledItemsTest() {
    Api::UpdateDisabledItemList();
    LoadItems(kItems);
  }

  ~DisabledItemsTest() override {
    m_Platform.Reset();
    Api::UpdateDisabledItemList();
  }

  // As a process that begins: the record is taken from the mirror, then the items are loaded.
  void Restart() {
    Api::UpdateDisabledItemList();
    Api::InitSettingsItemInfoAPI();
  }

  std::string Mirror() const {
    const auto text = m_Platform.Key(kMirror);
    return text ? std::get<std::string>(*text) : "no mirror";
  }

  static Texts Disabled() {
    Texts ids;
    EXPECT_TRUE(Api::GetDisabledItemsList(ids));
    return ids;
  }

  static Texts Disablers(const std::string& id) {
    Texts apps;
    EXPECT_TRUE(Api::GetDisablerAppNamesByMenuId(id, apps));
    return apps;
  }

  // What the calls for many items answer: their result, and what they list.
  using Answer = std::pair<bool, Texts>;

  static Answer Disable(Texts ids, const std::string& app) {
    Texts disabled;
    const bool result = Api::DisableItemsByList(ids, disabled, app);
    return {result, disabled};
  }

  static Answer Release(const std::string& app) {
    Texts released;
    const bool result = Api::RemoveDisabledItemsByAppname(released, app);
    return {result, released};
  }

  Texts Errors() const {
    Texts lines;
    for (const auto& line : m_Platform.Log()) {
      EXPECT_EQ(line.priority, DLOG_ERROR);
      EXPECT_EQ(line.tag, "settings-items");
      lines.push_back(line.text);
    }
    return lines;
  }
};
