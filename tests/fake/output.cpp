#include <exception>
#include <thread>

#include "call.h"
#include "device_power.h"
#include "ormu.h"
#include "sound_manager.h"

// What the set puts out, and its power.
using namespace fakes;

namespace {

template <typename Callback>
Pointer CallbackPointer(Callback callback) {
  return {reinterpret_cast<const void*>(callback), "callback"};
}

}  // namespace

extern "C" {

int ormu_get_game_mode(int output, int profile, int* value) {
  Call call("ormu_get_game_mode", output, profile);
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  *value = call->gameModes.item;
  return call.Returns(0, *value);
}

int ormu_get_real_game_mode(int profile, int* value) {
  Call call("ormu_get_real_game_mode", profile);
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  *value = call->gameModes.real;
  return call.Returns(0, *value);
}

int ormu_register_callback_id(const char* name, ormu_notification_cb callback, void* user_data) {
  Call call("ormu_register_callback_id", name, CallbackPointer(callback), Pointer{user_data});
  if (auto code = call.Failure(0)) {
    return call.Returns(*code);
  }
  call->outputWatches[++call->lastOutputWatch] = {name, callback, user_data};
  return call.Returns(call->lastOutputWatch);
}

int ormu_unregister_callback_id(int id) {
  Call call("ormu_unregister_callback_id", id);
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  return call.Returns(call->outputWatches.erase(id) == 1 ? 0 : -1);
}

int device_power_subscribe_state_changed_event(device_power_state_changed_cb callback,
                                               void* user_data) {
  Call call("device_power_subscribe_state_changed_event", CallbackPointer(callback),
            Pointer{user_data});
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  call->powerWatches[callback] = user_data;
  return call.Returns(0);
}

int device_power_unsubscribe_state_changed_event(device_power_state_changed_cb callback) {
  Call call("device_power_unsubscribe_state_changed_event", CallbackPointer(callback));
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  return call.Returns(call->powerWatches.erase(callback) == 1 ? 0 : -1);
}

int sound_manager_set_speaker_changed_cb(sound_speaker_changed_cb callback, void* user_data) {
  Call call("sound_manager_set_speaker_changed_cb", CallbackPointer(callback), Pointer{user_data});
  call.MainLoopThreadOnly();
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code);
  }
  call->speakerCallback = callback;
  call->speakerUserData = user_data;
  return call.Returns(0);
}

}  // extern "C"

namespace fakes {

void Platform::SetGameModes(GameModes modes) {
  std::lock_guard lock(Shared().mutex);
  Shared().state.gameModes = modes;
}

void Platform::Notify(const std::string& name, int value, UserData instead) {
  std::unique_lock lock(Shared().mutex);
  const auto watches = Shared().state.outputWatches;
  lock.unlock();
  for (const auto& [id, watch] : watches) {
    if (watch.name == name) {
      watch.callback(nullptr, value, instead.value_or(watch.userData));
    }
  }
}

void Platform::ChangePower(int previous, int current, UserData instead) {
  std::unique_lock lock(Shared().mutex);
  const auto watches = Shared().state.powerWatches;
  lock.unlock();
  for (const auto& [callback, userData] : watches) {
    _device_power_state_info info{previous, current};
    callback(&info, instead.value_or(userData));
  }
}

void Platform::OnServiceThread(const std::function<void()>& work) {
  std::exception_ptr thrown;
  std::thread([&] {
    try {
      work();
    } catch (...) {
      thrown = std::current_exception();
    }
  }).join();
  if (thrown) {
    std::rethrow_exception(thrown);
  }
}

void Platform::ChangeSpeaker(int route) {
  std::lock_guard lock(Shared().mutex);
  PostToMainLoop([route] {
    std::unique_lock lock(Shared().mutex);
    const sound_speaker_changed_cb callback = Shared().state.speakerCallback;
    void* const userData = Shared().state.speakerUserData;
    lock.unlock();
    if (callback != nullptr) {
      callback(static_cast<sound_tv_output_route_e>(route), userData);
    }
  });
}

}  // namespace fakes
