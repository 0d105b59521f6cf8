#include "call.h"
#include "source_api.h"

using namespace fakes;

namespace {

std::string ListText(const std::multimap<int, CSourceItem>& sources) {
  std::string text;
  for (const auto& [key, source] : sources) {
    text += text.empty() ? "" : ", ";
    text += std::to_string(key);
    if (source.sourceId != key) {
      text += " is " + std::to_string(source.sourceId);
    }
    text += " " + TraceText(source.editName) + " " + TraceText(source.detectedName);
  }
  return "{" + text + "}";
}

class SourceLibrary : public CSourceAPI {
 public:
  int GetSourceList(std::shared_ptr<std::multimap<int, CSourceItem>>& list) override {
    Call call("CSourceAPI::GetSourceList");
    if (auto code = call.Failure(-1)) {
      return call.Returns(*code);
    }
    list = std::make_shared<std::multimap<int, CSourceItem>>(call->sources);
    return call.Returns(0, Verbatim{ListText(*list)});
  }

  int RegisterSourceAPICallback(SourceAPICallback callback, void* user_data) override {
    Call call("CSourceAPI::RegisterSourceAPICallback",
              Pointer{reinterpret_cast<const void*>(callback), "callback"}, Pointer{user_data});
    if (auto code = call.Failure(-1)) {
      return call.Returns(*code);
    }
    call->sourceWatches[user_data] = callback;
    return call.Returns(0);
  }

  int UnregisterSourceAPICallback(void* user_data) override {
    Call call("CSourceAPI::UnregisterSourceAPICallback", Pointer{user_data});
    if (auto code = call.Failure(-1)) {
      return call.Returns(*code);
    }
    return call.Returns(call->sourceWatches.erase(user_data) == 1 ? 0 : -1);
  }
};

}  // namespace

CSourceAPI* CSourceAPI::Get() {
  static SourceLibrary library;
  return &library;
}

namespace fakes {

void Platform::SetSources(std::multimap<int, CSourceItem> sources) {
  std::lock_guard lock(Shared().mutex);
  Shared().state.sources = std::move(sources);
}

void Platform::SendSourceEvent(int event, UserData instead) {
  std::unique_lock lock(Shared().mutex);
  const auto watches = Shared().state.sourceWatches;
  lock.unlock();
  for (const auto& [userData, callback] : watches) {
    callback(event, instead.value_or(userData));
  }
}

}  // namespace fakes
