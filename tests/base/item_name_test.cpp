#include "base/item_name.h"

#include <gtest/gtest.h>

namespace {

using base::ReadItemName;

TEST(ItemName, WithoutASlashItIsAnId) {
  for (const char* name : {"brightness", "", "a b", "."}) {
    EXPECT_EQ(ReadItemName(name).item, name);
    EXPECT_EQ(ReadItemName(name).path, std::nullopt);
  }
}

TEST(ItemName, APathEndsWithTheId) {
  for (const char* name : {"picture/expert/brightness", "/picture/expert/brightness",
                           "picture/expert/brightness/", "//picture/expert/brightness//"}) {
    EXPECT_EQ(ReadItemName(name).item, "brightness") << name;
    EXPECT_EQ(ReadItemName(name).path, "picture/expert/brightness") << name;
  }
}

TEST(ItemName, TheTopOfTheMenuHasPathsOfOnePart) {
  for (const char* name : {"/picture", "picture/", "/picture/"}) {
    EXPECT_EQ(ReadItemName(name).item, "picture") << name;
    EXPECT_EQ(ReadItemName(name).path, "picture") << name;
  }
}

TEST(ItemName, SlashesInsideStay) {
  EXPECT_EQ(ReadItemName("picture//brightness").path, "picture//brightness");
  EXPECT_EQ(ReadItemName("picture//brightness").item, "brightness");
}

TEST(ItemName, SlashesAloneNameNothing) {
  for (const char* name : {"/", "//"}) {
    EXPECT_EQ(ReadItemName(name).item, "") << name;
    EXPECT_EQ(ReadItemName(name).path, "") << name;
  }
}

}  // namespace
