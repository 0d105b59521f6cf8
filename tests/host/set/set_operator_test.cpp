#include "set/set_operator.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <thread>

#include "set/fresh_set.h"
#include "set/keys.h"
#include "set/set_error.h"
#include "set/set_operations.h"
#include "set_test.h"
#include "system/environment.h"

namespace host {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

constexpr int kTuner = 0;
constexpr int kHdmi1 = 13;
constexpr int kHdmi2 = 14;

std::vector<std::string> Keys(const Steps& steps) {
  std::vector<std::string> keys;
  for (const Step& step : steps) {
    keys.push_back(step.key);
  }
  return keys;
}

SetError::Kind KindOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const SetError& error) {
    return error.GetKind();
  }
  throw std::logic_error("it was done");
}

// As long as one lives SIGALRM is counted, which the main loop of this process leaves alone.
class Alarms {
 public:
  Alarms() : m_Before(std::signal(SIGALRM, [](int) { count = count + 1; })) { count = 0; }
  ~Alarms() { std::signal(SIGALRM, m_Before); }

  static volatile sig_atomic_t count;

 private:
  void (*m_Before)(int);
};
volatile sig_atomic_t Alarms::count = 0;

TEST_F(HostSet, AViewOfASetThatNobodyMadeIsThatOfAFreshOneAndMakesNothing) {
  std::filesystem::remove(RunDir() / "set.lock");
  const SetView view(Store());
  EXPECT_THAT(view.Sources(), SizeIs(3));
  EXPECT_EQ(view.Number(kCurrentSourceKey), kTuner);
  EXPECT_EQ(view.Number(kPreviewKey), kNoPreview);
  EXPECT_EQ(view.PictureWindow().width, 1920);
  EXPECT_EQ(view.Number(kLanguageKey), std::nullopt);
  EXPECT_THAT(Store().List(kSetPrefix), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(RunDir() / "set.lock"));
}

TEST_F(HostSet, AViewIsOfTheTimeOfTheQuestionAlsoWhileTheSetIsOperated) {
  const SetLock operating(RunDir());
  const SetView view(Store());
  Store().Set(kCurrentSourceKey, kHdmi1);
  EXPECT_EQ(view.Number(kCurrentSourceKey), kHdmi1);
  Store().Set(kCurrentSourceKey, "x");
  EXPECT_EQ(view.Number(kCurrentSourceKey), std::nullopt);
  Store().Set(kSourcesKey, "[{}]");
  EXPECT_EQ(KindOf([&] { view.Sources(); }), SetError::Kind::kUnreadable);
}

TEST_F(HostSet, StepsAreDataAndChangeNothing) {
  const SetView view(Store());
  const std::int64_t newest = Store().NewestChange(kSignalKey);
  EXPECT_THAT(Keys(SwitchTo(view, kHdmi1)),
              ElementsAre(kPreviewKey, kCurrentSourceKey, kSourceTypeKey, kSourceStateKey,
                          kSignalKey, kSignalKey, kSignalKey));
  EXPECT_THAT(Keys(AddSource(view, kHdmi1, "Console", std::nullopt)), ElementsAre(kSourcesKey));
  EXPECT_GE(GeneralReset()[1].pause, std::chrono::milliseconds(100));
  EXPECT_EQ(KindOf([&] { SwitchTo(view, 99); }), SetError::Kind::kNoSource);
  EXPECT_EQ(KindOf([&] { AddSource(view, kTuner, "x", std::nullopt); }),
            SetError::Kind::kSourceExists);
  EXPECT_EQ(Store().NewestChange(kSignalKey), newest);
}

TEST_F(HostSet, ASetIsCompleteWhenTheStepsArePlayedAndEachIsTold) {
  std::vector<KeyValue> told;
  SetOperator(Store(), RunDir())
      .Play(
          [](const SetView&) {
            return Steps{{kSignalKey, 25}, {kSignalKey, 28}};
          },
          [&](const Step& step) {
            EXPECT_EQ(Store().Get(step.key), step.value);
            told.push_back(step.value);
          });
  EXPECT_THAT(told, ElementsAre(KeyValue(25), KeyValue(28)));
  for (const auto& [key, value] : FreshSet()) {
    EXPECT_EQ(Store().Get(key), value) << key;
  }
}

TEST_F(HostSet, StepsThatCannotBeMadeLeaveTheSetAsItWas) {
  SetOperator player(Store(), RunDir());
  player.Play([](const SetView&) { return Steps(); });
  const std::int64_t newest = Store().NewestChange(kSignalKey);
  const auto toNowhere = [](const SetView& view) { return SwitchTo(view, 99); };
  EXPECT_EQ(KindOf([&] { player.Play(toNowhere); }), SetError::Kind::kNoSource);
  EXPECT_EQ(Store().NewestChange(kSignalKey), newest);
}

TEST_F(HostSet, ASignalIsTakenWhenTheLastStepIsPlayed) {
  const Alarms alarms;
  SetOperator(Store(), RunDir())
      .Play(
          [](const SetView&) {
            return Steps{{kSignalKey, 25}, {kSignalKey, 28}};
          },
          [&](const Step& step) {
            if (step.value == KeyValue(25)) {
              kill(getpid(), SIGALRM);
            }
            EXPECT_EQ(Alarms::count, 0);
          });
  EXPECT_EQ(Alarms::count, 1);
  EXPECT_EQ(Store().Get(kSignalKey), KeyValue(28));
}

TEST_F(HostSet, WhatFailsBesideTheStepsIsToldAfterTheLastAndNotTriedAgain) {
  int told = 0;
  const auto fail = [&](const Step&) {
    ++told;
    throw std::runtime_error("nobody reads");
  };
  SetOperator player(Store(), RunDir());
  const auto steps = [](const SetView&) { return Steps{{kSignalKey, 25}, {kSignalKey, 28}}; };
  EXPECT_THROW(player.Play(steps, fail), std::runtime_error);
  EXPECT_EQ(told, 1);
  EXPECT_EQ(Store().Get(kSignalKey), KeyValue(28));
  player.Play(steps);  // the lock is free again
}

TEST_F(HostSet, NobodyPlaysIntoTheStepsOfAnother) {
  constexpr int kRounds = 20;
  SetOperator(Store(), RunDir()).Play([](const SetView&) { return Steps(); });
  KeyWatcher watcher(Store());
  std::vector<std::thread> players;
  for (const int number : {100, 200, 300}) {
    players.emplace_back([number] {
      for (int round = 0; round < kRounds; ++round) {
        SetOperator(Store(), RunDir()).Play([&](const SetView&) {
          return Steps{{kSignalKey, number},
                       {kSignalKey, number + 1, std::chrono::milliseconds(1)}};
        });
      }
    });
  }
  for (std::thread& player : players) {
    player.join();
  }
  std::vector<int> played;
  for (auto some = watcher.TakeChanges(); !some.empty(); some = watcher.TakeChanges()) {
    for (const KeyChange& change : some) {
      played.push_back(std::get<int>(change.value.value()));
    }
  }
  ASSERT_THAT(played, SizeIs(3 * 2 * kRounds));
  for (std::size_t i = 0; i < played.size(); i += 2) {
    EXPECT_EQ(played[i] % 100, 0);
    EXPECT_EQ(played[i + 1], played[i] + 1);
  }
}

const Operation& Named(const std::string& name) {
  const auto found = std::find_if(Operations().begin(), Operations().end(),
                                  [&](const Operation& each) { return each.name == name; });
  if (found == Operations().end()) {
    throw std::logic_error("no operation " + name);
  }
  return *found;
}

// The first value of each parameter that has some, else one of the others.
Texts Example(const Operation& operation) {
  Texts texts;
  for (const Parameter& parameter : operation.parameters) {
    const std::vector<std::string> values = parameter.values();
    texts.emplace_back(values.empty() ? "7" : values.front());
  }
  return texts;
}

TEST(SetOperations, TakeEveryValueThatTheyNameAndRefuseOthersWithAll) {
  int refused = 0;
  for (const Operation& operation : Operations()) {
    for (std::size_t i = 0; i < operation.parameters.size(); ++i) {
      SCOPED_TRACE(operation.name + " " + operation.parameters[i].name);
      Texts texts = Example(operation);
      const std::vector<std::string> values = operation.parameters[i].values();
      for (const std::string& value : values) {
        texts[i] = value;
        EXPECT_TRUE(ReadArguments(operation, texts)[i].has_value()) << value;
      }
      texts[i] = "no such\nvalue";
      try {
        ReadArguments(operation, texts);
        ADD_FAILURE() << "it was taken";
      } catch (const SetError& error) {
        ++refused;
        EXPECT_EQ(error.GetKind(), SetError::Kind::kNotAllowed);
        EXPECT_EQ(error.Subject(), "no such\nvalue");
        for (const std::string& value : values) {
          EXPECT_THAT(error.what(), HasSubstr(value));
        }
        EXPECT_THAT(error.what(), HasSubstr(operation.parameters[i].others));
      }
    }
  }
  EXPECT_GE(refused, 20);
}

TEST(SetOperations, NeedWhatIsRequiredAndNothingElse) {
  for (const Operation& operation : Operations()) {
    for (std::size_t i = 0; i < operation.parameters.size(); ++i) {
      SCOPED_TRACE(operation.name + " " + operation.parameters[i].name);
      Texts texts = Example(operation);
      texts[i].reset();
      if (operation.parameters[i].isRequired) {
        EXPECT_EQ(KindOf([&] { ReadArguments(operation, texts); }), SetError::Kind::kMissing);
      } else {
        EXPECT_EQ(ReadArguments(operation, texts)[i], std::nullopt);
      }
    }
  }
}

TEST(SetOperations, AreDescribedAndHaveNamesOfTheirOwn) {
  std::vector<std::string> names;
  for (const Operation& operation : Operations()) {
    EXPECT_THAT(names, Each(Not(operation.name)));
    names.push_back(operation.name);
    EXPECT_NE(operation.description, "");
    for (const Parameter& parameter : operation.parameters) {
      EXPECT_NE(parameter.description, "") << operation.name;
      EXPECT_NE(parameter.noun, "") << operation.name;
      // What is neither named nor described could not be asked of anybody.
      EXPECT_FALSE(parameter.values().empty() && parameter.others.empty()) << operation.name;
    }
  }
}

TEST_F(HostSet, WhatAnOperationIsToldIsInItsSteps) {
  const SetView view(Store());
  const auto steps = [&](const std::string& name, const Texts& texts) {
    return Named(name).steps(view, ReadArguments(Named(name), texts));
  };
  EXPECT_EQ(steps("power", {"picture-off"})[0].value, KeyValue(kPowerPictureOff));
  EXPECT_EQ(steps("source switch", {"HDMI2"})[1].value, KeyValue(kHdmi2));
  EXPECT_EQ(steps("source preview", {"none"})[0].value, KeyValue(kNoPreview));
  EXPECT_EQ(steps("window", {"10", "20"})[0].value, KeyValue("[0,0,10,20]"));
  EXPECT_EQ(Keys(steps("reset", {"factory"})), std::vector<std::string>{kFactoryResetCountKey});
  EXPECT_THAT(std::get<std::string>(steps("source add", {"hdmi1", "A", std::nullopt})[0].value),
              HasSubstr(R"({"detected":"A","id":13,"name":"A"})"));
  EXPECT_THAT(std::get<std::string>(steps("source add", {"hdmi1", "A", ""})[0].value),
              HasSubstr(R"({"detected":"","id":13,"name":"A"})"));
}

}  // namespace
}  // namespace host
