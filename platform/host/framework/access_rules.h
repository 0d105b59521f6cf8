#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace host {

// What a request wants. All that is not restricted is a question.
enum class Want {
  kSetting,   // to change a value
  kDisabling  // to disable or enable items in the name of the application that "appName" names
};

// What a request that names this method wants; nothing for a question.
std::optional<Want> RestrictedMethod(std::string_view method);

// Who may use a restricted method; one of kind kDisabling also in the name of others.
struct Who {
  std::set<uid_t> users;
  std::set<gid_t> groups;
};
using AccessRules = std::map<std::string, Who, std::less<>>;  // by method; nobody for the others

struct AccessFile {
  // Of a file that is not there: none. Of one with mistakes: nothing.
  std::optional<AccessRules> rules;
  std::vector<std::string> mistakes;  // "FILE:LINE: what is wrong"
};

// Reads the file that says who may do what (docs/security.md). Users and groups get their numbers
// now; a name that the machine does not know is a mistake.
AccessFile ReadAccessFile(const std::filesystem::path& file);

}  // namespace host
