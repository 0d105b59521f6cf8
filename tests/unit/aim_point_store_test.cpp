#include <algorithm>
#include <climits>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>

#include "game_bar_test.h"
#include "gamebar/GameBarVAPManager.h"
#include "service_test.h"

namespace {

// A store of two sources, and the dump of it.
constexpr char kTwoSources[] =
    R"([{"d":[{"as":1,"at":2,"ax":0.5,"ay":0.25,"rt":1},{"as":0,"at":3,"ax":1.0,"ay":2.0,"rt":3}],"s":7},{"d":[],"s":8}])";
constexpr char kTwoSourcesDump[] = R"(
  I GameBarVAPManager ParseVAPData | [GameBarService] VAP data=[source=7, ratioType=1, aimStatus=1, aimType=2, aimPosX=0.5, aimPosY=0.25, \nratioType=3, aimStatus=0, aimType=3, aimPosX=1, aimPosY=2, \nsource=8, ]\n
)";
constexpr char kEmptyDump[] = R"(
  I GameBarVAPManager ParseVAPData | [GameBarService] VAP data=[]\n
)";
constexpr char kNoDataLine[] = R"(
  I GameBarVAPManager ConvertToJson | [GameBarService] no data\n
)";

class AimPointStore : public GameBarTest {
 protected:
  AimPointStore() { CreateVAPManager(); }

  // The store becomes what the text says.
  void Fill(const std::string& text) {
    manager().ParseVAPData(text);
    fake.TakeTrace();
  }

  // The store as JSON text; the trace is left as it was before.
  std::string Store() {
    const std::string text = Text(manager().ConvertToJson());
    fake.TakeTrace();
    return text;
  }

  static GameBarVAPManager& manager() { return *GameBarVAPManager::GetInstance(); }

  using SourceMap = std::multimap<int, CSourceItem>;
  static std::shared_ptr<SourceMap> Sources(std::initializer_list<int> sources) {
    auto map = std::make_shared<SourceMap>();
    for (const int source : sources) {
      map->insert({source, {.sourceId = source, .editName = "", .detectedName = ""}});
    }
    return map;
  }
};

TEST_F(AimPointStore, HoldsWhatTheTextSays) {
  manager().ParseVAPData(kTwoSources);
  ExpectTrace(kTwoSourcesDump);
  EXPECT_EQ(Store(), kTwoSources);
}

TEST_F(AimPointStore, IsNullWhenItIsEmpty) {
  EXPECT_TRUE(manager().ConvertToJson().isNull());
  ExpectTrace(kNoDataLine);
}

TEST_F(AimPointStore, IsReplacedByEveryText) {
  Fill(kTwoSources);
  manager().ParseVAPData(R"([{"s":-9,"d":[{"rt":-1,"as":-2,"at":-3,"ax":-0.5,"ay":-1e10}]}])");
  ExpectTrace(R"(
    I GameBarVAPManager ParseVAPData | [GameBarService] VAP data=[source=-9, ratioType=-1, aimStatus=-2, aimType=-3, aimPosX=-0.5, aimPosY=-1e+10, \n]\n
  )");
}

TEST_F(AimPointStore, IsEmptiedByATextThatIsNoArray) {
  for (const char* text : {"[]", "null", "{}", "7", "\"x\"", "true", R"({"s":7,"d":[]})"}) {
    SCOPED_TRACE(text);
    Fill(kTwoSources);
    manager().ParseVAPData(text);
    ExpectTrace(kEmptyDump);
    EXPECT_EQ(Store(), "null");
  }
}

TEST_F(AimPointStore, StaysWhenTheTextIsMalformed) {
  Fill(kTwoSources);
  for (const char* text : {"", " ", "[", "[{]", R"([{"s":7)", "x", "[1 2]"}) {
    SCOPED_TRACE(text);
    manager().ParseVAPData(text);
    ExpectTrace(std::string(R"(
      E GameBarVAPManager ParseVAPData | [GameBarService] json parse error\n
    )") + kTwoSourcesDump);
    EXPECT_EQ(Store(), kTwoSources);
  }
}

TEST_F(AimPointStore, TakesMissingMembersForZero) {
  manager().ParseVAPData(R"([{},{"s":7},{"s":8,"d":[{}]},{"s":9,"d":[{"rt":1,"ay":0.5}]},null])");
  ExpectTrace(R"(
    I GameBarVAPManager ParseVAPData | [GameBarService] VAP data=[source=0, source=7, source=8, ratioType=0, aimStatus=0, aimType=0, aimPosX=0, aimPosY=0, \nsource=9, ratioType=1, aimStatus=0, aimType=0, aimPosX=0, aimPosY=0.5, \nsource=0, ]\n
  )");
}

TEST_F(AimPointStore, TakesRecordsThatAreNoArrayForNone) {
  for (const char* records : {"null", "{}", "5", "\"x\"", R"({"rt":1})"}) {
    SCOPED_TRACE(records);
    manager().ParseVAPData(R"([{"s":7,"d":)" + std::string(records) + "}]");
    ExpectTrace(R"(
      I GameBarVAPManager ParseVAPData | [GameBarService] VAP data=[source=7, ]\n
    )");
  }
}

TEST_F(AimPointStore, KeepsTheEntriesBeforeOneOfTheWrongType) {
  const auto expect = [&](const std::string& entry, const std::string& error) {
    SCOPED_TRACE(entry);
    Fill("[]");
    manager().ParseVAPData(R"([{"s":7},)" + entry + R"(,{"s":9}])");
    Let("error", error);
    ExpectTrace(R"(
      E GameBarVAPManager ParseVAPData | [GameBarService] Exception Handled by t_SaveActivityInfoToFile: {error}\n
      I GameBarVAPManager ParseVAPData | [GameBarService] VAP data=[source=7, ]\n
    )");
  };
  const char toInt[] = "Value is not convertible to Int.";
  expect(R"({"s":"x"})", toInt);
  expect(R"({"s":[]})", toInt);
  expect(R"({"s":8,"d":[{"rt":"x"}]})", toInt);
  expect(R"({"s":8,"d":[{},{"as":{}}]})", toInt);
  expect(R"({"s":8,"d":[{"at":"1"}]})", toInt);
  expect(R"({"s":8,"d":[{"ax":"0.5"}]})", "Value is not convertible to float.");
  expect(R"({"s":8,"d":[{"ay":[]}]})", "Value is not convertible to float.");
  expect(R"({"s":4294967296})", "LargestInt out of Int range");
  expect(R"({"s":1e10})", "double out of Int range");
}

TEST_F(AimPointStore, KeepsTheEntriesBeforeOneThatIsNoObject) {
  for (const char* entry : {"5", "\"x\"", "[]", "true", R"({"s":8,"d":[5]})", R"({"d":[[]]})"}) {
    SCOPED_TRACE(entry);
    manager().ParseVAPData(R"([{"s":7},)" + std::string(entry) + R"(,{"s":9}])");
    const auto trace = fake.TakeTrace();
    ASSERT_EQ(trace.size(), 2u);
    EXPECT_TRUE(
        trace[0].starts_with("E GameBarVAPManager ParseVAPData | [GameBarService] "
                             "Exception Handled by t_SaveActivityInfoToFile: "))
        << trace[0];
    EXPECT_EQ(Store(), R"([{"d":[],"s":7}])");
  }
}

TEST_F(AimPointStore, StaysWhenTheTextIsNestedTooDeeply) {
  Fill(kTwoSources);
  manager().ParseVAPData(std::string(5000, '['));
  const auto trace = fake.TakeTrace();
  ASSERT_EQ(trace.size(), 2u);
  EXPECT_TRUE(
      trace[0].starts_with("E GameBarVAPManager ParseVAPData | [GameBarService] "
                           "Exception Handled by t_SaveActivityInfoToFile: "))
      << trace[0];
  EXPECT_EQ(Store(), kTwoSources);
}

TEST_F(AimPointStore, ShowsPositionsWithSixDigitsAndWritesThemWithAll) {
  manager().ParseVAPData(R"([{"s":7,"d":[{"ax":0.1,"ay":1234567.5}]}])");
  ExpectTrace(R"(
    I GameBarVAPManager ParseVAPData | [GameBarService] VAP data=[source=7, ratioType=0, aimStatus=0, aimType=0, aimPosX=0.1, aimPosY=1.23457e+06, \n]\n
  )");
  const Json::Value record = manager().ConvertToJson()[0]["d"][0];
  EXPECT_EQ(record["ax"].asDouble(), static_cast<double>(0.1f));
  EXPECT_EQ(record["ay"].asDouble(), 1234567.5);
  EXPECT_TRUE(record["rt"].isInt());
  manager().SetVAPData();
  const auto written = fake.Key(kAimStore);
  ASSERT_TRUE(written && std::holds_alternative<std::string>(*written));
  EXPECT_EQ(Parsed(std::get<std::string>(*written))[0]["d"][0]["ax"].asDouble(),
            static_cast<double>(0.1f));
}

TEST_F(AimPointStore, KeepsTheGreatestNumbers) {
  const std::string text =
      R"([{"d":[{"as":2147483647,"at":-2147483648,"ax":0.0,"ay":0.0,"rt":-2147483648}],"s":2147483647}])";
  Fill(text);
  EXPECT_EQ(Store(), text);
}

TEST_F(AimPointStore, IsWrittenOnOneLineWithItsLineEnd) {
  Fill(R"([{"s":7,"d":[{"rt":1,"as":1,"at":2,"ax":0.5,"ay":0.25}]}])");
  manager().SetVAPData();
  ExpectTrace(R"(
    vconf_set_str("db/menu/virtualaim/position", "[{"d":[{"as":1,"at":2,"ax":0.5,"ay":0.25,"rt":1}],"s":7}]\n") -> 0
    I GameBarVAPManager SetVAPData | [GameBarService]  set db/menu/virtualaim/position succeed! <[{"d":[{"as":1,"at":2,"ax":0.5,"ay":0.25,"rt":1}],"s":7}]\n>\n
  )");
}

TEST_F(AimPointStore, IsWrittenAsNullWhenItIsEmpty) {
  manager().SetVAPData();
  ExpectTrace(std::string(kNoDataLine) + R"(
    vconf_set_str("db/menu/virtualaim/position", "null\n") -> 0
    I GameBarVAPManager SetVAPData | [GameBarService]  set db/menu/virtualaim/position succeed! <null\n>\n
  )");
}

TEST_F(AimPointStore, ReportsThatItCannotBeWritten) {
  Fill(R"([{"s":7}])");
  fake.Fail("vconf_set_str", {.code = -2});
  manager().SetVAPData();
  ExpectTrace(R"(
    vconf_set_str("db/menu/virtualaim/position", "[{"d":[],"s":7}]\n") -> -2
    E GameBarVAPManager SetVAPData | [GameBarService]  set db/menu/virtualaim/position failed! <[{"d":[],"s":7}]\n>\n
  )");
  EXPECT_EQ(fake.Key(kAimStore), std::nullopt);
  EXPECT_EQ(Store(), R"([{"d":[],"s":7}])");
}

TEST_F(AimPointStore, CatchesAnExceptionOfItsWriting) {
  Fill(R"([{"s":7}])");
  fake.Fail("vconf_set_str", {.exception = OtherException()});
  manager().SetVAPData();
  ExpectTrace(R"(
    vconf_set_str("db/menu/virtualaim/position", "[{"d":[],"s":7}]\n") throws
    E GameBarVAPManager SetVAPData | [GameBarService] Exception Handled by t_SaveActivityInfoToFile: broken\n
  )");
}

TEST_F(AimPointStore, ReadsItsTextOrNone) {
  EXPECT_EQ(manager().GetVAPData(), "");
  fake.SetKey(kAimStore, "[]");
  EXPECT_EQ(manager().GetVAPData(), "[]");
  fake.SetKey(kAimStore, 5);
  EXPECT_EQ(manager().GetVAPData(), "");
  ExpectTrace(R"(
    vconf_get_str("db/menu/virtualaim/position") -> null
    E GameBarVAPManager GetVAPData | [GameBarService] VAP data = []\n
    vconf_get_str("db/menu/virtualaim/position") -> "[]"
    E GameBarVAPManager GetVAPData | [GameBarService] VAP data = [[]]\n
    vconf_get_str("db/menu/virtualaim/position") -> null
    E GameBarVAPManager GetVAPData | [GameBarService] VAP data = []\n
  )");
}

TEST_F(AimPointStore, LosesTheFirstEntryOfASource) {
  Fill(R"([{"s":8},{"s":7,"d":[{}]},{"s":7}])");
  manager().RemoveVAPForSource(7);
  ExpectTrace(R"(
    I GameBarVAPManager RemoveVAPForSource | [GameBarService] remove [7] success\n
  )");
  EXPECT_EQ(Store(), R"([{"d":[],"s":8},{"d":[],"s":7}])");
  manager().RemoveVAPForSource(9);
  ExpectTrace(R"(
    I GameBarVAPManager RemoveVAPForSource | [GameBarService] not find [9]\n
  )");
  EXPECT_EQ(Store(), R"([{"d":[],"s":8},{"d":[],"s":7}])");
  EXPECT_EQ(fake.Key(kAimStore), std::nullopt);
}

TEST_F(AimPointStore, HasNothingToLoseWhenItIsEmpty) {
  manager().RemoveVAPForSource(7);
  manager().OnSourceListChange(Sources({}));
  ExpectTrace(R"(
    I GameBarVAPManager RemoveVAPForSource | [GameBarService] no data\n
    I GameBarVAPManager OnSourceListChange | [GameBarService] no data\n
  )");
}

TEST_F(AimPointStore, StaysWithoutAListOfSources) {
  Fill(kTwoSources);
  manager().OnSourceListChange(nullptr);
  ExpectTrace(R"(
    I GameBarVAPManager OnSourceListChange | [GameBarService] no data\n
  )");
  EXPECT_EQ(Store(), kTwoSources);
}

TEST_F(AimPointStore, IsNotWrittenWhileAllItsSourcesAreThere) {
  Fill(kTwoSources);
  manager().OnSourceListChange(Sources({6, 7, 7, 8, 9}));
  ExpectTrace(R"(
    I GameBarVAPManager OnSourceListChange | [GameBarService] no need to remove data\n
  )");
  EXPECT_EQ(Store(), kTwoSources);
}

TEST_F(AimPointStore, IsLookedUpByTheKeysOfTheList) {
  Fill(R"([{"s":7}])");
  const auto sources = std::make_shared<SourceMap>();
  sources->insert({7, {.sourceId = 1, .editName = "", .detectedName = ""}});
  manager().OnSourceListChange(sources);
  ExpectTrace(R"(
    I GameBarVAPManager OnSourceListChange | [GameBarService] no need to remove data\n
  )");
}

TEST_F(AimPointStore, LosesEveryEntryWhoseSourceIsGone) {
  Fill(R"([{"s":7},{"s":8},{"s":7,"d":[{}]},{"s":9}])");
  manager().OnSourceListChange(Sources({8}));
  ExpectTrace(R"(
    I GameBarVAPManager OnSourceListChange | [GameBarService] not find source [7], need remove data\n
    I GameBarVAPManager OnSourceListChange | [GameBarService] not find source [7], need remove data\n
    I GameBarVAPManager OnSourceListChange | [GameBarService] not find source [9], need remove data\n
    I GameBarVAPManager RemoveVAPForSource | [GameBarService] remove [7] success\n
    I GameBarVAPManager RemoveVAPForSource | [GameBarService] remove [7] success\n
    I GameBarVAPManager RemoveVAPForSource | [GameBarService] remove [9] success\n
    vconf_set_str("db/menu/virtualaim/position", "[{"d":[],"s":8}]\n") -> 0
    I GameBarVAPManager SetVAPData | [GameBarService]  set db/menu/virtualaim/position succeed! <[{"d":[],"s":8}]\n>\n
  )");
}

TEST_F(AimPointStore, IsWrittenAsNullWhenItsLastEntryIsGone) {
  Fill(R"([{"s":7},{"s":7}])");
  manager().OnSourceListChange(Sources({}));
  ExpectTrace(R"(
    I GameBarVAPManager OnSourceListChange | [GameBarService] not find source [7], need remove data\n
    I GameBarVAPManager OnSourceListChange | [GameBarService] not find source [7], need remove data\n
    I GameBarVAPManager RemoveVAPForSource | [GameBarService] remove [7] success\n
    I GameBarVAPManager RemoveVAPForSource | [GameBarService] remove [7] success\n
    I GameBarVAPManager ConvertToJson | [GameBarService] no data\n
    vconf_set_str("db/menu/virtualaim/position", "null\n") -> 0
    I GameBarVAPManager SetVAPData | [GameBarService]  set db/menu/virtualaim/position succeed! <null\n>\n
  )");
}

TEST_F(AimPointStore, StaysPrunedThoughItCannotBeWritten) {
  Fill(kTwoSources);
  fake.Fail("vconf_set_str");
  manager().OnSourceListChange(Sources({8}));
  EXPECT_EQ(Store(), R"([{"d":[],"s":8}])");
}

// The store as it is told by the rules, with JsonCpp alone.
class StoreModel {
 public:
  // The lines of the trace that the text leaves, without their beginning.
  std::vector<std::string> Take(const std::string& text) {
    std::vector<std::string> lines;
    try {
      const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
      Json::Value root;
      std::string errors;
      if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors) ||
          !errors.empty()) {
        lines.push_back("json parse error\\n");
      } else {
        m_Entries.clear();
        TakeEntries(root);
      }
    } catch (const std::exception& exception) {
      lines.push_back("Exception Handled by t_SaveActivityInfoToFile: ");
    }
    std::string dump;
    for (const std::string& entry : m_Entries) {
      dump += entry;
    }
    lines.push_back("VAP data=[" + dump + "]\\n");
    return lines;
  }

 private:
  void TakeEntries(const Json::Value& root) {
    for (Json::ArrayIndex i = 0; root.isArray() && i < root.size(); ++i) {
      std::ostringstream entry;
      entry << "source=" << root[i].get("s", 0).asInt() << ", ";
      const Json::Value records = root[i].get("d", Json::Value());
      for (Json::ArrayIndex r = 0; records.isArray() && r < records.size(); ++r) {
        for (const auto& [member, name] :
             {std::pair("rt", "ratioType"), std::pair("as", "aimStatus"),
              std::pair("at", "aimType")}) {
          entry << name << "=" << records[r].get(member, 0).asInt() << ", ";
        }
        for (const auto& [member, name] :
             {std::pair("ax", "aimPosX"), std::pair("ay", "aimPosY")}) {
          entry << name << "=" << records[r].get(member, 0).asFloat() << ", ";
        }
        entry << "\\n";
      }
      m_Entries.push_back(entry.str());
    }
  }

  std::vector<std::string> m_Entries;
};

// Texts that look like a store and are broken in various ways.
class TextMaker {
 public:
  std::string Make() {
    std::string text = Value(0);
    const int breaks = Below(3);
    for (int i = 0; i < breaks && !text.empty(); ++i) {
      Break(text);
    }
    return text;
  }

 private:
  int Below(int limit) { return std::uniform_int_distribution(0, limit - 1)(m_Random); }

  std::string Scalar() {
    static const char* const scalars[] = {
        "0",     "1",    "-7",          "13", "0.5", "1e3",         "1e400", "null",
        "\"x\"", "true", "99999999999", "{}", "[]",  "-2147483648", "3.75",  "\"\\u0041\""};
    return scalars[Below(Below(2) == 0 ? 6 : std::size(scalars))];
  }

  // The array of entries, an entry, the array of its records or a record, by depth.
  std::string Value(int depth) {
    if (Below(24) == 0) {
      return Scalar();
    }
    std::string text;
    const bool isArray = depth % 2 == 0;
    const int count = isArray ? Below(4) : 0;
    for (int i = 0; i < count; ++i) {
      text += (i == 0 ? "" : ",") + Value(depth + 1);
    }
    if (isArray) {
      return "[" + text + "]";
    }
    static const char* const entryMembers[] = {"s", "d"};
    static const char* const recordMembers[] = {"rt", "as", "at", "ax", "ay"};
    const auto add = [&](const char* member, const std::string& value) {
      text += (text.empty() ? "\"" : ",\"") + std::string(member) + "\":" + value;
    };
    if (depth == 1) {
      for (const char* member : entryMembers) {
        if (Below(8) != 0) {
          add(member, *member == 'd' ? Value(depth + 1) : Scalar());
        }
      }
    } else {
      for (const char* member : recordMembers) {
        if (Below(8) != 0) {
          add(member, Scalar());
        }
      }
    }
    return "{" + text + "}";
  }

  void Break(std::string& text) {
    static const std::string bytes = "[]{}\",:0x \n\\-/\x01\xff";
    const int at = Below(static_cast<int>(text.size()));
    const char byte = bytes[Below(static_cast<int>(bytes.size()))];
    switch (Below(5)) {
      case 0:
        text.erase(at, 1 + Below(4));
        break;
      case 1:
        text.insert(at, 1, byte);
        break;
      case 2:
        text[at] = byte;
        break;
      case 3:
        text.resize(at);
        break;
      default:
        text.insert(at, text.substr(at, Below(20)));
        break;
    }
  }

  std::mt19937 m_Random{20261121};
};

TEST_F(AimPointStore, FollowsItsRulesForAnyText) {
  StoreModel model;
  TextMaker maker;
  int kept = 0;
  int broken = 0;
  int replaced = 0;
  for (int i = 0; i < 10'000; ++i) {
    const std::string text = maker.Make();
    SCOPED_TRACE(text);
    const std::vector<std::string> expected = model.Take(text);
    manager().ParseVAPData(text);
    const std::vector<std::string> trace = fake.TakeTrace();
    ASSERT_EQ(trace.size(), expected.size());
    ASSERT_EQ(trace.back(),
              "I GameBarVAPManager ParseVAPData | [GameBarService] " + expected.back());
    if (expected.size() == 2) {
      const std::string line = "E GameBarVAPManager ParseVAPData | [GameBarService] " + expected[0];
      ASSERT_TRUE(trace[0].starts_with(line)) << trace[0];
    }
    ++(expected.size() == 1 ? replaced : expected[0].starts_with("json") ? kept : broken);
  }
  // Every rule was met often.
  EXPECT_GT(kept, 1000);
  EXPECT_GT(broken, 500);
  EXPECT_GT(replaced, 1000);
}

}  // namespace
