#include "setctl/virtual_set.h"

#include <fmt/format.h>

#include <stdexcept>
#include <thread>
#include <variant>

#include "set/fresh_set.h"
#include "set/keys.h"
#include "setctl/key_text.h"
#include "system/environment.h"
#include "text.h"

namespace setctl {

void VirtualSet::Write(const std::string& key, const host::KeyValue& value) {
  if (!m_Begun) {
    m_Begun.emplace();
  }
  m_Store.Set(key, value);
  if (m_Options.json) {
    m_Print([&] { tools::PrintLine(KeyJson(key, value)); });
  }
}

void VirtualSet::Pause(std::chrono::milliseconds time) {
  m_Print(tools::Flush);
  std::this_thread::sleep_for(time);
}

void VirtualSet::End() {
  m_Print(tools::Flush);
  if (m_OutputFailure) {
    std::rethrow_exception(m_OutputFailure);
  }
}

void VirtualSet::m_Print(const std::function<void()>& print) {
  if (m_OutputFailure) {
    return;
  }
  try {
    print();
  } catch (...) {
    m_OutputFailure = std::current_exception();
  }
}

std::optional<int> VirtualSet::Number(const std::string& key) const {
  const std::optional<host::KeyValue> value = m_Store.Get(key);
  const int* number = value ? std::get_if<int>(&*value) : nullptr;
  return number != nullptr ? std::optional(*number) : std::nullopt;
}

std::vector<host::SetSource> VirtualSet::Sources() const {
  const std::optional<host::KeyValue> value = m_Store.Get(host::kSourcesKey);
  try {
    return value ? host::ReadSources(*value) : std::vector<host::SetSource>();
  } catch (const std::runtime_error& error) {
    throw tools::Failure(
        tools::ExitCode::kRefused,
        fmt::format("the list of sources in {} {}; setctl key unset {} makes it that of a new set",
                    host::kSourcesKey, error.what(), host::kSourcesKey));
  }
}

host::Window VirtualSet::PictureWindow() const {
  try {
    const std::optional<host::KeyValue> value = m_Store.Get(host::kWindowKey);
    return value ? host::ReadWindow(*value) : host::Window();
  } catch (const std::runtime_error&) {
    return host::Window();  // about to be written anew
  }
}

tools::ExitCode Operate(const Options& options, const std::function<void(VirtualSet&)>& verb) {
  return WithStore(options, [&](host::KeyStore& store) {
    const host::SetLock lock(host::RunDir());
    host::PrepareFreshSet(store, lock);
    VirtualSet set(store, options);
    verb(set);
    set.End();
    return tools::ExitCode::kDone;
  });
}

}  // namespace setctl
