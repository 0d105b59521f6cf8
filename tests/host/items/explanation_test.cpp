#include "items/explanation.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <array>
#include <string>

#include "base/json.h"
#include "catalogue_directory.h"
#include "items/inputs.h"
#include "memory_inputs.h"
#include "platform_double.h"

namespace {

constexpr char kMenu[] = R"({{"items": [
  {{"id": "game", "kind": "switch", "name": "Game", "displayId": "GAME", "default": "off"}},
  {{"id": "delay", "kind": "range", "name": "Delay", "displayId": "DELAY", "default": 20,
   "min": 0, "max": 250, "step": 10, "kept": {{"min": 0, "step": 1}}}},
  {{"id": "top", "kind": "group", "name": "Top", "displayId": "TOP",
   "visible": {{"key": "db/own/top", "is": 1}}, "items": [
   {{"id": "middle", "kind": "group", "name": "Middle", "displayId": "MIDDLE",
    "enabled": {{"item": "game", "is": "off"}}, "items": [
    {{"id": "asked", "kind": "action", "name": "Asked", "displayId": "ASKED", {}}}]}}]}}]}})";

class Explanation : public testing::Test {
 protected:
  Explanation() {
    PlatformDouble::Get().Reset();
    m_Inputs.keys["db/own/top"] = 1;
  }
  ~Explanation() override { PlatformDouble::Get().Reset(); }

  void Load(const std::string& states) {
    m_Library.Load(m_Directory.Write("menu.json", fmt::format(kMenu, states)));
    ASSERT_NE(m_Library.Loaded(), nullptr) << PlatformDouble::Get().Log().front().text;
  }

  Json::Value Explain() const { return host::Explain(m_Library, *m_Library.Find("asked")); }

  // Why the item is not visible when it has this rule.
  Json::Value ReasonsOf(const std::string& rule) {
    Load(R"("visible": )" + rule);
    const Json::Value explanation = Explain();
    EXPECT_EQ(explanation["visible"].asBool(), explanation["reasons"].empty());
    return explanation["reasons"];
  }

  CatalogueDirectory m_Directory;
  MemoryInputs m_Inputs;
  host::ItemLibrary m_Library{m_Inputs};
};

Json::Value Parsed(const std::string& json) { return base::ParseJson(json); }

TEST_F(Explanation, OfAnItemThatNothingHidesOrDisablesHasNoReasons) {
  Load(R"("visible": {"item": "game", "is": "off"}, "enabled": {"item": "delay", "is": 20})");
  EXPECT_EQ(Explain(), Parsed(R"({"menuID":"asked","visible":true,"enabled":true,"reasons":[]})"));
}

TEST_F(Explanation, SaysWhatTheValueOfAnItemIsAndWhatIsNeeded) {
  EXPECT_EQ(ReasonsOf(R"({"item": "game", "is": "on"})"),
            Parsed(R"([{"of":"visible","item":"game","is":"off","needed":["on"]}])"));
  m_Inputs.keys["memory/menu/preview/delay"] = "30";
  EXPECT_EQ(ReasonsOf(R"({"item": "delay", "is": [10, 250]})"),
            Parsed(R"([{"of":"visible","item":"delay","is":"30","needed":["10","250"]}])"));
}

TEST_F(Explanation, SaysWhatAKeyHolds) {
  EXPECT_EQ(ReasonsOf(R"({"key": "db/own/k", "is": [1, 2]})"),
            Parsed(R"([{"of":"visible","key":"db/own/k","is":null,"needed":[1,2]}])"));
  m_Inputs.keys["db/own/k"] = 3;
  EXPECT_EQ(ReasonsOf(R"({"key": "db/own/k", "is": [1, 2]})"),
            Parsed(R"([{"of":"visible","key":"db/own/k","is":3,"needed":[1,2]}])"));
  EXPECT_EQ(ReasonsOf(R"({"key": "db/own/k", "is": ""})"),
            Parsed(R"([{"of":"visible","key":"db/own/k","is":3,"needed":[""]}])"));
}

TEST_F(Explanation, SaysWhatTheModelHas) {
  EXPECT_EQ(ReasonsOf(R"({"feature": "x/y.z", "is": true})"),
            Parsed(R"([{"of":"visible","feature":"x/y.z","is":null,"needed":[true]}])"));
  m_Inputs.features["x/y.z"] = false;
  EXPECT_EQ(ReasonsOf(R"({"feature": "x/y.z", "is": true})"),
            Parsed(R"([{"of":"visible","feature":"x/y.z","is":false,"needed":[true]}])"));
  EXPECT_EQ(ReasonsOf(R"({"feature": "x/y.z", "is": [4, 5]})"),
            Parsed(R"([{"of":"visible","feature":"x/y.z","is":false,"needed":[4,5]}])"));
}

TEST_F(Explanation, SaysWhichSourceAndSpeakerThereAre) {
  EXPECT_EQ(ReasonsOf(R"({"source": ["hdmi", "pc"]})"),
            Parsed(R"([{"of":"visible","source":"memory/set/source/type","is":"tv",)"
                   R"("needed":["hdmi","pc"]}])"));
  m_Inputs.keys["memory/set/source/type"] = "av";
  EXPECT_EQ(ReasonsOf(R"({"source": "hdmi"})")[0]["is"], "av");
  EXPECT_EQ(ReasonsOf(R"({"speaker": "receiver"})"),
            Parsed(R"([{"of":"visible","speaker":"memory/set/speaker","is":"tvspeaker",)"
                   R"("needed":["receiver"]}])"));
  m_Inputs.keys["memory/set/speaker"] = "optical";
  EXPECT_EQ(ReasonsOf(R"({"speaker": "receiver"})")[0]["is"], "optical");
}

TEST_F(Explanation, SaysWhatMustNotBe) {
  EXPECT_EQ(ReasonsOf(R"({"not": {"item": "game", "is": ["off", "on"]}})"),
            Parsed(R"([{"of":"visible","item":"game","is":"off","not":["off","on"]}])"));
  EXPECT_EQ(ReasonsOf(R"({"not": {"not": {"item": "game", "is": "on"}}})"),
            Parsed(R"([{"of":"visible","item":"game","is":"off","needed":["on"]}])"));
}

TEST_F(Explanation, NamesEachFalseOneOfAllAndEveryOneOfAny) {
  const std::string no1 = R"({"key": "db/own/k1", "is": 1})";
  const std::string no2 = R"({"key": "db/own/k2", "is": 2})";
  const std::string yes = R"({"item": "game", "is": "off"})";
  const auto named = [&](const std::string& rule) {
    std::string names;
    for (const Json::Value& reason : ReasonsOf(rule)) {
      names += reason.isMember("key") ? reason["key"].asString() : reason["item"].asString();
      names += reason.isMember("not") ? " not;" : ";";
    }
    return names;
  };
  const auto list = [](const char* kind, const auto&... rules) {
    std::string text;
    ((text += (text.empty() ? "" : ", ") + std::string(rules)), ...);
    return fmt::format(R"({{"{}": [{}]}})", kind, text);
  };
  EXPECT_EQ(named(list("all", no1, yes, no2)), "db/own/k1;db/own/k2;");
  EXPECT_EQ(named(list("any", no1, no2)), "db/own/k1;db/own/k2;");
  EXPECT_EQ(named(list("any", no1, yes)), "");
  EXPECT_EQ(named(list("all", yes, list("any", no2, list("all", no1, yes)))),
            "db/own/k2;db/own/k1;");
  EXPECT_EQ(named(list("all", no1, no1)), "db/own/k1;") << "once";
  // Under "not", it is the other way round.
  EXPECT_EQ(named(fmt::format(R"({{"not": {}}})", list("any", no1, yes, no2))), "game not;");
  EXPECT_EQ(named(fmt::format(R"({{"not": {}}})",
                              list("all", yes, fmt::format(R"({{"not": {}}})", no2)))),
            "game not;db/own/k2;");
}

TEST_F(Explanation, NamesTheGroupsAboveInWhichAReasonLiesTheNearestFirst) {
  Load(R"("visible": {"item": "game", "is": "off"})");
  m_Inputs.keys["db/menu/game"] = 1;
  m_Inputs.keys.erase("db/own/top");
  const std::array<std::string, 1> top = {"top"};
  m_Library.Disabled().Disable(top, "org.example.app");
  EXPECT_EQ(Explain(), Parsed(R"({"menuID":"asked","visible":false,"enabled":true,"reasons":[
      {"of":"visible","item":"game","is":"on","needed":["off"]},
      {"of":"visible","group":"top"},
      {"of":"enabled","group":"middle"},
      {"of":"enabled","group":"top"}]})"));
  EXPECT_EQ(host::Explain(m_Library, *m_Library.Find("top")),
            Parsed(R"({"menuID":"top","visible":false,"enabled":false,"reasons":[
      {"of":"visible","key":"db/own/top","is":null,"needed":[1]},
      {"of":"enabled","app":"org.example.app"}]})"));
}

TEST_F(Explanation, NamesEveryApplicationThatHoldsTheItem) {
  Load(R"("enabled": {"item": "game", "is": "on"})");
  const std::array<std::string, 1> asked = {"asked"};
  m_Library.Disabled().Disable(asked, "org.example.two");
  m_Library.Disabled().Disable(asked, "org.example.one");
  EXPECT_EQ(Explain()["reasons"], Parsed(R"([
      {"of":"enabled","item":"game","is":"off","needed":["on"]},
      {"of":"enabled","app":"org.example.two"},
      {"of":"enabled","app":"org.example.one"}])"));
}

}  // namespace
