#include "tv_service.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>

#include "keystore/damage_log.h"
#include "set/event_service.h"
#include "set/keys.h"
#include "set/set_value.h"
#include "set/state.h"
#include "system/exception_border.h"

namespace host {
namespace {

constexpr int kOwnScreen = 0;

// Of the two functions that give a source.
constexpr int kGiven = 1;
constexpr int kNotGiven = 0;

std::optional<int> SourceIn(const char* key) { return Present(key, ReadNumber); }

class SourceControl final : public ISourceControl {
 public:
  int GetSourceState(int* state) override {
    return GuardedFromDamage("set", __func__, kFailure, [&] {
      const std::optional<int> value = Present(kSourceStateKey, ReadNumber);
      if (!value || state == nullptr) {
        return kFailure;
      }
      *state = *value;
      return 0;
    });
  }

  int GetCurrentSource(int* id) override {
    return GuardedFromDamage("set", __func__, kNotGiven, [&] {
      const int preview = SourceIn(kPreviewKey).value_or(kNoPreview);
      return Give(preview != kNoPreview ? std::optional(preview) : SourceIn(kCurrentSourceKey), id);
    });
  }

  int GetSourceBeforePreview(int* id) override {
    return GuardedFromDamage("set", __func__, kNotGiven,
                             [&] { return Give(SourceIn(kCurrentSourceKey), id); });
  }

 private:
  static int Give(const std::optional<int>& source, int* id) {
    if (!source || id == nullptr) {
      return kNotGiven;
    }
    *id = *source;
    return kGiven;
  }
};

class VideoControl final : public IVideoControl {
 public:
  int GetVideoWindow(int& x, int& y, int& height, int& width) override {
    return GuardedFromDamage("set", __func__, kFailure, [&] {
      const std::optional<Window> window = Present(kWindowKey, ReadWindow);
      if (!window) {
        return kFailure;
      }
      x = window->x;
      y = window->y;
      width = window->width;
      height = window->height;
      return 0;
    });
  }
};

struct Subscription {
  std::uint64_t subscriber;
  ESignalType type;
  EProfile profile;

  bool operator==(const Subscription&) const = default;
};

struct SignalEvent {
  ESignalType type;
  TSSignalData data;
};

}  // namespace

class SignalEvents final : public EventService<SignalEvent, Subscription> {
 public:
  std::uint64_t NextSubscriber() { return ++m_LastSubscriber; }

 private:
  void Read(KeyStore& store) override {
    m_Current = store.Get(kCurrentSourceKey);
    m_Preview = store.Get(kPreviewKey);
  }

  std::optional<SignalEvent> EventOf(const KeyChange& change) override {
    if (change.key == kCurrentSourceKey) {
      m_Current = change.value;
    } else if (change.key == kPreviewKey) {
      m_Preview = change.value;
    } else if (change.key == kSignalKey) {
      if (const auto type = Usable(change.key, change.value, ReadNumber)) {
        return SignalEvent{static_cast<ESignalType>(*type), {.sourceId = ShownSource()}};
      }
    }
    return std::nullopt;
  }

  bool Concerns(const SignalEvent& event, const Subscription& subscription) const override {
    return event.type == subscription.type && subscription.profile == PROFILE_MAIN;
  }

  int ShownSource() const {
    constexpr int kUnknown = -1;
    const int preview = Usable(kPreviewKey, m_Preview, ReadNumber).value_or(kNoPreview);
    return preview != kNoPreview
               ? preview
               : Usable(kCurrentSourceKey, m_Current, ReadNumber).value_or(kUnknown);
  }

  std::optional<KeyValue> m_Current;
  std::optional<KeyValue> m_Preview;
  std::atomic<std::uint64_t> m_LastSubscriber = 0;
};

namespace {

SignalEvents& Events() { return GetStarted(g_Host.signalEvents, "set-signals"); }

class SignalSubscriber final : public ISignalSubscriber {
 public:
  explicit SignalSubscriber(TVSSignalCallback callback) : m_Callback(callback) {}

  ~SignalSubscriber() override {
    if (m_Id != 0) {
      Events().RemoveAll([this](const Subscription& each) { return each.subscriber == m_Id; });
    }
  }

  int Subscribe(ESignalType type, void* userData, EProfile profile) override {
    return GuardedFromDamage("set", __func__, kFailure, [&] {
      SignalEvents& events = Events();
      if (m_Id == 0) {
        m_Id = events.NextSubscriber();
      }
      events.Set({m_Id, type, profile},
                 [callback = m_Callback, profile, userData](const SignalEvent& event) {
                   callback(event.type, profile, 0, event.data, userData);
                 });
      return 0;
    });
  }

  int Unsubscribe(ESignalType type, EProfile profile, TVSSignalCallback callback) override {
    if (callback != m_Callback) {
      return kFailure;
    }
    return GuardedFromDamage("set", __func__, kFailure, [&] {
      return m_Id != 0 && Events().Remove({m_Id, type, profile}) ? 0 : kFailure;
    });
  }

 private:
  const TVSSignalCallback m_Callback;
  std::uint64_t m_Id = 0;  // 0: has never subscribed
};

template <typename Interface, typename Made, typename... Arguments>
int Create(const char* function, Interface** output, Arguments... arguments) {
  return Guarded("set", function, kFailure, [&] {
    *output = new Made(arguments...);
    return 0;
  });
}

bool IsOwnScreen(EProfile profile, int screen) {
  return profile == PROFILE_MAIN && screen == kOwnScreen;
}

}  // namespace
}  // namespace host

int TVServiceAPI::CreateSourceControl(EProfile profile, int screen, ISourceControl** control) {
  if (control == nullptr) {
    return host::kFailure;
  }
  *control = nullptr;
  return host::IsOwnScreen(profile, screen)
             ? host::Create<ISourceControl, host::SourceControl>(__func__, control)
             : host::kFailure;
}

int TVServiceAPI::CreateVideoControl(EProfile profile, int screen, IVideoControl** control) {
  if (control == nullptr) {
    return host::kFailure;
  }
  *control = nullptr;
  return host::IsOwnScreen(profile, screen)
             ? host::Create<IVideoControl, host::VideoControl>(__func__, control)
             : host::kFailure;
}

int TVServiceAPI::CreateSignalSubscriber(TVSSignalCallback callback,
                                         ISignalSubscriber** subscriber) {
  if (subscriber == nullptr) {
    return host::kFailure;
  }
  *subscriber = nullptr;
  return callback != nullptr ? host::Create<ISignalSubscriber, host::SignalSubscriber>(
                                   __func__, subscriber, callback)
                             : host::kFailure;
}

void TVServiceAPI::Destroy(ISourceControl* control) { delete control; }
void TVServiceAPI::Destroy(IVideoControl* control) { delete control; }
void TVServiceAPI::Destroy(ISignalSubscriber* subscriber) { delete subscriber; }
