#include "service_test.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "ProtectionModeService.h"
#include "SettingsServiceCommand.h"

namespace {

constexpr char kClient[] = "org.example.menu";

std::string Address(const void* pointer) {
  char text[32];
  std::snprintf(text, sizeof(text), "%p", pointer);
  return text;
}

// The text of a body as it appears in a log line of the trace.
std::string Logged(const Json::Value& body) {
  std::string logged;
  for (const char c : Text(body)) {
    logged += c == '\\' ? "\\\\" : std::string(1, c);
  }
  return logged;
}

}  // namespace

ServiceTest::ServiceTest() {
  fake.SetFeature("com.velmora/featureconf/game_bar.support", false);
  fake.SetFeature("com.velmora/featureconf/outdoor_tv_product_image_support", false);
  fake.SetKey("db/menu_widget/language", "en_US");
  fake.SetKey("db/factory/factory_reset_count", 3);
  WriteSyncFile("3");
  fake.Name(reinterpret_cast<const void*>(SettingsServiceCommand::AppContextEventCB),
            "AppContextEventCB");
  fake.Name(reinterpret_cast<const void*>(SettingsServiceCommand::UpdateLanguage),
            "UpdateLanguage");
  fake.Name(reinterpret_cast<const void*>(SettingsServiceCommand::GeneralResetCB),
            "GeneralResetCB");
  fake.Name(reinterpret_cast<const void*>(CProtectionModeService::m_VconfCB), "m_VconfCB");
  fake.TakeTrace();
}

std::string ServiceTest::Send(const std::string& request) {
  Nuvra::TCMessage reply;
  Send(request, reply);
  return Text(reply.body);
}

void ServiceTest::Send(const std::string& request, Nuvra::TCMessage& reply) {
  Nuvra::TCMessage message;
  message.body = Parsed(request);
  const Json::Value before = message.body;
  Let("reply", Address(&reply));
  Let("request", "I SettingsService IfMessageReceived | IfMessageReceived!! message: [from:" +
                     std::string(kClient) + "] [rsp:" + Address(&reply) +
                     "] [message:" + Logged(before) + "]\\n");
  EXPECT_TRUE(service.IfMessageReceived(kClient, &message, &reply, nullptr));
  EXPECT_EQ(message.body, before) << "the request was changed";
}

std::filesystem::path ServiceTest::SyncFilePath() const {
  return fake.AppDataDirectory() / "org.pavix.menu" / ".autopoweroff_sync_done";
}

void ServiceTest::WriteSyncFile(const std::string& text) {
  std::filesystem::create_directories(SyncFilePath().parent_path());
  std::ofstream file(SyncFilePath(), std::ios::binary);
  file << text;
  EXPECT_TRUE(file.flush()) << SyncFilePath();
}

std::optional<std::string> ServiceTest::SyncFileText() const {
  std::ifstream file(SyncFilePath(), std::ios::binary);
  if (!file) {
    return std::nullopt;
  }
  return std::string(std::istreambuf_iterator<char>(file), {});
}

CreatedServiceTest::CreatedServiceTest() {
  EXPECT_TRUE(service.t_OnCreate());
  fake.TakeTrace();
}

const char kStart[] = R"(
  I SettingsService t_OnCreate | t_OnCreate!\n
  ecore_init() -> 1
  smart_deadlock_register_watchdog_service(100) -> 0
  TCAlarm::Create(settings_service, 15000, NUVRA_INFINITY) -> true
  TCAlarm::SetAlarmCallback(callback1, settings_service)
  E SettingsService m_Initialize | m_Initialize!\n
  vconf_notify_key_changed("db/menu_widget/language", UpdateLanguage, null) -> 0
  vconf_notify_key_changed("memory/menu/general/reset/progressing", GeneralResetCB, null) -> 0
  E SettingsService m_Initialize | pid:{pid}\n
  resource_register_cpu_inheritance_destination("settings_service", {pid}) -> 0
  I SettingsServiceCommand UpdateLanguage | UpdateLanguage\n
  vconf_get_str("db/menu_widget/language") -> "en_US"
  I SettingsServiceCommand UpdateLanguage | New language : [en_US]\n
  setenv("LANGUAGE", "en_US:en_US:en_GB:en", 1) -> 0
  setenv("LANG", "en_US", 1) -> 0
  setenv("LC_MESSAGES", "en_US", 1) -> 0
  setlocale(LC_ALL, "") -> "en_US"
  sound_manager_set_speaker_changed_cb(callback2, settings_service) -> 0
  I SettingsService m_SyncAutoPowerOffVconf | \n
  ComposePlatformPath(27, "/org.pavix.menu/.autopoweroff_sync_done") -> app data/org.pavix.menu/.autopoweroff_sync_done
  E SettingsService m_FlagVconfSyncDone | sync file exists\n
  vconf_get_int("db/factory/factory_reset_count") -> 0: 3
  E SettingsService m_FlagVconfSyncDone | countInVconf[3], countInFile[3]\n
  E SettingsService m_FlagVconfSyncDone | sync is done\n
  ComposePlatformPath(27, "/org.pavix.menu/.autopoweroff_sync_done") -> app data/org.pavix.menu/.autopoweroff_sync_done
  LwipcEventDone("/tmp/settings-service_ready") -> 0
  vconf_get_str("memory/menu/disabled_items") -> null
  E SettingsService m_FlagDisableItemEmpty | fail to check disabled items.\n
  I SettingsService m_RegisterAppTerminateCB | No any disable RQ\n
  E SettingsService m_LoadDisableMenuItem | m_LoadDisableMenuItem\n
  vconf_get_str("memory/menu/disabled_items") -> null
  E SettingsService m_LoadDisableMenuItem | fail to check disabled items.\n
  GetActiveNetSpkInfo() -> 0
  system_info_get_custom_bool("com.velmora/featureconf/game_bar.support") -> 0: false
  E SettingsService m_Initialize | [GameBarService] isSupportGameBar: 0\n
  system_info_get_custom_bool("com.velmora/featureconf/outdoor_tv_product_image_support") -> 0: false
  I SettingsService m_Initialize | Outdoor supported[0]\n
  CSettingsItemInfoAPI::InitSettingsItemInfoAPI()
  fopen("/proc/self/reclaim", "w") -> open
  I SettingsService do_swap_and_cach_drop_memory | [{pid}][success to open][1]\n
  fclose("/proc/self/reclaim"): "3"
)";

std::string StartBut(const std::vector<std::pair<std::string, std::string>>& differences) {
  std::string trace = kStart;
  for (const auto& [usual, other] : differences) {
    const auto at = trace.find(usual);
    EXPECT_NE(at, std::string::npos) << usual;
    EXPECT_EQ(at, trace.rfind(usual)) << usual;
    trace.replace(at, usual.size(), other);
  }
  return trace;
}

std::string Text(const Json::Value& body) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, body);
}

Json::Value Parsed(const std::string& text) {
  const Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value value;
  std::string errors;
  if (!reader->parse(text.data(), text.data() + text.size(), &value, &errors)) {
    throw std::invalid_argument("not JSON: " + text + ": " + errors);
  }
  return value;
}

std::string Request(const std::string& method, const std::string& data) {
  return R"({"data":)" + data + R"(,"method":")" + method + "\"}";
}

std::string SuccessWith(const Json::Value& result) {
  return R"({"call_api_success":true,"connect_server":true,"return_data":)" + Text(result) + "}";
}

std::exception_ptr JsonException() { return std::make_exception_ptr(Json::RuntimeError("broken")); }

std::exception_ptr OtherException() {
  return std::make_exception_ptr(std::runtime_error("broken"));
}
