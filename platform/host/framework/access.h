#pragma once

#include <json/json.h>

#include <filesystem>
#include <optional>
#include <string>

#include "framework/access_rules.h"
#include "framework/callers.h"
#include "framework/main_loop.h"
#include "system/file_descriptor.h"

namespace host {

// Whether a request is served.
struct Judgement {
  enum class Kind { kServed, kRefused, kNeedsCaller };
  Kind kind = Kind::kServed;
  std::string reason = {};  // of a refusal: what would be needed
};

// Judges who may request what (docs/security.md): questions are everybody's, applications disable
// items in their own names, the user of this process may do everything, and others what the access
// file lets them. The file is read at once, and again on SIGHUP. A file with mistakes is as if it
// had not changed; at the beginning it lets nobody do anything but ask. Main-loop thread only.
class Access {
 public:
  // There must be a main loop.
  explicit Access(std::filesystem::path file);
  Access(const Access&) = delete;
  Access& operator=(const Access&) = delete;

  // `sender` is the unique name of the connection that the request came from, `caller` who it
  // is, null when that is not known yet. Refusals are logged.
  Judgement Judge(const std::string& sender, const Caller* caller, const Json::Value& body) const;

 private:
  bool Read();
  bool Allows(const std::string& method, const Caller& caller) const;
  Judgement Refuse(const std::string& sender, const std::string& reason) const;

  const std::filesystem::path m_File;
  std::optional<AccessRules> m_Rules;  // nothing until there were some without a mistake
  std::string m_FirstMistake;
  FileDescriptor m_Reload;
  FdWatch m_ReloadWatch;
};

}  // namespace host
