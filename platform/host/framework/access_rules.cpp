#include "framework/access_rules.h"

#include <fcntl.h>
#include <grp.h>
#include <json/json.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <limits>
#include <utility>

#include "base/json.h"
#include "base/utf8.h"
#include "system/file_descriptor.h"

namespace host {
namespace {

struct Restricted {
  std::string_view method;
  Want want;
};

constexpr Restricted kRestricted[] = {
    {"SetItemValue", Want::kSetting},         {"DisableItem", Want::kDisabling},
    {"EnableItem", Want::kDisabling},         {"RemoveDisabledItemsByAppname", Want::kDisabling},
    {"DisableItemsByList", Want::kDisabling},
};

constexpr std::size_t kMostBytes = 1024 * 1024;
constexpr int kMostDepth = 8;
constexpr std::size_t kMostBytesQuoted = 64;

// The largest number of a user or group; the next one stands for none.
constexpr Json::LargestUInt kMostId = std::numeric_limits<uid_t>::max() - 1;

std::string Quote(std::string_view text) {
  return '"' + base::OneLine(text, kMostBytesQuoted) + '"';
}

std::string Methods() {
  std::string names;
  for (const Restricted& each : kRestricted) {
    names += (names.empty() ? "" : ", ") + std::string(each.method);
  }
  return names;
}

// Calls one of the functions that look a name up, with more room as long as that is what it wants.
// The entry's number, nothing when there is no such name. Throws std::system_error.
template <typename Entry, typename Id, typename LookUp>
std::optional<Id> NumberOf(const std::string& name, LookUp lookUp, Id Entry::*id) {
  std::vector<char> room(1024);
  Entry entry{};
  Entry* found = nullptr;
  int error = 0;
  while ((error = lookUp(name.c_str(), &entry, room.data(), room.size(), &found)) == ERANGE) {
    room.resize(2 * room.size());
  }
  // Some databases report a missing name so.
  if (found == nullptr && error != 0 && error != ENOENT && error != ESRCH) {
    throw std::system_error(error, std::generic_category());
  }
  return found != nullptr ? std::optional<Id>(found->*id) : std::nullopt;
}

// Reads the text of an access file.
class Reader {
 public:
  Reader(const std::filesystem::path& file, std::string_view text) : m_File(file), m_Text(text) {}

  AccessFile Read() && {
    Json::Value root;
    AccessRules rules;
    if (const std::optional<base::JsonFault> fault = base::ReadJson(m_Text, kMostDepth, root)) {
      Complain(fault->at, "not JSON: " + fault->problem);
    } else if (!root.isObject()) {
      Complain(root, "the file must be one object");
    } else {
      for (auto member = root.begin(); member != root.end(); ++member) {
        const std::string method = member.name();
        if (!RestrictedMethod(method)) {
          Complain(*member,
                   Quote(method) + " is no method that changes something: use " + Methods());
        } else {
          ReadWho(*member, rules[method]);
        }
      }
    }
    AccessFile read;
    if (m_Mistakes.empty()) {
      read.rules = std::move(rules);
    }
    // As they stand in the file, and not by the names of the members.
    std::stable_sort(m_Mistakes.begin(), m_Mistakes.end(),
                     [](const auto& one, const auto& other) { return one.first < other.first; });
    for (auto& [line, mistake] : m_Mistakes) {
      read.mistakes.push_back(std::move(mistake));
    }
    return read;
  }

 private:
  void Complain(std::size_t at, const std::string& problem) {
    const std::size_t line = base::PlaceOf(m_Text, at).line;
    m_Mistakes.emplace_back(line, m_File.string() + ':' + std::to_string(line) + ": " + problem);
  }

  void Complain(const Json::Value& value, const std::string& problem) {
    Complain(static_cast<std::size_t>(value.getOffsetStart()), problem);
  }

  void ReadWho(const Json::Value& value, Who& who) {
    if (!value.isObject()) {
      Complain(value, R"(who may do it must be an object with "users" and "groups")");
      return;
    }
    for (auto member = value.begin(); member != value.end(); ++member) {
      if (member.name() == "users") {
        ReadList(*member, "user", who.users, [](const std::string& name) {
          return NumberOf(name, getpwnam_r, &passwd::pw_uid);
        });
      } else if (member.name() == "groups") {
        ReadList(*member, "group", who.groups, [](const std::string& name) {
          return NumberOf(name, getgrnam_r, &group::gr_gid);
        });
      } else {
        Complain(*member,
                 "unknown member " + Quote(member.name()) + R"(: use "users" and "groups")");
      }
    }
  }

  template <typename Id, typename Find>
  void ReadList(const Json::Value& list, const std::string& what, std::set<Id>& ids, Find find) {
    if (!list.isArray()) {
      Complain(list, '"' + what + "s\" must be a list");
      return;
    }
    for (const Json::Value& each : list) {
      if (each.isString()) {
        ReadName(each, what, ids, find);
      } else if (each.type() != Json::realValue && each.isUInt64() && each.asUInt64() <= kMostId) {
        ids.insert(static_cast<Id>(each.asUInt64()));
      } else {
        Complain(each, "a " + what + " must be a name or a number");
      }
    }
  }

  template <typename Id, typename Find>
  void ReadName(const Json::Value& value, const std::string& what, std::set<Id>& ids, Find find) {
    const std::string name = value.asString();
    try {
      if (const std::optional<Id> id = find(name)) {
        ids.insert(*id);
      } else {
        Complain(value, "this machine has no " + what + ' ' + Quote(name));
      }
    } catch (const std::system_error& failure) {
      Complain(value, what + ' ' + Quote(name) + " cannot be looked up: " + failure.what());
    }
  }

  const std::filesystem::path& m_File;
  const std::string_view m_Text;
  std::vector<std::pair<std::size_t, std::string>> m_Mistakes;  // by their lines
};

// The bytes of a file; a negative errno otherwise.
int ReadFile(const std::filesystem::path& file, std::string& text) {
  // Whatever it is, opening it does not wait.
  const FileDescriptor opened(open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!opened || fstat(opened.Get(), &status) != 0) {
    return -errno;
  }
  if (!S_ISREG(status.st_mode)) {
    return S_ISDIR(status.st_mode) ? -EISDIR : -EINVAL;
  }
  text.resize(kMostBytes + 1);
  std::size_t size = 0;
  ssize_t got = 0;
  while (size < text.size() &&
         (got = read(opened.Get(), text.data() + size, text.size() - size)) > 0) {
    size += static_cast<std::size_t>(got);
  }
  text.resize(size);
  return got < 0 ? -errno : size > kMostBytes ? -EFBIG : 0;
}

}  // namespace

std::optional<Want> RestrictedMethod(std::string_view method) {
  const auto* const found =
      std::find_if(std::begin(kRestricted), std::end(kRestricted),
                   [method](const Restricted& each) { return each.method == method; });
  return found != std::end(kRestricted) ? std::optional(found->want) : std::nullopt;
}

AccessFile ReadAccessFile(const std::filesystem::path& file) {
  std::string text;
  const int result = ReadFile(file, text);
  if (result == -ENOENT || result == -ENOTDIR) {
    return {AccessRules(), {}};
  }
  if (result < 0) {
    return {std::nullopt, {file.string() + ": cannot be read: " + std::strerror(-result)}};
  }
  return Reader(file, text).Read();
}

}  // namespace host
