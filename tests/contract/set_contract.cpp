// What the daemon relies on from the services of every set: the order of events, the threads that
// callbacks come on, and what the end of a registration means.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "contract/main_loop.h"
#include "contract/set.h"
#include "device_power.h"
#include "ormu.h"
#include "sound_manager.h"
#include "source_api.h"
#include "tv_service.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr std::chrono::seconds kPatience{60};

constexpr int kThreads = 4;
constexpr int kEvents = 1000;

// Records the calls of one registration.
class Observer {
 public:
  Observer() = default;
  explicit Observer(std::function<void(int)> onCall) : m_OnCall(std::move(onCall)) {}

  void Take(int value) {
    EXPECT_FALSE(m_Inside.exchange(true)) << "a call began before the last one ended";
    if (m_OnCall) {
      m_OnCall(value);
    }
    m_Inside = false;
    const std::lock_guard lock(m_Mutex);
    m_Values.push_back(value);
    m_Threads.insert(std::this_thread::get_id());
    m_Called.notify_all();
  }

  std::vector<int> Values() const {
    const std::lock_guard lock(m_Mutex);
    return m_Values;
  }

  std::set<std::thread::id> Threads() const {
    const std::lock_guard lock(m_Mutex);
    return m_Threads;
  }

  // Whether it was called with that value, or is called in time.
  bool WaitFor(int value) const {
    std::unique_lock lock(m_Mutex);
    return m_Called.wait_for(lock, kPatience, [&] {
      return std::find(m_Values.begin(), m_Values.end(), value) != m_Values.end();
    });
  }

  bool WaitForCount(std::size_t count) const {
    std::unique_lock lock(m_Mutex);
    return m_Called.wait_for(lock, kPatience, [&] { return m_Values.size() >= count; });
  }

 private:
  const std::function<void(int)> m_OnCall;
  std::atomic<bool> m_Inside = false;
  mutable std::mutex m_Mutex;
  mutable std::condition_variable m_Called;
  std::vector<int> m_Values;
  std::set<std::thread::id> m_Threads;
};

// One registration of an observer, ended by End.
class Registration {
 public:
  virtual ~Registration() = default;
  virtual bool End() = 0;
};

// A service, reduced to what all have in common: it can be made to produce an event for each number
// from 1 on, and hands these to three observers at most.
struct Service {
  std::string name;
  std::string service;  // the three notifications count as one
  void (*play)(int value);
  std::unique_ptr<Registration> (*begin)(Observer& observer);
};

// A callback of device power is identified by its address, so each of its observers has one of
// these to itself while it is registered.
constexpr int kPowerSlots = 3;

std::mutex& PowerSlotsMutex() {
  static std::mutex mutex;
  return mutex;
}

// The observer that is called through a slot; null when the slot is free.
Observer*& PowerSlot(int slot) {
  static Observer* observers[kPowerSlots] = {};
  return observers[slot];
}

template <int Slot>
void CallPowerSlot(_device_power_state_info* info, void* observer) {
  static_cast<Observer*>(observer)->Take(info->current_state);
}

constexpr device_power_state_changed_cb kPowerCallbacks[kPowerSlots] = {
    CallPowerSlot<0>, CallPowerSlot<1>, CallPowerSlot<2>};

class PowerRegistration final : public Registration {
 public:
  explicit PowerRegistration(Observer& observer) : m_Slot(Take(observer)) {
    EXPECT_EQ(device_power_subscribe_state_changed_event(kPowerCallbacks[m_Slot], &observer), 0);
  }
  ~PowerRegistration() override { End(); }

  bool End() override {
    const std::lock_guard lock(PowerSlotsMutex());
    if (m_HasEnded) {
      return false;
    }
    m_HasEnded = true;
    PowerSlot(m_Slot) = nullptr;
    const bool ended = device_power_unsubscribe_state_changed_event(kPowerCallbacks[m_Slot]) == 0;
    EXPECT_NE(device_power_unsubscribe_state_changed_event(kPowerCallbacks[m_Slot]), 0);
    return ended;
  }

 private:
  static int Take(Observer& observer) {
    const std::lock_guard lock(PowerSlotsMutex());
    int slot = 0;
    while (PowerSlot(slot) != nullptr) {
      ++slot;
    }
    PowerSlot(slot) = &observer;
    return slot;
  }

  const int m_Slot;
  bool m_HasEnded = false;
};

class OutputRegistration final : public Registration {
 public:
  OutputRegistration(const char* name, Observer& observer)
      : m_Id(ormu_register_callback_id(name, Call, &observer)) {
    EXPECT_GT(m_Id, 0);
  }
  ~OutputRegistration() override { End(); }
  bool End() override { return ormu_unregister_callback_id(m_Id) == 0; }

 private:
  static void Call(void* reserved, int value, void* observer) {
    EXPECT_EQ(reserved, nullptr);
    static_cast<Observer*>(observer)->Take(value);
  }

  const int m_Id;
};

class SourceRegistration final : public Registration {
 public:
  explicit SourceRegistration(Observer& observer) : m_Observer(observer) {
    EXPECT_EQ(CSourceAPI::Get()->RegisterSourceAPICallback(Call, &m_Observer), 0);
  }
  ~SourceRegistration() override { End(); }
  bool End() override { return CSourceAPI::Get()->UnregisterSourceAPICallback(&m_Observer) == 0; }

 private:
  static void Call(int event, void* observer) { static_cast<Observer*>(observer)->Take(event); }

  Observer& m_Observer;
};

// Of all signals that the tests send.
class SignalRegistration final : public Registration {
 public:
  explicit SignalRegistration(Observer& observer) {
    EXPECT_EQ(TVServiceAPI::CreateSignalSubscriber(Call, &m_Subscriber), 0);
    for (int type = 1; type <= kEvents; ++type) {
      EXPECT_EQ(m_Subscriber->Subscribe(static_cast<ESignalType>(type), &observer, PROFILE_MAIN),
                0);
    }
  }
  ~SignalRegistration() override { TVServiceAPI::Destroy(m_Subscriber); }

  bool End() override {
    bool ended = true;
    for (int type = 1; type <= kEvents; ++type) {
      ended = m_Subscriber->Unsubscribe(static_cast<ESignalType>(type), PROFILE_MAIN, Call) == 0 &&
              ended;
    }
    return ended;
  }

 private:
  static int Call(ESignalType type, EProfile, unsigned short, TSSignalData, void* observer) {
    static_cast<Observer*>(observer)->Take(type);
    return 0;
  }

  ISignalSubscriber* m_Subscriber = nullptr;
};

const Service kServices[] = {
    {"Signals", "tv", contract::PlaySignal,
     [](Observer& observer) -> std::unique_ptr<Registration> {
       return std::make_unique<SignalRegistration>(observer);
     }},
    {"Sources", "sources", contract::PlaySourceEvent,
     [](Observer& observer) -> std::unique_ptr<Registration> {
       return std::make_unique<SourceRegistration>(observer);
     }},
    {"PictureSetting", "output", contract::SetPictureSetting,
     [](Observer& observer) -> std::unique_ptr<Registration> {
       return std::make_unique<OutputRegistration>("picture-setting-period", observer);
     }},
    {"GameItem", "output", contract::SetGameItem,
     [](Observer& observer) -> std::unique_ptr<Registration> {
       return std::make_unique<OutputRegistration>("game-item-changed", observer);
     }},
    {"GameMode", "output", contract::SetGameMode,
     [](Observer& observer) -> std::unique_ptr<Registration> {
       return std::make_unique<OutputRegistration>("game-mode-changed", observer);
     }},
    {"Power", "power", contract::SetPower,
     [](Observer& observer) -> std::unique_ptr<Registration> {
       return std::make_unique<PowerRegistration>(observer);
     }},
};

class SetService : public testing::TestWithParam<Service> {
 protected:
  static void Play(int value) { GetParam().play(value); }
  static std::unique_ptr<Registration> Begin(Observer& observer) {
    return GetParam().begin(observer);
  }
};

TEST_P(SetService, NoEventIsLostAndThoseOfOneThreadStayInOrder) {
  Observer observer;
  const auto registration = Begin(observer);
  constexpr int kShare = kEvents / kThreads;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([thread] {
      for (int i = 1; i <= kShare; ++i) {
        Play(thread * kShare + i);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  ASSERT_TRUE(observer.WaitForCount(kEvents));
  std::vector<int> last(kThreads, 0);
  for (const int value : observer.Values()) {
    const int thread = (value - 1) / kShare;
    EXPECT_EQ(value, thread * kShare + ++last[thread]);
  }
  EXPECT_THAT(last, testing::Each(kShare));
}

TEST_P(SetService, CallsComeOnOneThreadThatIsNotTheMainLoops) {
  Observer observer;
  const auto registration = Begin(observer);
  for (int value = 1; value <= 20; ++value) {
    Play(value);
  }
  ASSERT_TRUE(observer.WaitForCount(20));
  EXPECT_EQ(observer.Threads().size(), 1U);
  EXPECT_EQ(observer.Threads().count(std::this_thread::get_id()), 0U);
}

TEST_P(SetService, EventsThatPileUpBehindASlowCallAreAllDelivered) {
  std::promise<void> go;
  const std::shared_future<void> gone = go.get_future().share();
  Observer observer([gone](int value) {
    if (value == 1) {
      gone.wait();
    }
  });
  const auto registration = Begin(observer);
  std::vector<int> played;
  for (int value = 1; value <= kEvents; ++value) {
    Play(value);
    played.push_back(value);
  }
  go.set_value();
  ASSERT_TRUE(observer.WaitForCount(kEvents));
  EXPECT_EQ(observer.Values(), played);
}

TEST_P(SetService, WhatHappenedBeforeARegistrationIsNotForIt) {
  Observer early;
  const auto first = Begin(early);
  for (int value = 1; value <= 100; ++value) {
    Play(value);
  }
  Observer late;
  const auto second = Begin(late);
  Play(101);
  ASSERT_TRUE(early.WaitFor(101));
  ASSERT_TRUE(late.WaitFor(101));
  EXPECT_THAT(late.Values(), ElementsAre(101));
}

TEST_P(SetService, NothingIsDeliveredAfterTheEnd) {
  Observer ended;
  Observer other;
  const auto registration = Begin(ended);
  const auto witness = Begin(other);
  Play(1);
  ASSERT_TRUE(ended.WaitFor(1));
  EXPECT_TRUE(registration->End());
  Play(2);
  Play(3);
  ASSERT_TRUE(other.WaitFor(3));
  EXPECT_THAT(ended.Values(), ElementsAre(1));
}

TEST_P(SetService, ARegistrationEndsOnce) {
  Observer observer;
  const auto registration = Begin(observer);
  EXPECT_TRUE(registration->End());
  EXPECT_FALSE(registration->End());
}

TEST_P(SetService, AnEndedRegistrationMayBeginAgain) {
  Observer observer;
  EXPECT_TRUE(Begin(observer)->End());
  Play(1);
  const auto again = Begin(observer);
  Play(2);
  ASSERT_TRUE(observer.WaitFor(2));
  EXPECT_THAT(observer.Values(), ElementsAre(2));
}

TEST_P(SetService, ACallbackMayEndItself) {
  std::unique_ptr<Registration> registration;
  std::promise<void> begun;
  Observer self([&](int) {
    begun.get_future().wait();
    EXPECT_TRUE(registration->End());
  });
  Observer other;
  registration = Begin(self);
  const auto witness = Begin(other);
  begun.set_value();
  Play(1);
  Play(2);
  Play(3);
  ASSERT_TRUE(other.WaitFor(3));
  ASSERT_TRUE(self.WaitFor(1));
  EXPECT_THAT(self.Values(), ElementsAre(1));
}

TEST_P(SetService, ACallbackMayEndAnother) {
  std::unique_ptr<Registration> registration;
  Observer other;
  Observer ending([&](int value) {
    if (value == 1) {
      EXPECT_TRUE(registration->End());
    }
  });
  registration = Begin(other);
  const auto witness = Begin(ending);
  Play(1);
  Play(2);
  ASSERT_TRUE(ending.WaitFor(2));
  EXPECT_THAT(other.Values(), testing::AnyOf(IsEmpty(), ElementsAre(1)));
}

TEST_P(SetService, ACallbackMayBeginAnotherThatSeesLaterEventsOnly) {
  Observer begun;
  std::unique_ptr<Registration> later;
  Observer beginning([&](int value) {
    if (value == 1) {
      later = Begin(begun);
      Play(2);
    }
  });
  const auto registration = Begin(beginning);
  Play(1);
  ASSERT_TRUE(begun.WaitFor(2));
  ASSERT_TRUE(beginning.WaitFor(2));
  EXPECT_THAT(begun.Values(), ElementsAre(2));
}

TEST_P(SetService, ASlowCallbackHoldsUpNoOtherService) {
  std::promise<void> go;
  const std::shared_future<void> gone = go.get_future().share();
  Observer slow([gone](int) { gone.wait(); });
  const auto registration = Begin(slow);
  Play(1);
  for (const Service& other : kServices) {
    if (other.service == GetParam().service) {
      continue;
    }
    Observer quick;
    const auto others = other.begin(quick);
    other.play(7);
    EXPECT_TRUE(quick.WaitFor(7)) << other.name;
  }
  go.set_value();
  ASSERT_TRUE(slow.WaitFor(1));
}

TEST_P(SetService, RegistrationsMayComeAndGoWhileEventsAreDelivered) {
  Observer steady;
  const auto registration = Begin(steady);
  std::atomic<bool> done = false;
  std::thread player([&] {
    for (int value = 1; value <= kEvents; ++value) {
      Play(value);
    }
    done = true;
  });
  std::vector<std::unique_ptr<Observer>> passing;
  while (!done && passing.size() < 500) {
    // Kept to the end: a call that has begun may still be running after the registration has ended.
    passing.push_back(std::make_unique<Observer>());
    EXPECT_TRUE(Begin(*passing.back())->End());
  }
  player.join();
  ASSERT_TRUE(steady.WaitFor(kEvents));
  EXPECT_EQ(steady.Values().size(), std::size_t{kEvents});
  for (const auto& observer : passing) {
    const std::vector<int> values = observer->Values();
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
  }
  // A call that still runs must not outlive what it uses.
  EXPECT_TRUE(registration->End());
  Observer last;
  const auto fence = Begin(last);
  Play(1);
  ASSERT_TRUE(last.WaitFor(1));
}

INSTANTIATE_TEST_SUITE_P(All, SetService, testing::ValuesIn(kServices),
                         [](const auto& info) { return info.param.name; });

// A subscriber with a callback provided by the test.
class Subscriber {
 public:
  using Callback = std::function<void(ESignalType, EProfile, TSSignalData)>;

  explicit Subscriber(Callback callback) : m_Callback(std::move(callback)) {
    EXPECT_EQ(TVServiceAPI::CreateSignalSubscriber(Call, &m_Subscriber), 0);
  }
  ~Subscriber() { Destroy(); }

  void Destroy() { TVServiceAPI::Destroy(std::exchange(m_Subscriber, nullptr)); }

  int Subscribe(int type, EProfile profile = PROFILE_MAIN) {
    return m_Subscriber->Subscribe(static_cast<ESignalType>(type), this, profile);
  }
  int Unsubscribe(int type, TVSSignalCallback callback = Call) {
    return m_Subscriber->Unsubscribe(static_cast<ESignalType>(type), PROFILE_MAIN, callback);
  }
  ISignalSubscriber* Get() { return m_Subscriber; }

 private:
  static int Call(ESignalType type, EProfile profile, unsigned short, TSSignalData data,
                  void* self) {
    static_cast<Subscriber*>(self)->m_Callback(type, profile, data);
    return 0;
  }

  const Callback m_Callback;
  ISignalSubscriber* m_Subscriber = nullptr;
};

int OtherCallback(ESignalType, EProfile, unsigned short, TSSignalData, void*) { return 0; }

int CountSignal(ESignalType type, EProfile, unsigned short, TSSignalData, void* observer) {
  static_cast<Observer*>(observer)->Take(type);
  return 0;
}

TEST(TvSignals, OnlySubscribedTypesAreDelivered) {
  Observer observer;
  Subscriber subscriber([&](ESignalType type, EProfile profile, TSSignalData) {
    EXPECT_EQ(profile, PROFILE_MAIN);
    observer.Take(type);
  });
  EXPECT_EQ(subscriber.Subscribe(25), 0);
  EXPECT_EQ(subscriber.Subscribe(128), 0);
  contract::PlaySignal(26);
  contract::PlaySignal(25);
  contract::PlaySignal(27);
  contract::PlaySignal(128);
  ASSERT_TRUE(observer.WaitFor(128));
  EXPECT_THAT(observer.Values(), ElementsAre(25, 128));
}

TEST(TvSignals, ASignalTellsTheSourceThatIsShown) {
  Observer observer;
  Subscriber subscriber(
      [&](ESignalType, EProfile, TSSignalData data) { observer.Take(data.sourceId); });
  contract::ShowSource(13);
  EXPECT_EQ(subscriber.Subscribe(128), 0);
  contract::PlaySignal(128);
  contract::ShowSource(14);
  contract::PlaySignal(128);
  contract::ShowPreview(15);
  contract::PlaySignal(128);
  contract::EndPreview();
  contract::PlaySignal(128);
  ASSERT_TRUE(observer.WaitForCount(4));
  EXPECT_THAT(observer.Values(), ElementsAre(13, 14, 15, 14));
}

TEST(TvSignals, ASecondSubscriptionReplacesTheUserData) {
  Observer first;
  Observer second;
  ISignalSubscriber* subscriber = nullptr;
  ASSERT_EQ(TVServiceAPI::CreateSignalSubscriber(CountSignal, &subscriber), 0);
  EXPECT_EQ(subscriber->Subscribe(SIGNAL_EXT_SOURCE_STOP, &first, PROFILE_MAIN), 0);
  EXPECT_EQ(subscriber->Subscribe(SIGNAL_EXT_SOURCE_STOP, &second, PROFILE_MAIN), 0);
  contract::PlaySignal(30);
  EXPECT_TRUE(second.WaitFor(30));
  TVServiceAPI::Destroy(subscriber);
  EXPECT_THAT(first.Values(), IsEmpty());
  EXPECT_THAT(second.Values(), ElementsAre(30));
}

TEST(TvSignals, ASubscriptionEndsOnlyWithItsOwnCallback) {
  Subscriber subscriber([](ESignalType, EProfile, TSSignalData) {});
  EXPECT_NE(subscriber.Unsubscribe(25), 0);
  EXPECT_EQ(subscriber.Subscribe(25), 0);
  EXPECT_NE(subscriber.Unsubscribe(25, OtherCallback), 0);
  EXPECT_NE(subscriber.Unsubscribe(26), 0);
  EXPECT_EQ(subscriber.Unsubscribe(25), 0);
  EXPECT_NE(subscriber.Unsubscribe(25), 0);
}

TEST(TvSignals, NoCallIsRunningWhenASubscriberIsDestroyed) {
  std::promise<void> entered;
  std::promise<void> destroying;
  std::atomic<bool> left = false;
  Subscriber subscriber([&](ESignalType, EProfile, TSSignalData) {
    entered.set_value();
    destroying.get_future().wait();
    // Gives a Destroy that does not wait time to return too early.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    left = true;
  });
  EXPECT_EQ(subscriber.Subscribe(25), 0);
  contract::PlaySignal(25);
  entered.get_future().wait();
  destroying.set_value();
  subscriber.Destroy();
  EXPECT_TRUE(left);
}

TEST(TvSignals, ASubscriberMayBeDestroyedInItsCallbackAndHearsNoMore) {
  Observer own;
  Observer other;
  std::unique_ptr<Subscriber> subscriber;
  subscriber = std::make_unique<Subscriber>([&](ESignalType type, EProfile, TSSignalData) {
    subscriber->Destroy();
    own.Take(type);
  });
  Subscriber witness([&](ESignalType type, EProfile, TSSignalData) { other.Take(type); });
  for (const int type : {25, 26}) {
    EXPECT_EQ(subscriber->Subscribe(type), 0);
    EXPECT_EQ(witness.Subscribe(type), 0);
  }
  contract::PlaySignal(25);
  contract::PlaySignal(26);
  ASSERT_TRUE(other.WaitFor(26));
  ASSERT_TRUE(own.WaitFor(25));
  EXPECT_THAT(own.Values(), ElementsAre(25));
}

TEST(TvSignals, ASubscriberThatWasDestroyedHearsNoMore) {
  Observer own;
  Observer other;
  Subscriber witness([&](ESignalType type, EProfile, TSSignalData) { other.Take(type); });
  EXPECT_EQ(witness.Subscribe(26), 0);
  for (int i = 0; i < 100; ++i) {
    Subscriber subscriber([&](ESignalType type, EProfile, TSSignalData) { own.Take(type); });
    EXPECT_EQ(subscriber.Subscribe(26), 0);
    subscriber.Destroy();
    contract::PlaySignal(26);
  }
  ASSERT_TRUE(other.WaitForCount(100));
  EXPECT_THAT(own.Values(), IsEmpty());
}

TEST(TvService, ObjectsForAnotherScreenOrWithoutACallbackAreNotMade) {
  ISourceControl* source = reinterpret_cast<ISourceControl*>(1);
  EXPECT_NE(TVServiceAPI::CreateSourceControl(PROFILE_MAIN, 1, &source), 0);
  EXPECT_EQ(source, nullptr);
  IVideoControl* video = reinterpret_cast<IVideoControl*>(1);
  EXPECT_NE(TVServiceAPI::CreateVideoControl(static_cast<EProfile>(2), 0, &video), 0);
  EXPECT_EQ(video, nullptr);
  ISignalSubscriber* subscriber = reinterpret_cast<ISignalSubscriber*>(1);
  EXPECT_NE(TVServiceAPI::CreateSignalSubscriber(nullptr, &subscriber), 0);
  EXPECT_EQ(subscriber, nullptr);
  TVServiceAPI::Destroy(source);
  TVServiceAPI::Destroy(video);
  TVServiceAPI::Destroy(subscriber);
}

TEST(TvService, TheSourceControlTellsTheSourceBeforeAndInAPreview) {
  ISourceControl* control = nullptr;
  ASSERT_EQ(TVServiceAPI::CreateSourceControl(PROFILE_MAIN, 0, &control), 0);
  const auto sources = [&] {
    int current = -5;
    int before = -5;
    EXPECT_EQ(control->GetCurrentSource(&current), 1);
    EXPECT_EQ(control->GetSourceBeforePreview(&before), 1);
    return std::pair(current, before);
  };
  contract::ShowSource(13);
  EXPECT_EQ(sources(), std::pair(13, 13));
  contract::ShowPreview(14);
  EXPECT_EQ(sources(), std::pair(14, 13));
  contract::EndPreview();
  EXPECT_EQ(sources(), std::pair(13, 13));
  contract::ShowPreview(14);
  contract::ShowSource(15);
  EXPECT_EQ(sources(), std::pair(15, 15));
  TVServiceAPI::Destroy(control);
}

TEST(TvService, TheSourceStateIsTold) {
  ISourceControl* control = nullptr;
  ASSERT_EQ(TVServiceAPI::CreateSourceControl(PROFILE_MAIN, 0, &control), 0);
  for (const int state : {1, 0, 3}) {
    contract::SetSourceState(state);
    int told = -5;
    EXPECT_EQ(control->GetSourceState(&told), 0);
    EXPECT_EQ(told, state);
  }
  TVServiceAPI::Destroy(control);
}

TEST(TvService, TheVideoControlTellsThePlaceAndTheSizeOfThePicture) {
  IVideoControl* control = nullptr;
  ASSERT_EQ(TVServiceAPI::CreateVideoControl(PROFILE_MAIN, 0, &control), 0);
  contract::SetWindow(10, 20, 3840, 1080);
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  EXPECT_EQ(control->GetVideoWindow(x, y, height, width), 0);
  EXPECT_EQ((std::vector<int>{x, y, width, height}), (std::vector<int>{10, 20, 3840, 1080}));
  TVServiceAPI::Destroy(control);
}

CSourceItem Source(int id, const std::string& name, const std::string& detected) {
  CSourceItem item;
  item.sourceId = id;
  item.editName = name;
  item.detectedName = detected;
  return item;
}

std::shared_ptr<std::multimap<int, CSourceItem>> SourceList() {
  std::shared_ptr<std::multimap<int, CSourceItem>> list;
  EXPECT_EQ(CSourceAPI::Get()->GetSourceList(list), 0);
  return list;
}

void CountEvent(int event, void* observer) { static_cast<Observer*>(observer)->Take(event); }
void CountNegated(int event, void* observer) { static_cast<Observer*>(observer)->Take(-event); }

TEST(Sources, AreListedByTheirNumbersWithBothNames) {
  contract::SetSources({Source(14, "My \"PC\"", "laptop"), Source(13, "Console", "")});
  const auto list = SourceList();
  ASSERT_NE(list, nullptr);
  ASSERT_EQ(list->size(), 2U);
  EXPECT_EQ(list->begin()->first, 13);
  EXPECT_EQ(list->begin()->second.editName, "Console");
  EXPECT_EQ(list->begin()->second.detectedName, "");
  const CSourceItem& last = list->rbegin()->second;
  EXPECT_EQ(last.sourceId, 14);
  EXPECT_EQ(last.editName, "My \"PC\"");
  EXPECT_EQ(last.detectedName, "laptop");
}

TEST(Sources, AListIsTheCallersOwn) {
  contract::SetSources({Source(13, "before", "")});
  const auto list = SourceList();
  contract::SetSources({});
  EXPECT_EQ(list->size(), 1U);
  list->clear();
  EXPECT_THAT(*SourceList(), IsEmpty());
}

TEST(Sources, AChangeOfTheListIsToldWhenItCanBeSeen) {
  contract::SetSources({});
  std::vector<std::size_t> seen;
  Observer observer([&](int event) {
    EXPECT_NE(event, -1);
    seen.push_back(SourceList()->size());
  });
  ASSERT_EQ(CSourceAPI::Get()->RegisterSourceAPICallback(CountEvent, &observer), 0);
  contract::SetSources({Source(13, "a", "")});
  EXPECT_TRUE(observer.WaitForCount(1));
  contract::SetSources({Source(13, "a", ""), Source(14, "b", "")});
  EXPECT_TRUE(observer.WaitForCount(2));
  EXPECT_EQ(CSourceAPI::Get()->UnregisterSourceAPICallback(&observer), 0);
  EXPECT_THAT(seen, ElementsAre(1U, 2U));
}

TEST(Sources, AnEventMayTellThatNothingChanged) {
  Observer observer;
  ASSERT_EQ(CSourceAPI::Get()->RegisterSourceAPICallback(CountEvent, &observer), 0);
  contract::PlaySourceEvent(-1);
  EXPECT_TRUE(observer.WaitFor(-1));
  EXPECT_EQ(CSourceAPI::Get()->UnregisterSourceAPICallback(&observer), 0);
}

TEST(Sources, ASecondRegistrationForTheSameUserDataReplacesTheFirst) {
  Observer observer;
  ASSERT_EQ(CSourceAPI::Get()->RegisterSourceAPICallback(CountEvent, &observer), 0);
  ASSERT_EQ(CSourceAPI::Get()->RegisterSourceAPICallback(CountNegated, &observer), 0);
  contract::PlaySourceEvent(5);
  contract::PlaySourceEvent(6);
  EXPECT_TRUE(observer.WaitFor(-6));
  EXPECT_EQ(CSourceAPI::Get()->UnregisterSourceAPICallback(&observer), 0);
  EXPECT_THAT(observer.Values(), ElementsAre(-5, -6));
}

TEST(Sources, ARegistrationNeedsACallback) {
  Observer observer;
  EXPECT_NE(CSourceAPI::Get()->RegisterSourceAPICallback(nullptr, &observer), 0);
  EXPECT_NE(CSourceAPI::Get()->UnregisterSourceAPICallback(&observer), 0);
}

void CountNotification(void*, int value, void* observer) {
  static_cast<Observer*>(observer)->Take(value);
}

TEST(Output, GameItemAndGameModeAreRead) {
  contract::SetGameItem(2);
  contract::SetGameMode(1);
  int value = -5;
  EXPECT_EQ(ormu_get_game_mode(0, 1, &value), 0);
  EXPECT_EQ(value, 2);
  EXPECT_EQ(ormu_get_real_game_mode(1, &value), 0);
  EXPECT_EQ(value, 1);
}

TEST(Output, OfAnotherOutputOrPictureNothingIsRead) {
  int value = -5;
  EXPECT_NE(ormu_get_game_mode(1, 1, &value), 0);
  EXPECT_NE(ormu_get_game_mode(0, 2, &value), 0);
  EXPECT_NE(ormu_get_real_game_mode(2, &value), 0);
  EXPECT_EQ(value, -5);
}

TEST(Output, OnlyTheThreeNotificationsCanBeRegisteredFor) {
  Observer observer;
  EXPECT_EQ(ormu_register_callback_id("brightness-changed", CountNotification, &observer), 0);
  EXPECT_EQ(ormu_register_callback_id("", CountNotification, &observer), 0);
  EXPECT_EQ(ormu_register_callback_id("game-item-changed", nullptr, &observer), 0);
  EXPECT_NE(ormu_unregister_callback_id(0), 0);
  EXPECT_NE(ormu_unregister_callback_id(-1), 0);
}

TEST(Output, EveryRegistrationHasANumberAndACallOfItsOwn) {
  Observer observer;
  const int first = ormu_register_callback_id("game-item-changed", CountNotification, &observer);
  const int second = ormu_register_callback_id("game-item-changed", CountNotification, &observer);
  EXPECT_NE(first, second);
  contract::SetGameItem(1);
  EXPECT_TRUE(observer.WaitForCount(2));
  EXPECT_EQ(ormu_unregister_callback_id(first), 0);
  contract::SetGameItem(2);
  EXPECT_TRUE(observer.WaitFor(2));
  EXPECT_EQ(ormu_unregister_callback_id(second), 0);
  EXPECT_THAT(observer.Values(), ElementsAre(1, 1, 2));
}

TEST(Output, ANotificationIsForItsNameOnly) {
  Observer items;
  Observer modes;
  const int item = ormu_register_callback_id("game-item-changed", CountNotification, &items);
  const int mode = ormu_register_callback_id("game-mode-changed", CountNotification, &modes);
  contract::SetGameMode(0);
  contract::SetPictureSetting(0);
  contract::SetGameItem(1);
  contract::SetGameMode(1);
  EXPECT_TRUE(modes.WaitFor(1));
  EXPECT_TRUE(items.WaitFor(1));
  EXPECT_EQ(ormu_unregister_callback_id(item), 0);
  EXPECT_EQ(ormu_unregister_callback_id(mode), 0);
  EXPECT_THAT(items.Values(), ElementsAre(1));
  EXPECT_THAT(modes.Values(), ElementsAre(0, 1));
}

// From which state to which.
struct PowerChanges {
  static void Call(_device_power_state_info* info, void* self) {
    auto* changes = static_cast<PowerChanges*>(self);
    changes->pairs.emplace_back(info->previous_state, info->current_state);
    changes->observer.Take(info->current_state);
  }

  std::vector<std::pair<int, int>> pairs;
  Observer observer;
};

TEST(Power, AChangeTellsTheStateBefore) {
  contract::SetPower(1);
  PowerChanges changes;
  ASSERT_EQ(device_power_subscribe_state_changed_event(PowerChanges::Call, &changes), 0);
  for (const int state : {0, 2, 1, 0}) {
    contract::SetPower(state);
  }
  EXPECT_TRUE(changes.observer.WaitForCount(4));
  EXPECT_EQ(device_power_unsubscribe_state_changed_event(PowerChanges::Call), 0);
  EXPECT_THAT(changes.pairs, ElementsAre(Pair(1, 0), Pair(0, 2), Pair(2, 1), Pair(1, 0)));
}

TEST(Power, TheStateBeforeIsKnownAfterATimeWithoutSubscribers) {
  contract::SetPower(0);
  PowerChanges first;
  ASSERT_EQ(device_power_subscribe_state_changed_event(PowerChanges::Call, &first), 0);
  EXPECT_EQ(device_power_unsubscribe_state_changed_event(PowerChanges::Call), 0);
  contract::SetPower(2);
  PowerChanges second;
  ASSERT_EQ(device_power_subscribe_state_changed_event(PowerChanges::Call, &second), 0);
  contract::SetPower(0);
  EXPECT_TRUE(second.observer.WaitFor(0));
  EXPECT_EQ(device_power_unsubscribe_state_changed_event(PowerChanges::Call), 0);
  EXPECT_THAT(second.pairs, ElementsAre(Pair(2, 0)));
}

TEST(Power, ASecondSubscriptionReplacesTheUserData) {
  PowerChanges first;
  PowerChanges second;
  ASSERT_EQ(device_power_subscribe_state_changed_event(PowerChanges::Call, &first), 0);
  ASSERT_EQ(device_power_subscribe_state_changed_event(PowerChanges::Call, &second), 0);
  contract::SetPower(1);
  EXPECT_TRUE(second.observer.WaitFor(1));
  EXPECT_EQ(device_power_unsubscribe_state_changed_event(PowerChanges::Call), 0);
  EXPECT_NE(device_power_unsubscribe_state_changed_event(PowerChanges::Call), 0);
  EXPECT_THAT(first.pairs, IsEmpty());
  EXPECT_EQ(second.pairs.size(), 1U);
}

TEST(Power, ASubscriptionNeedsACallback) {
  EXPECT_NE(device_power_subscribe_state_changed_event(nullptr, nullptr), 0);
}

struct SpeakerCalls {
  static void Call(sound_tv_output_route_e, void* self) {
    EXPECT_EQ(std::this_thread::get_id(), static_cast<SpeakerCalls*>(self)->mainLoop);
    ++static_cast<SpeakerCalls*>(self)->count;
  }

  const std::thread::id mainLoop = std::this_thread::get_id();
  int count = 0;
};

// There is no way to end this callback: what it uses stays.
SpeakerCalls& CallsOf(int which) {
  static SpeakerCalls calls[2];
  return calls[which];
}

TEST(Speaker, EveryChangeIsToldOnTheMainLoopAndToTheLastCallbackOnly) {
  EXPECT_NE(sound_manager_set_speaker_changed_cb(nullptr, nullptr), 0);
  ASSERT_EQ(sound_manager_set_speaker_changed_cb(SpeakerCalls::Call, &CallsOf(0)), 0);
  contract::SetSpeaker("bluetooth");
  contract::SetSpeaker("receiver");
  EXPECT_TRUE(contract::RunMainLoopUntil([] { return CallsOf(0).count == 2; }));
  ASSERT_EQ(sound_manager_set_speaker_changed_cb(SpeakerCalls::Call, &CallsOf(1)), 0);
  std::thread([] { contract::SetSpeaker("optical"); }).join();
  EXPECT_TRUE(contract::RunMainLoopUntil([] { return CallsOf(1).count == 1; }));
  contract::SettleMainLoop();
  EXPECT_EQ(CallsOf(0).count, 2);
  EXPECT_EQ(CallsOf(1).count, 1);
}

}  // namespace
