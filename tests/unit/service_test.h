#pragma once

#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "SettingsService.h"
#include "fixture.h"

// A test of the service over the fake platform: a model without game bar and not for outdoors, in
// English, and not reset since its last start. The trace begins after the service's construction;
// public callbacks appear in it under their names.
class ServiceTest : public fakes::FakePlatformTest {
 protected:
  ServiceTest();

  // Hands the service a request as the framework does and returns the reply as JSON text. Lets
  // "{request}" in an expected trace stand for the line that announces the request, and "{reply}"
  // for the address of the reply.
  std::string Send(const std::string& request);

  // The same for a request that an exception ends. The exception leaves; the reply, as far as
  // it was filled, is in `reply`.
  void Send(const std::string& request, Nuvra::TCMessage& reply);

  // Puts text into the sync file; what the file holds, and nothing when there is none.
  void WriteSyncFile(const std::string& text);
  std::optional<std::string> SyncFileText() const;
  std::filesystem::path SyncFilePath() const;

  SettingsService service;
};

// The same with the service created: it is ready for requests.
class CreatedServiceTest : public ServiceTest {
 protected:
  CreatedServiceTest();
};

// The trace of the first start of the service on the set of ServiceTest, with nothing failing, and
// its parts that are about the language and about the reset.
extern const char kStart[];
inline constexpr char kLanguageSteps[] =
    R"(I SettingsServiceCommand UpdateLanguage | UpdateLanguage\n
  vconf_get_str("db/menu_widget/language") -> "en_US"
  I SettingsServiceCommand UpdateLanguage | New language : [en_US]\n
  setenv("LANGUAGE", "en_US:en_US:en_GB:en", 1) -> 0
  setenv("LANG", "en_US", 1) -> 0
  setenv("LC_MESSAGES", "en_US", 1) -> 0
  setlocale(LC_ALL, "") -> "en_US"
)";
inline constexpr char kSyncSteps[] =
    R"(ComposePlatformPath(27, "/org.pavix.menu/.autopoweroff_sync_done") -> app data/org.pavix.menu/.autopoweroff_sync_done
  E SettingsService m_FlagVconfSyncDone | sync file exists\n
  vconf_get_int("db/factory/factory_reset_count") -> 0: 3
  E SettingsService m_FlagVconfSyncDone | countInVconf[3], countInFile[3]\n
  E SettingsService m_FlagVconfSyncDone | sync is done\n
  ComposePlatformPath(27, "/org.pavix.menu/.autopoweroff_sync_done") -> app data/org.pavix.menu/.autopoweroff_sync_done
)";

// The trace of a start that differs from it: each first text, which stands there once, is
// replaced by the second.
std::string StartBut(const std::vector<std::pair<std::string, std::string>>& differences);

// The body of a message as it is compared: on one line, keys in alphabetical order.
std::string Text(const Json::Value& body);

// The JSON object that `text` is.
Json::Value Parsed(const std::string& text);

// The text of a request with `data`, itself JSON text.
std::string Request(const std::string& method, const std::string& data);

// The replies that there are: to a library call that succeeded and to one that failed, to an
// ill-typed request, to a question for a range that there is not, and from a handler that leaves
// the reply alone.
std::string SuccessWith(const Json::Value& result);
inline constexpr char kFailureWithText[] =
    R"({"call_api_success":false,"connect_server":true,"return_data":""})";
inline constexpr char kFailureWithBool[] =
    R"({"call_api_success":false,"connect_server":true,"return_data":false})";
inline constexpr char kIllTypedWithText[] =
    R"({"call_api_success":false,"connect_server":false,"return_data":""})";
inline constexpr char kIllTypedWithBool[] =
    R"({"call_api_success":false,"connect_server":false,"return_data":false})";
inline constexpr char kNoRange[] =
    R"({"call_api_success":false,"connect_server":true,"return_data":"","return_max":0,"return_min":0,"return_step":0})";
inline constexpr char kNoResult[] = R"({"return_data":""})";

// What a platform call can throw: an exception of the JSON library, which handlers catch, and
// one of another type. The text of both is "broken".
std::exception_ptr JsonException();
std::exception_ptr OtherException();
