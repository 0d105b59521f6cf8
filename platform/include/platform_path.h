#pragma once

#include <string>

// Numbers of the platform's directory variables.
enum platform_directory_e {
  PLATFORM_DIRECTORY_APP_DATA = 27,  // writable data of preinstalled applications
};

// Joins the directory of variable number `directory` and `relative`, which begins with a slash, to
// an absolute path. The file need not exist; its directory does, unless it cannot be created. Empty
// when the platform does not know the variable. Any thread.
std::string ComposePlatformPath(int directory, const char* relative);
