#pragma once

#include <fmt/format.h>

#include <random>
#include <string>
#include <vector>

// A catalogue whose rules are drawn by lot: over items before and behind, the item itself, keys of
// items and others, features, the source and the speaker, combined and negated.
class DrawnCatalogue {
 public:
  explicit DrawnCatalogue(unsigned seed) : m_Draw(seed) {
    for (int item = 0; item < kItems; ++item) {
      m_Kinds.push_back(Below(4));
    }
  }

  std::string Text() {
    std::string items;
    for (int item = 0; item < kItems; ++item) {
      items += (item > 0 ? ",\n" : "") + Item(item);
    }
    return fmt::format(R"({{"items": [{{"id": "top", "kind": "group", "name": "Top",
"displayId": "TOP"{}, "items": [{}]}}]}})",
                       States(), items);
  }

 private:
  static constexpr int kItems = 40;

  int Below(int end) { return std::uniform_int_distribution(0, end - 1)(m_Draw); }

  std::string Item(int item) {
    std::string text =
        fmt::format(R"({{"id": "i{0}", "name": "N{0}", "displayId": "D{0}"{1})", item, States());
    if (m_Kinds[item] == 0) {
      return text + R"(, "kind": "action"})";
    }
    if (Below(3) == 0) {
      text += fmt::format(R"(, "key": "db/own/k{}")", item);
    }
    if (m_Kinds[item] == 1) {
      return text + R"(, "kind": "switch", "default": "on"})";
    }
    const char* follows = Below(4) == 0 ? R"(, "follows": "speaker")" : "";
    return text + fmt::format(R"(, "kind": "list", "default": "off"{}, "options": [
{{"value": "off", "name": "Off"{}}}, {{"value": "on", "name": "On"{}}}]}})",
                              follows, States(), States());
  }

  std::string States() {
    std::string text;
    for (const char* state : {"visible", "enabled"}) {
      if (Below(2) == 0) {
        text += fmt::format(R"(, "{}": {})", state, Rule(0));
      }
    }
    return text;
  }

  std::string Rule(int depth) {
    switch (Below(depth < 3 ? 8 : 5)) {
      case 0: {
        int item = Below(kItems);
        while (m_Kinds[item] == 0) {
          item = (item + 1) % kItems;
        }
        return fmt::format(R"({{"item": "i{}", "is": "on"}})", item);
      }
      case 1:
        return fmt::format(R"({{"key": "db/{}/{}{}", "is": {}}})", Below(2) ? "menu" : "own",
                           Below(2) ? "i" : "k", Below(kItems), Below(2) ? "1" : R"("on")");
      case 2:
        return R"({"feature": "com.velmora/featureconf/game_bar.support", "is": true})";
      case 3:
        return R"({"source": "hdmi"})";
      case 4:
        return R"({"speaker": ["optical", "bluetooth"]})";
      case 5:
        return fmt::format(R"({{"not": {}}})", Rule(depth + 1));
      case 6:
        return fmt::format(R"({{"all": [{}, {}]}})", Rule(depth + 1), Rule(depth + 1));
      default:
        return fmt::format(R"({{"any": [{}, {}]}})", Rule(depth + 1), Rule(depth + 1));
    }
  }

  std::mt19937 m_Draw;
  std::vector<int> m_Kinds;  // an action, a switch, or else a list
};
