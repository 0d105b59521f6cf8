#include "framework/access.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "base/utf8.h"
#include "bus/bus.h"
#include "dlog.h"
#include "framework/name_owners.h"
#include "framework/process_signals.h"
#include "system/error_log.h"

namespace host {
namespace {

constexpr char kTag[] = "access";
constexpr std::size_t kMostBytesQuoted = 255;  // of a bus name

// A member, if it is a string. What is none is for the service a text that names nothing.
std::string_view TextOf(const Json::Value& object, std::string_view member) {
  const Json::Value* const value =
      object.isObject() ? object.find(member.data(), member.data() + member.size()) : nullptr;
  const char* begin = nullptr;
  const char* end = nullptr;
  return value != nullptr && value->isString() && value->getString(&begin, &end)
             ? std::string_view(begin, end)
             : std::string_view();
}

// Whether the connection is the application now. Ends of other names are not heard of.
bool IsApplication(const std::string& connection, const std::string& app) {
  const NameOwners* const owners = NameOwners::Current();
  return owners != nullptr && bus::IsApplicationId(app) && owners->OwnerOf(app) == connection;
}

}  // namespace

Access::Access(std::filesystem::path file)
    : m_File(std::move(file)), m_Reload(OpenReloadSignals()), m_ReloadWatch(m_Reload.Get(), [this] {
        if (TakeWaitingReloadSignal() && Read()) {
          __dlog_print(LOG_ID_MAIN, DLOG_INFO, kTag, "%s was read again\n", m_File.c_str());
        }
      }) {
  Read();
}

bool Access::Read() {
  AccessFile read = ReadAccessFile(m_File);
  if (read.rules) {
    m_Rules = std::move(read.rules);
    return true;
  }
  for (const std::string& mistake : read.mistakes) {
    LogError(kTag, mistake);
  }
  LogError(kTag, m_Rules ? "the rules that were read before stay"
                         : "nothing but questions is served until that is corrected and SIGHUP "
                           "comes");
  m_FirstMistake = read.mistakes.front();
  return false;
}

bool Access::Allows(const std::string& method, const Caller& caller) const {
  const auto found = m_Rules->find(method);
  if (found == m_Rules->end()) {
    return false;
  }
  const Who& who = found->second;
  return who.users.contains(caller.user) ||
         std::any_of(caller.groups.begin(), caller.groups.end(),
                     [&](gid_t group) { return who.groups.contains(group); });
}

Judgement Access::Refuse(const std::string& sender, const std::string& reason) const {
  LogError(kTag, sender + ": " + reason);
  return {Judgement::Kind::kRefused, reason};
}

Judgement Access::Judge(const std::string& sender, const Caller* caller,
                        const Json::Value& body) const {
  const std::string_view named = TextOf(body, "method");
  const std::optional<Want> want = RestrictedMethod(named);
  if (!want) {
    return {};
  }
  const std::string method(named);
  if (!m_Rules) {
    return Refuse(sender, method + " is served to nobody until this is corrected and the service " +
                              "gets SIGHUP: " + m_FirstMistake);
  }
  const std::string app(*want == Want::kDisabling ? TextOf(body["data"], "appName") : "");
  if (*want == Want::kDisabling && IsApplication(sender, app)) {
    return {};
  }
  if (caller == nullptr) {
    return {Judgement::Kind::kNeedsCaller};
  }
  if (!caller->isKnown) {
    return Refuse(
        sender, method + " needs a caller whom the bus knows; " +
                    (caller->hasLeft ? "this one has left it" : "it does not say who this one is"));
  }
  if (caller->user == geteuid() || Allows(method, *caller)) {
    return {};
  }
  const std::string user = "user " + std::to_string(caller->user);
  const std::string needed =
      "\"" + method + "\" in " + m_File.string() + " must name the user or one of its groups";
  if (*want == Want::kSetting) {
    return Refuse(sender, user + " may not use " + method + ": " + needed);
  }
  return Refuse(sender, user + " may not use " + method + " in the name of \"" +
                            base::OneLine(app, kMostBytesQuoted) +
                            "\": the caller must own that bus name, or " + needed);
}

}  // namespace host
