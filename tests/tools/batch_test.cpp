#include "settings/batch.h"

#include <signal.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include "fixture.h"
#include "support/wait.h"

namespace {

using namespace std::chrono_literals;
using settings::Answer;
using settings::Batch;
using settings::Client;
using settings::ErrorCode;
using settings::Question;
using settings::Reply;
using testing::Optional;

using MaybeText = std::optional<std::string>;

// A question that is answered with the reply as it is.
Question<std::string> Raw(const std::string& method, const Json::Value& data = Json::objectValue) {
  return {method, data, [](const std::string&, const Reply& reply) { return reply.text; }};
}

Json::Value Data(const char* name, const Json::Value& value) {
  Json::Value data;
  data[name] = value;
  return data;
}

template <typename Ask>
ErrorCode CodeOf(Ask ask) {
  try {
    ask();
  } catch (const settings::Error& error) {
    return error.Code();
  }
  throw std::logic_error("no error came");
}

template <typename T>
ErrorCode ErrorOf(const Answer<T>& answer) {
  return CodeOf([&] { answer.Get(); });
}

// By waiting and without, of a service that knows lists and of one that does not.
struct Way {
  bool waits;
  bool knowsLists;
};

class BatchTest : public OnBus, public testing::WithParamInterface<Way> {
 protected:
  BatchTest() {
    StartService();
    if (!GetParam().knowsLists) {
      m_Client.Call("ForgetLists");
    }
  }

  void Ask(Batch& batch) { AskOf(batch, m_Client); }

  static void AskOf(Batch& batch, Client& client) {
    if (GetParam().waits) {
      batch.Ask();
      return;
    }
    bool done = false;
    batch.Send([&] { done = true; });
    ASSERT_TRUE(client.RunUntil([&] { return done; }, support::kPatience));
  }

  int Messages() { return m_Client.Call("Messages").body["messages"].asInt(); }

  Client m_Client{m_Bus.Address(), support::kPatience};
  Batch m_Batch{m_Client};
};

INSTANTIATE_TEST_SUITE_P(Ways, BatchTest,
                         testing::Values(Way{true, true}, Way{false, true}, Way{true, false},
                                         Way{false, false}),
                         [](const auto& info) {
                           return std::string(info.param.waits ? "Waiting" : "NotWaiting") +
                                  (info.param.knowsLists ? "ByLists" : "OneByOne");
                         });

TEST_P(BatchTest, EveryQuestionHasItsTypedAnswer) {
  const auto value = m_Batch.Add(settings::ask::GetItemValue("picturemode"));
  const auto unknown = m_Batch.Add(settings::ask::GetItemValue("nosuchitem"));
  const auto set = m_Batch.Add(settings::ask::SetItemValue("brightness", "30"));
  const auto later = m_Batch.Add(settings::ask::GetItemValue("brightness"));
  const auto visible = m_Batch.Add(settings::ask::GetItemVisible("expert"));
  const auto children = m_Batch.Add(settings::ask::GetItemChildList("picture"));
  const auto range = m_Batch.Add(settings::ask::GetItemMinMaxStepValue("brightness"));
  Ask(m_Batch);
  EXPECT_EQ(value.Get(), "standard");
  EXPECT_EQ(unknown.Get(), std::nullopt);
  EXPECT_TRUE(set.Get());
  EXPECT_EQ(later.Get(), "30");
  EXPECT_EQ(visible.Get(), false);
  EXPECT_THAT(children.Get(), Optional(std::vector<std::string>{"picturemode", "expert"}));
  EXPECT_EQ(range.Get().value_or(settings::Range()).max, 50);
}

TEST_P(BatchTest, AnErrorIsThatOfItsQuestionAlone) {
  const auto before = m_Batch.Add(settings::ask::GetItemValue("picturemode"));
  const auto failed = m_Batch.Add(Raw("Error", Data("name", "org.nuvra.Error.Failed")));
  const auto invalid = m_Batch.Add(Raw("Error", Data("name", "org.nuvra.Error.InvalidMessage")));
  const auto refused =
      m_Batch.Add(Raw("Error", Data("name", "org.freedesktop.DBus.Error.AccessDenied")));
  const auto garbage = m_Batch.Add(Raw("Garbage", Data("reply", "no JSON")));
  const auto stranger = m_Batch.Add(settings::ask::GetItemValue("\xc3("));
  const auto missing = m_Batch.Add(
      Question<MaybeText>{"NoSuchMethod", Json::objectValue, settings::ask::GetItemValue("").read});
  const auto behind = m_Batch.Add(settings::ask::GetItemValue("brightness"));
  Ask(m_Batch);
  EXPECT_EQ(before.Get(), "standard");
  EXPECT_EQ(ErrorOf(failed), ErrorCode::kFailed);
  EXPECT_EQ(ErrorOf(invalid), ErrorCode::kInvalidMessage);
  EXPECT_EQ(ErrorOf(refused), ErrorCode::kNotAllowed);
  EXPECT_EQ(ErrorOf(garbage), ErrorCode::kProtocol);
  EXPECT_EQ(ErrorOf(stranger), ErrorCode::kInvalidMessage);
  EXPECT_EQ(ErrorOf(missing), ErrorCode::kProtocol);
  EXPECT_EQ(behind.Get(), "25");
}

TEST_P(BatchTest, AnAnswerIsNotThereBeforeItIsAskedFor) {
  const auto answer = m_Batch.Add(settings::ask::GetItemValue("picturemode"));
  EXPECT_FALSE(answer.IsThere());
  EXPECT_THROW(answer.Get(), std::logic_error);
  Ask(m_Batch);
  EXPECT_TRUE(answer.IsThere());
}

TEST_P(BatchTest, QuestionsOfAnyNumberTravelInFewMessages) {
  constexpr int kQuestions = 2000;
  std::vector<Answer<std::string>> answers;
  for (int i = 0; i < kQuestions; ++i) {
    answers.push_back(m_Batch.Add(Raw("Echo", Data("n", i))));
  }
  const int before = Messages();
  Ask(m_Batch);
  for (int i = 0; i < kQuestions; ++i) {
    ASSERT_EQ(answers[i].Get(), R"({"data":{"n":)" + std::to_string(i) + R"(},"method":"Echo"})");
  }
  const int messages = Messages() - before - 1;
  EXPECT_EQ(messages, GetParam().knowsLists ? 8 : kQuestions);
}

TEST_P(BatchTest, LongQuestionsTravelInSeveralMessages) {
  std::vector<Answer<std::string>> answers;
  const std::string text(300'000, 'x');
  for (int i = 0; i < 10; ++i) {
    answers.push_back(m_Batch.Add(Raw("Echo", Data("x", text))));
  }
  answers.push_back(m_Batch.Add(Raw("Echo", Data("x", text + text + text + text + text))));
  Ask(m_Batch);
  for (const Answer<std::string>& answer : answers) {
    EXPECT_GT(answer.Get().size(), text.size());
  }
}

TEST_P(BatchTest, CanBeAskedAgainForWhatWasAddedSince) {
  const auto first = m_Batch.Add(settings::ask::GetItemValue("picturemode"));
  Ask(m_Batch);
  const int before = Messages();
  const auto second = m_Batch.Add(settings::ask::GetItemValue("brightness"));
  Ask(m_Batch);
  EXPECT_EQ(second.Get(), "25");
  EXPECT_EQ(first.Get(), "standard");
  EXPECT_EQ(Messages() - before, 2);
  Ask(m_Batch);  // nothing
}

TEST_P(BatchTest, AServiceThatEndsIsTheErrorOfAllThatItLeftUnanswered) {
  std::vector<Answer<std::string>> answers;
  answers.push_back(m_Batch.Add(Raw("Vanish")));
  answers.push_back(m_Batch.Add(Raw("Echo")));
  if (GetParam().waits) {
    EXPECT_EQ(CodeOf([&] { m_Batch.Ask(); }), ErrorCode::kNotRunning);
  } else {
    Ask(m_Batch);
  }
  for (const Answer<std::string>& answer : answers) {
    EXPECT_EQ(ErrorOf(answer), ErrorCode::kNotRunning);
  }
}

TEST_P(BatchTest, AnAnswerThatDoesNotComeInTimeIsAnError) {
  Client hurried(m_Bus.Address(), 50ms);
  Batch batch(hurried);
  std::vector<Answer<std::string>> answers;
  answers.push_back(batch.Add(Raw("Hang")));
  answers.push_back(batch.Add(Raw("Hang")));
  if (GetParam().waits) {
    EXPECT_EQ(CodeOf([&] { batch.Ask(); }), ErrorCode::kTimedOut);
  } else {
    AskOf(batch, hurried);
  }
  for (const Answer<std::string>& answer : answers) {
    EXPECT_EQ(ErrorOf(answer), ErrorCode::kTimedOut);
  }
}

TEST_P(BatchTest, ALostConnectionIsTheErrorOfAll) {
  const auto one = m_Batch.Add(settings::ask::GetItemValue("picturemode"));
  const auto two = m_Batch.Add(settings::ask::GetItemValue("brightness"));
  m_Bus.End();
  EXPECT_EQ(CodeOf([&] { Ask(m_Batch); }), ErrorCode::kBus);
  EXPECT_EQ(ErrorOf(one), ErrorCode::kBus);
  EXPECT_EQ(ErrorOf(two), ErrorCode::kBus);
}

class BatchByLists : public BatchTest {};

INSTANTIATE_TEST_SUITE_P(Ways, BatchByLists, testing::Values(Way{true, true}, Way{false, true}),
                         [](const auto& info) {
                           return std::string(info.param.waits ? "Waiting" : "NotWaiting");
                         });

TEST_P(BatchByLists, WhatIsMissingInTheAnswerIsAnError) {
  const auto one = m_Batch.Add(Raw("Echo"));
  const auto two = m_Batch.Add(Raw("Cut"));
  const auto three = m_Batch.Add(Raw("Echo"));
  Ask(m_Batch);
  EXPECT_NE(one.Get(), "");
  EXPECT_NE(two.Get(), "");
  EXPECT_EQ(ErrorOf(three), ErrorCode::kProtocol);
}

TEST_P(BatchByLists, AnAnswerOfAnotherFormIsAnError) {
  const auto one = m_Batch.Add(Raw("Echo"));
  const auto two = m_Batch.Add(Raw("OtherForm"));
  Ask(m_Batch);
  EXPECT_EQ(ErrorOf(one), ErrorCode::kProtocol);
  EXPECT_EQ(ErrorOf(two), ErrorCode::kProtocol);
}

class BatchThatIsSent : public OnBus {
 protected:
  BatchThatIsSent() { StartService(); }

  Client m_Client{m_Bus.Address(), support::kPatience};
};

TEST_F(BatchThatIsSent, DoesNotWaitForAnother) {
  Batch stuck(m_Client);
  const auto never = stuck.Add(Raw("Hang"));
  stuck.Send([] { FAIL() << "it was answered"; });
  Batch batch(m_Client);
  const auto answer = batch.Add(settings::ask::GetItemValue("picturemode"));
  bool done = false;
  batch.Send([&] { done = true; });
  ASSERT_TRUE(m_Client.RunUntil([&] { return done; }, support::kPatience));
  EXPECT_EQ(answer.Get(), "standard");
  EXPECT_FALSE(never.IsThere());
}

// Each message is left without an answer.
TEST_F(BatchThatIsSent, HasTwoMessagesOnTheWayOrOneWhileAnotherHasOrWhenTheyAreLarge) {
  const auto messages = [this] { return m_Client.Call("Messages").body["messages"].asInt(); };
  const auto askMany = [](Batch& batch, const Json::Value& data) {
    for (int i = 0; i < 2000; ++i) {
      batch.Add(Raw("Hang", data));
    }
    batch.Send([] { FAIL() << "it was answered"; });
  };
  int before = messages();
  auto first = std::make_unique<Batch>(m_Client);
  askMany(*first, Json::objectValue);
  EXPECT_EQ(messages() - before, 2 + 1);
  before = messages();
  Batch second(m_Client);
  askMany(second, Json::objectValue);
  EXPECT_EQ(messages() - before, 1 + 1);

  // What a batch that ended left with the service counts on.
  first.reset();
  before = messages();
  Batch third(m_Client);
  askMany(third, Json::objectValue);
  EXPECT_EQ(messages() - before, 1 + 1);
  Client another(m_Bus.Address(), support::kPatience);
  Batch fourth(another);
  before = messages();
  askMany(fourth, Data("x", std::string(4000, 'x')));
  another.GetItemValue("picturemode");
  EXPECT_EQ(messages() - before, 1 + 2);
}

TEST_F(BatchThatIsSent, AsksOneQuestionBehindWhatOthersLeftAndTheRestWhenThatIsAnswered) {
  const auto messages = [this] { return m_Client.Call("Messages").body["messages"].asInt(); };
  {
    Batch left(m_Client);
    for (int i = 0; i < 2000; ++i) {
      left.Add(Raw("Hang"));
    }
    left.Send([] { FAIL() << "it was answered"; });
  }
  Batch batch(m_Client);
  std::vector<Answer<std::string>> answers;
  for (int i = 0; i < 300; ++i) {
    answers.push_back(batch.Add(Raw("Echo", Data("n", i))));
  }
  const int before = messages();
  bool isDone = false;
  batch.Send([&] { isDone = true; });
  ASSERT_TRUE(m_Client.RunUntil([&] { return isDone; }, support::kPatience));
  for (int i = 0; i < 300; ++i) {
    ASSERT_EQ(answers[i].Get(), R"({"data":{"n":)" + std::to_string(i) + R"(},"method":"Echo"})");
  }
  EXPECT_EQ(messages() - before, 1 + 2 + 1);
}

TEST_F(BatchThatIsSent, AsksNothingMoreWhenAnAnswerDoesNotComeInTime) {
  const int before = m_Client.Call("Messages").body["messages"].asInt();
  Client hurried(m_Bus.Address(), 50ms);
  Batch batch(hurried);
  std::vector<Answer<std::string>> answers;
  for (int i = 0; i < 2000; ++i) {
    answers.push_back(batch.Add(Raw("Hang")));
  }
  bool isDone = false;
  batch.Send([&] { isDone = true; });
  ASSERT_TRUE(hurried.RunUntil([&] { return isDone; }, support::kPatience));
  for (const Answer<std::string>& answer : answers) {
    ASSERT_EQ(ErrorOf(answer), ErrorCode::kTimedOut);
  }
  EXPECT_EQ(m_Client.Call("Messages").body["messages"].asInt() - before, 2 + 1);
}

TEST_F(BatchThatIsSent, IsNotHeldUpByWhatWasLeftWithAServiceThatEnded) {
  {
    Batch left(m_Client);
    for (int i = 0; i < 2000; ++i) {
      left.Add(Raw("Hang"));
    }
    left.Send([] { FAIL() << "it was answered"; });
  }
  ASSERT_NO_FATAL_FAILURE(EndService());
  ASSERT_NO_FATAL_FAILURE(StartService());
  Batch batch(m_Client);
  std::vector<Answer<std::string>> answers;
  for (int i = 0; i < 300; ++i) {
    answers.push_back(batch.Add(Raw("Echo")));
  }
  bool isDone = false;
  batch.Send([&] { isDone = true; });
  ASSERT_TRUE(m_Client.RunUntil([&] { return isDone; }, support::kPatience));
  for (const Answer<std::string>& answer : answers) {
    ASSERT_NE(answer.Get(), "");
  }
  EXPECT_EQ(m_Client.Call("Messages").body["messages"].asInt(), 1 + 2 + 1);
}

// The second waits for the others, and then cannot be sent.
TEST_F(BatchThatIsSent, IsDoneAlsoWhenAnotherSendingFindsThatItCannotTravel) {
  m_Service->Process().Signal(SIGSTOP);
  Batch others(m_Client);
  for (int i = 0; i < 512; ++i) {
    others.Add(Raw("Echo"));
  }
  bool othersAreDone = false;
  others.Send([&] { othersAreDone = true; });
  Batch batch(m_Client);
  batch.Add(Raw("Hang", Json::objectValue));
  batch.Send([] { FAIL() << "it was answered"; });
  const auto unsent = batch.Add(settings::ask::GetItemValue("a\xFF"));
  bool isDone = false;
  batch.Send([&] { isDone = true; });
  m_Service->Process().Signal(SIGCONT);
  ASSERT_TRUE(m_Client.RunUntil([&] { return othersAreDone; }, support::kPatience));
  EXPECT_FALSE(isDone);
  batch.Add(Raw("Hang", Json::objectValue));
  batch.Send([] { FAIL() << "it was answered"; });
  EXPECT_TRUE(isDone);
  EXPECT_THROW(unsent.Get(), settings::Error);
}

TEST_F(BatchThatIsSent, MayAskOnAndEndWhenItIsDone) {
  auto batch = std::make_unique<Batch>(m_Client);
  const auto first = batch->Add(settings::ask::GetItemValue("picturemode"));
  std::optional<Answer<MaybeText>> second;
  batch->Send([&] {
    second = batch->Add(settings::ask::GetItemValueName("picturemode"));
    batch->Send([&] { batch.reset(); });
  });
  ASSERT_TRUE(m_Client.RunUntil([&] { return batch == nullptr; }, support::kPatience));
  EXPECT_EQ(first.Get(), "standard");
  EXPECT_EQ(second->Get(), "Standard");
}

TEST_F(BatchThatIsSent, IsForgottenWhenItEnds) {
  {
    Batch batch(m_Client);
    batch.Add(settings::ask::GetItemValue("picturemode"));
    batch.Send([] { FAIL() << "the batch is gone"; });
  }
  EXPECT_EQ(m_Client.GetItemValue("brightness"), "25");
  while (m_Client.Process()) {
  }
}

TEST_F(BatchThatIsSent, LetsWhatItsEndThrowsOut) {
  Batch batch(m_Client);
  batch.Add(settings::ask::GetItemValue("picturemode"));
  batch.Send([] { throw std::runtime_error("out of order"); });
  EXPECT_THROW(m_Client.RunUntil([] { return false; }, support::kPatience), std::runtime_error);
}

}  // namespace
