#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <string>

#include "platform_double.h"
#include "settings_item_info_api.h"

// Tests of the settings data library with a catalogue of their own: the data directory of the
// process is a temporary one, and the platform under the library is new for each test.
class ItemsTest : public testing::Test {
 protected:
  ItemsTest();
  ~ItemsTest() override;

  // Makes `items`, the inside of the catalogue's list, the catalogue, and loads it.
  static void LoadItems(const std::string& items);
  static void WriteCatalogue(const std::string& text);
  static void RemoveCatalogue();

  // What the calls with buffers answer; nothing when they fail. A failure that touches a buffer
  // fails the test.
  static std::optional<std::string> Value(const char* menuID);
  static std::optional<std::string> ValueName(const char* menuID);
  static std::optional<std::string> DisplayId(const char* menuID);
  static std::optional<std::string> DisplayName(const char* menuID);

  PlatformDouble& m_Platform = PlatformDouble::Get();
};
