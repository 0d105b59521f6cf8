// What the item library offers on the service's object beside the service's own requests: it tells
// when items change, and answers why they are hidden or disabled.

#include <cstring>
#include <iterator>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/utf8.h"
#include "bus/bus.h"
#include "framework/after_messages.h"
#include "framework/message_text.h"
#include "framework/object_interfaces.h"
#include "framework/service_bus.h"
#include "framework/service_object.h"
#include "items/description.h"
#include "items/explanation.h"
#include "items/host_inputs.h"
#include "items/item_changes.h"
#include "items/item_listener.h"
#include "items/library.h"
#include "keystore/damage_log.h"
#include "keystore/key_listener.h"
#include "keystore/process_store.h"
#include "set/keys.h"
#include "system/error_log.h"
#include "system/host.h"

namespace host {
namespace {

constexpr char kInterface[] = "org.nuvra.Items1";

// Far from the most that one message carries, however long the names of the values are.
constexpr std::size_t kItemsAtOnce = 1000;

// They are described in one go, for which everybody else waits.
constexpr std::size_t kMostDescribed = 256;

// Of an identifier that no item has: as long as any that there is.
constexpr std::size_t kMostShown = 64;

void AnswerExplain(sd_bus_message* call) {
  const char* id = nullptr;
  if (sd_bus_message_read(call, "s", &id) < 0) {
    sd_bus_reply_method_errorf(call, "org.nuvra.Error.InvalidMessage",
                               "the message is damaged or not UTF-8");
    return;
  }
  const Item* const item = Library().Find(id);
  if (item == nullptr) {
    sd_bus_reply_method_errorf(call, "org.nuvra.Error.NoSuchItem", "there is no item \"%s\"",
                               base::OneLine(id, kMostShown).c_str());
    return;
  }
  try {
    sd_bus_reply_method_return(call, "s", WriteBody(Explain(Library(), *item)).c_str());
  } catch (const InputFailure& failure) {
    sd_bus_reply_method_errorf(call, "org.nuvra.Error.Failed", "%s", failure.what());
  }
}

// Behind the requests that its client sent before.
int OnExplain(sd_bus_message* call, void* requests, sd_bus_error* error) {
  return static_cast<RequestQueue*>(requests)->Take(call, error, AnswerExplain);
}

void RefuseDescribe(sd_bus_message* call, const char* why) {
  sd_bus_reply_method_errorf(call, "org.nuvra.Error.InvalidMessage", "%s", why);
}

void AnswerDescribe(sd_bus_message* call) {
  Json::Value body;
  Json::Value& items = body["items"] = Json::arrayValue;
  try {
    int result = sd_bus_message_enter_container(call, 'a', "s");
    const char* id = nullptr;
    for (std::size_t count = 0; result >= 0 && (result = sd_bus_message_read(call, "s", &id)) > 0;
         ++count) {
      if (count == kMostDescribed) {
        RefuseDescribe(call, "more than 256 items");
        return;
      }
      if (const Item* const item = Library().Find(id)) {
        items.append(Describe(Library(), *item));
      }
    }
    if (result < 0) {
      RefuseDescribe(call, "the message is damaged or not UTF-8");
      return;
    }
  } catch (const InputFailure& failure) {
    sd_bus_reply_method_errorf(call, "org.nuvra.Error.Failed", "%s", failure.what());
    return;
  }
  const std::string text = WriteBody(body);
  if (text.size() > kMaxSentBodySize) {
    sd_bus_reply_method_errorf(call, "org.nuvra.Error.Failed", "the reply is too large");
    return;
  }
  sd_bus_reply_method_return(call, "s", text.c_str());
}

int OnDescribe(sd_bus_message* call, void* requests, sd_bus_error* error) {
  return static_cast<RequestQueue*>(requests)->Take(call, error, AnswerDescribe);
}

constexpr sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("Explain", "s", SD_BUS_PARAM(item), "s", SD_BUS_PARAM(body), OnExplain,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Describe", "as", SD_BUS_PARAM(items), "s", SD_BUS_PARAM(body),
                             OnDescribe, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_SIGNAL_WITH_NAMES("Changed", "s", SD_BUS_PARAM(body), 0),
    SD_BUS_SIGNAL_WITH_NAMES("LanguageChanged", "s", SD_BUS_PARAM(language), 0),
    SD_BUS_VTABLE_END,
};

}  // namespace

// Announces what becomes of the items of this process's library.
class ItemAnnouncer : private ItemListener {
 public:
  explicit ItemAnnouncer(ServiceObject& object) : m_Path(object.Path()) {
    object.Add(kInterface, kVtable, &object.Requests());
    Library().Listen(this);
  }
  ~ItemAnnouncer() override { Library().Listen(nullptr); }

 private:
  void OnLoaded() override {
    const bool isFirst = !m_Keys;
    m_Changes.reset();
    m_AreKeysKnown = false;
    if (Library().Loaded() == nullptr || !Listen()) {
      return;
    }
    m_Changes.emplace(*Library().Loaded(), m_Model, Library().Disabled(), Library().SpeakerType());
    if (isFirst) {
      m_AreKeysKnown = ReadKeys([this](auto keys) { m_Changes->Begin(std::move(keys)); });
    } else {
      BeginAnew();
      AskToAnnounce();
    }
  }

  // False, and logged, when the keys cannot be watched: the service goes on without announcements.
  bool Listen() {
    return m_Keys || GuardedFromDamage("settings-items", "cannot watch the keys", [this] {
             m_Keys.emplace([this](const KeyChange& change) { OnKey(change); },
                            [this] { OnMissed(); });
           });
  }

  void OnSpeakerRead() override {
    if (m_AreKeysKnown) {
      m_Changes->NoteSpeaker(Library().SpeakerType());
      AskToAnnounce();
    }
  }

  void OnPreviewReplaced(const Item& item) override {
    if (m_AreKeysKnown) {
      m_Changes->ExpectReplacedPreview(item);
    }
  }

  void OnDisabledOrReleased(std::span<const std::string> ids) override {
    if (m_AreKeysKnown) {
      m_Changes->NoteDisabled(ids);
      AskToAnnounce();
    }
  }

  void OnKey(const KeyChange& change) {
    if (!m_Changes) {
      return;
    }
    if (!m_AreKeysKnown) {
      BeginAnew();
    } else if (change.number > ReadUpTo(change.key)) {
      m_Changes->NoteKey(change.key, change.value);
    }
    AskToAnnounce();
  }

  void OnMissed() {
    if (m_AreKeysKnown) {
      m_AreKeysKnown = ReadKeys([this](auto keys) { m_Changes->NoteKeys(std::move(keys)); });
      AskToAnnounce();
    }
  }

  // What the keys held is not known, so everything may have changed.
  void BeginAnew() {
    m_AreKeysKnown = ReadKeys([this](auto keys) {
      m_Changes->Begin(std::move(keys));
      m_Changes->NoteSpeaker(Library().SpeakerType());
      m_Changes->NoteAll();
    });
  }

  // Calls `take` with all keys and what they hold. False, and logged, when they cannot be read.
  template <typename Take>
  bool ReadKeys(Take take) {
    return GuardedFromDamage("settings-items", "cannot read the keys", [&] {
      KeyStore& store = ProcessStore();
      const std::int64_t durable = store.NewestChange(kLanguageKey);
      const std::int64_t transient = store.NewestChange(kSpeakerKey);
      auto keys = store.List("");
      m_ReadDurable = durable;
      m_ReadTransient = transient;
      take(std::move(keys));
    });
  }

  // The number of the newest change that was already in what ReadKeys read.
  std::int64_t ReadUpTo(const std::string& key) const {
    return key.starts_with("db/") ? m_ReadDurable : m_ReadTransient;
  }

  void AskToAnnounce() {
    if (!m_Changes->IsEmpty()) {
      m_Announcement.Ask();
    }
  }

  void Announce() {
    if (!m_Changes) {
      return;
    }
    // A reply may have told already what its writer has not announced to us yet.
    if (m_Keys) {
      m_Keys->CatchUp();
    }
    m_Changes->Settle();
    if (const auto language = m_Changes->TakeLanguage()) {
      Emit("LanguageChanged", *language);
    }
    while (m_Changes->HasItems()) {
      Emit("Changed", WriteBody(m_Changes->TakeItems(kItemsAtOnce)));
    }
  }

  void Emit(const char* signal, const std::string& text) const {
    const int result = sd_bus_emit_signal(ServiceBus::Current(), m_Path.c_str(), kInterface, signal,
                                          "s", text.c_str());
    if (result < 0) {
      LogError("settings-items",
               std::string(signal) + " could not be sent: " + std::strerror(-result));
    }
  }

  const std::string m_Path;
  const HostInputs m_Model;
  std::optional<ItemChanges> m_Changes;  // while a catalogue is loaded
  AfterMessages m_Announcement{[this] { Announce(); }};
  std::optional<KeyListener> m_Keys;
  bool m_AreKeysKnown = false;  // to m_Changes
  std::int64_t m_ReadDurable = 0;
  std::int64_t m_ReadTransient = 0;
};

void AddInterfaces(ServiceObject& object) {
  g_Host.itemAnnouncer.Get([&] { return new ItemAnnouncer(object); });
}

}  // namespace host
