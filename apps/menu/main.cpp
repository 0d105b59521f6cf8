// The settings menu. The settings service launches it with a popup that it wants to be seen. In a
// terminal it shows the menu, or the part below the item of its command line, as text, and keeps it
// right:
//
//   org.pavix.menu [ITEM]
//
// ITEM is an item's ID or its path.

#include <unistd.h>

#include <memory>

#include "menu/menu_rows.h"
#include "menu/screen.h"
#include "settings/item_cache.h"
#include "support/application.h"

namespace {

class Menu : public apps::Application {
 public:
  explicit Menu(const std::string& top)
      : Application("org.pavix.menu", isatty(STDOUT_FILENO) != 0), m_Top(top) {}

 private:
  void OnStart() override {
    if (isatty(STDOUT_FILENO) == 0) {
      return;
    }
    m_Client = std::make_unique<settings::Client>(Bus());
    m_Screen = std::make_unique<Screen>();
    // Which items there are is asked when the service is there.
    m_Cache = std::make_unique<settings::ItemCache>(
        *m_Client, std::vector<std::string>(), [this](settings::CacheEvent event, const auto&) {
          if (event == settings::CacheEvent::kRead) {
            Fill();
          }
        });
    Drive(*m_Client);
    WatchSize([this] { Draw(); });
    Draw();
  }

  void OnActivate(const apps::ExtraData& data) override {
    const auto popup = data.find("type");
    const std::string line = popup == data.end() ? "menu open" : "popup " + popup->second;
    Say(line);
    EnterState(apps::State::kForeground);
    m_Popup = popup == data.end() ? "" : line;
    Draw();
  }

  void Fill() {
    m_Rows = AskForMenu(*m_Client, m_Top);
    std::vector<std::string> items;
    for (const MenuRow& row : m_Rows) {
      items.push_back(row.item);
    }
    m_Cache = std::make_unique<settings::ItemCache>(*m_Client, items,
                                                    [this](auto, const auto&) { Draw(); });
  }

  void Draw() {
    if (!m_Screen) {
      return;
    }
    std::vector<Screen::Line> lines;
    for (const MenuRow& row : m_Rows) {
      const settings::ItemState* const is = m_Cache->Find(row.item);
      if (is != nullptr && is->pathVisible) {
        lines.push_back({std::string(2 * row.depth, ' ') + is->name,
                         is->valueName.empty() ? is->value.value_or("") : is->valueName,
                         !is->pathEnabled});
      }
    }
    m_Screen->Show(lines, Status(lines.empty()));
  }

  std::string Status(bool isEmpty) const {
    if (!m_Cache->IsCurrent()) {
      return "waiting for the settings service…";
    }
    if (m_Rows.empty()) {
      return "no item \"" + m_Top + "\"; settingsctl tree shows all";
    }
    return isEmpty ? "\"" + m_Top + "\" is hidden; settingsctl why says why" : m_Popup;
  }

  const std::string m_Top;
  std::string m_Popup;
  std::unique_ptr<settings::Client> m_Client;
  std::unique_ptr<Screen> m_Screen;
  std::vector<MenuRow> m_Rows;
  std::unique_ptr<settings::ItemCache> m_Cache;
};

}  // namespace

int main(int argc, char** argv) {
  return apps::Main(argc, argv, "ITEM",
                    [](const std::string& item) { return std::make_unique<Menu>(item); });
}
