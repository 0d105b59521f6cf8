#include "tv_service.h"

#include <algorithm>

#include "call.h"

using namespace fakes;

namespace {

// Destroyed objects stay until the next test, so that their use shows in the trace and does no
// harm.
struct TvObject {
  const char* name;
  bool destroyed = false;

  void Check(Call& call) const {
    if (destroyed) {
      call.Complain("destroyed already");
    }
  }
};

class SourceControl : public ISourceControl, public TvObject {
 public:
  SourceControl() : TvObject{"sourceControl"} {}

  int GetSourceState(int* state) override {
    Call call("ISourceControl::GetSourceState");
    Check(call);
    if (auto code = call.Failure(-1)) {
      return call.Returns(*code);
    }
    *state = call->picture.sourceState;
    return call.Returns(0, *state);
  }

  int GetCurrentSource(int* id) override {
    return Give("ISourceControl::GetCurrentSource", &Picture::source, id);
  }

  int GetSourceBeforePreview(int* id) override {
    return Give("ISourceControl::GetSourceBeforePreview", &Picture::sourceBeforePreview, id);
  }

 private:
  int Give(const char* function, int Picture::*source, int* id) {
    Call call(function);
    Check(call);
    if (auto code = call.Failure(0)) {
      return call.Returns(*code);
    }
    *id = call->picture.*source;
    return call.Returns(1, *id);
  }
};

class VideoControl : public IVideoControl, public TvObject {
 public:
  VideoControl() : TvObject{"videoControl"} {}

  int GetVideoWindow(int& x, int& y, int& height, int& width) override {
    Call call("IVideoControl::GetVideoWindow");
    Check(call);
    if (auto code = call.Failure(-1)) {
      return call.Returns(*code);
    }
    x = call->picture.x;
    y = call->picture.y;
    height = call->picture.height;
    width = call->picture.width;
    return call.Returns(0, x, y, height, width);
  }
};

Pointer CallbackPointer(TVSSignalCallback callback) {
  return {reinterpret_cast<const void*>(callback), "callback"};
}

class SignalSubscriber : public ISignalSubscriber, public TvObject {
 public:
  explicit SignalSubscriber(TVSSignalCallback callback)
      : TvObject{"subscriber"}, m_Callback(callback) {}

  int Subscribe(ESignalType type, void* user_data, EProfile profile) override {
    Call call("ISignalSubscriber::Subscribe", static_cast<int>(type), Pointer{user_data},
              static_cast<int>(profile));
    Check(call);
    if (auto code = call.Failure(-1)) {
      return call.Returns(*code);
    }
    auto& watches = call->signalWatches;
    if (auto watch = Find(watches, type, profile); watch != watches.end()) {
      watch->userData = user_data;
    } else {
      watches.push_back({this, m_Callback, type, profile, user_data});
    }
    return call.Returns(0);
  }

  int Unsubscribe(ESignalType type, EProfile profile, TVSSignalCallback callback) override {
    Call call("ISignalSubscriber::Unsubscribe", static_cast<int>(type), static_cast<int>(profile),
              CallbackPointer(callback));
    Check(call);
    if (auto code = call.Failure(-1)) {
      return call.Returns(*code);
    }
    auto& watches = call->signalWatches;
    const auto watch = Find(watches, type, profile);
    if (callback != m_Callback || watch == watches.end()) {
      return call.Returns(-1);
    }
    watches.erase(watch);
    return call.Returns(0);
  }

 private:
  using Watches = std::vector<SignalWatch>;

  Watches::iterator Find(Watches& watches, ESignalType type, EProfile profile) const {
    return std::find_if(watches.begin(), watches.end(), [&](const SignalWatch& watch) {
      return watch.subscriber == this && watch.type == type && watch.profile == profile;
    });
  }

  TVSSignalCallback m_Callback;
};

// Gives an object made by `make`, or a failure and null.
template <typename Interface, typename Make>
int Create(Call& call, Interface** output, Make make) {
  *output = nullptr;
  if (auto code = call.Failure(-1)) {
    return call.Returns(*code, Verbatim{"null"});
  }
  const auto object = make();
  call->tvObjects.push_back(object);
  ++call->tvObjectsLeft;
  *output = object.get();
  return call.Returns(0, Verbatim{object->name});
}

template <typename Object, typename Interface>
void Destroy(Interface* interface) {
  Object* object = static_cast<Object*>(interface);
  Call call("TVServiceAPI::Destroy", Verbatim{object == nullptr ? "null" : object->name});
  if (object != nullptr) {
    object->Check(call);
    call->tvObjectsLeft -= object->destroyed ? 0 : 1;
    object->destroyed = true;
  }
  call.Ends();
}

}  // namespace

int TVServiceAPI::CreateSourceControl(EProfile profile, int screen, ISourceControl** control) {
  Call call("TVServiceAPI::CreateSourceControl", static_cast<int>(profile), screen);
  return Create(call, control, [] { return std::make_shared<SourceControl>(); });
}

int TVServiceAPI::CreateVideoControl(EProfile profile, int screen, IVideoControl** control) {
  Call call("TVServiceAPI::CreateVideoControl", static_cast<int>(profile), screen);
  return Create(call, control, [] { return std::make_shared<VideoControl>(); });
}

int TVServiceAPI::CreateSignalSubscriber(TVSSignalCallback callback,
                                         ISignalSubscriber** subscriber) {
  Call call("TVServiceAPI::CreateSignalSubscriber", CallbackPointer(callback));
  return Create(call, subscriber,
                [callback] { return std::make_shared<SignalSubscriber>(callback); });
}

void TVServiceAPI::Destroy(ISourceControl* control) { ::Destroy<SourceControl>(control); }

void TVServiceAPI::Destroy(IVideoControl* control) { ::Destroy<VideoControl>(control); }

void TVServiceAPI::Destroy(ISignalSubscriber* subscriber) {
  {
    std::lock_guard lock(Shared().mutex);
    std::erase_if(Shared().state.signalWatches,
                  [&](const SignalWatch& watch) { return watch.subscriber == subscriber; });
  }
  ::Destroy<SignalSubscriber>(subscriber);
}

namespace fakes {

void Platform::SetPicture(Picture picture) {
  std::lock_guard lock(Shared().mutex);
  Shared().state.picture = picture;
}

void Platform::SendTvSignal(int type, UserData instead) {
  std::vector<SignalWatch> watches;
  TSSignalData data{};
  {
    std::lock_guard lock(Shared().mutex);
    watches = Shared().state.signalWatches;
    data.sourceId = Shared().state.picture.source;
  }
  for (const SignalWatch& watch : watches) {
    if (watch.type == type && watch.profile == PROFILE_MAIN) {
      watch.callback(watch.type, watch.profile, 0, data, instead.value_or(watch.userData));
    }
  }
}

int Platform::TvObjects() const {
  std::lock_guard lock(Shared().mutex);
  return Shared().state.tvObjectsLeft;
}

}  // namespace fakes
