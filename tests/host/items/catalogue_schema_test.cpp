#include "items/catalogue_schema.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace {

TEST(CatalogueSchema, TheDeliveredFileIsWhatTheReaderChecksBy) {
  std::ifstream file(DELIVERED_CATALOGUE_DIR "/catalogue.schema.json");
  const std::string delivered{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(delivered, host::CatalogueSchema() + "\n")
      << "setctl catalogue schema > data/catalogue/catalogue.schema.json writes it anew";
}

}  // namespace
