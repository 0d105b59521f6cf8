#include "items_test.h"

#include <array>
#include <fstream>

#include "support/temp_directory.h"
#include "system/environment.h"

namespace {

// The environment of a process is set once, so the directory is the same for all tests.
class DataDirectory : public testing::Environment {
 public:
  void SetUp() override {
    host::SetEnvironment({m_Directory.Path(), m_Directory / "model.json", m_Directory.Path()});
    std::filesystem::create_directory(m_Directory / "catalogue");
  }

 private:
  support::TempDirectory m_Directory;
};

[[maybe_unused]] const auto* const g_DataDirectory =
    testing::AddGlobalTestEnvironment(new DataDirectory);

std::filesystem::path CatalogueFile() {
  return host::GetEnvironment().dataDir / "catalogue" / "menu.json";
}

using Buffer = std::array<char, SETTINGS_ITEM_TEXT_SIZE>;

constexpr char kUntouched = '#';

Buffer MakeBuffer() {
  Buffer buffer;
  buffer.fill(kUntouched);
  return buffer;
}

std::optional<std::string> Answer(int result, const Buffer& buffer) {
  if (result == 0) {
    return std::string(buffer.data());
  }
  EXPECT_EQ(result, -1);
  EXPECT_EQ(buffer, MakeBuffer()) << "a failed call wrote into the buffer";
  return std::nullopt;
}

}  // namespace

ItemsTest::ItemsTest() { m_Platform.Reset(); }

ItemsTest::~ItemsTest() { RemoveCatalogue(); }

void ItemsTest::WriteCatalogue(const std::string& text) { std::ofstream(CatalogueFile()) << text; }

void ItemsTest::RemoveCatalogue() { std::filesystem::remove(CatalogueFile()); }

void ItemsTest::LoadItems(const std::string& items) {
  WriteCatalogue("{\"items\": [" + items + "]}");
  CSettingsItemInfoAPI::InitSettingsItemInfoAPI();
  for (const auto& line : PlatformDouble::Get().Log()) {
    ADD_FAILURE() << line.text;
  }
}

std::optional<std::string> ItemsTest::Value(const char* menuID) {
  Buffer name = MakeBuffer();
  Buffer value = MakeBuffer();
  const int result = CSettingsItemInfoAPI::GetItemValue(menuID, name.data(), value.data());
  Answer(result, name);
  return Answer(result, value);
}

std::optional<std::string> ItemsTest::ValueName(const char* menuID) {
  Buffer name = MakeBuffer();
  Buffer value = MakeBuffer();
  const int result = CSettingsItemInfoAPI::GetItemValue(menuID, name.data(), value.data());
  Answer(result, value);
  return Answer(result, name);
}

std::optional<std::string> ItemsTest::DisplayId(const char* menuID) {
  Buffer buffer = MakeBuffer();
  const int result = CSettingsItemInfoAPI::GetItemDisplayID(menuID, buffer.data());
  return Answer(result, buffer);
}

std::optional<std::string> ItemsTest::DisplayName(const char* menuID) {
  Buffer buffer = MakeBuffer();
  const int result = CSettingsItemInfoAPI::GetItemDisplayName(menuID, buffer.data());
  return Answer(result, buffer);
}
