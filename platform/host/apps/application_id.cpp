#include "apps/application_id.h"

namespace host {

std::string ApplicationObjectPath(const std::string& id) {
  std::string path = "/" + id;
  for (char& character : path) {
    if (character == '.') {
      character = '/';
    } else if (character == '-') {
      character = '_';
    }
  }
  return path;
}

std::string ApplicationStatusKey(const std::string& id) {
  return "memory/set/apps/" + id + "/status";
}

}  // namespace host
