#include "items/item_library.h"

#include "items/answer.h"
#include "set/keys.h"
#include "system/error_log.h"

namespace host {

void ItemLibrary::Load(const std::filesystem::path& file) {
  m_Catalogue.reset();
  try {
    m_Catalogue.emplace(Catalogue::Load(file));
  } catch (const CatalogueError& error) {
    for (const CatalogueProblem& problem : error.Problems()) {
      LogError("settings-items", ToText(problem));
    }
  }
  ReadSpeakerType();
  m_Disabled.DropUnknown();
  if (m_Listener != nullptr) {
    m_Listener->OnLoaded();
  }
}

void ItemLibrary::Listen(ItemListener* listener) {
  m_Listener = listener;
  m_Disabled.Listen(listener);
}

const Item* ItemLibrary::Find(const char* menuID) const {
  return menuID != nullptr ? Find(std::string_view(menuID)) : nullptr;
}

const Item* ItemLibrary::Find(std::string_view menuID) const {
  return m_Catalogue ? m_Catalogue->Find(menuID) : nullptr;
}

void ItemLibrary::FreshSpeakerType() {
  ReadSpeakerType();
  if (m_Listener != nullptr) {
    m_Listener->OnSpeakerRead();
  }
}

// A missing key means that no speaker was chosen; a number, and a key store that fails, is a type
// that cannot be read.
void ItemLibrary::ReadSpeakerType() {
  AnswerOr(false, [&] {
    const auto type = m_Inputs.Text(kSpeakerKey);
    if (type || !m_Inputs.Number(kSpeakerKey)) {
      m_SpeakerType = type.value_or("");
    }
    return true;
  });
}

}  // namespace host
