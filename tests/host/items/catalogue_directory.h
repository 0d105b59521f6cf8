#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "support/temp_directory.h"

// A directory with the catalogue files of one test.
class CatalogueDirectory {
 public:
  // Writes a file and returns its path.
  std::filesystem::path Write(const std::string& name, const std::string& text) const {
    std::ofstream(m_Directory / name) << text;
    return m_Directory / name;
  }

  const std::filesystem::path& Path() const { return m_Directory.Path(); }

 private:
  support::TempDirectory m_Directory;
};
