#include <climits>
#include <ostream>
#include <string>

#include "SettingsServiceCommand.h"
#include "service_test.h"

namespace {

// The methods that answer by signal.
struct AsyncQuery {
  const char* method;
  const char* call;
  int fakes::Item::*answer;
  // The message type of the signal.
  const char* type;
  // What it logs first, and how it logs the answer.
  const char* enterLine;
  const char* answerLine;
};

constexpr AsyncQuery kAsyncQueries[] = {
    {"GetItemPathEnableAsync", "GetItemPathEnable", &fakes::Item::pathEnabled, "2",
     "I SettingsServiceCommand {method} |  Enter GetItemPathEnableAsync ",
     // An error by its priority only.
     "E SettingsServiceCommand {method} | {answer}"},
    {"GetItemVisibleAsync", "GetItemVisible", &fakes::Item::visible, "1",
     // The text of the query that answers by its reply.
     "I SettingsServiceCommand {method} |  Enter GetItemVisible ",
     "I SettingsServiceCommand {method} | {answer} "},
};

void PrintTo(const AsyncQuery& query, std::ostream* stream) { *stream << query.method; }

class Asynchronous : public CreatedServiceTest, public testing::WithParamInterface<AsyncQuery> {
 protected:
  Asynchronous() {
    Let("method", query.method);
    Let("call", query.call);
    Let("type", query.type);
    LetTheClientBe("1234", "7", "0x7");
  }

  void SetAnswer(int answer) {
    fakes::Item item;
    item.*query.answer = answer;
    fake.SetItem("x", item);
  }

  // What the client is expected to have supplied; `pointer` is the callback in the log.
  void LetTheClientBe(const std::string& pid, const std::string& callback,
                      const std::string& pointer) {
    Let("pid", pid);
    Let("callback", callback);
    Let("pointer", pointer);
  }

  // The reply to a request with these members beside the method.
  std::string Ask(const std::string& members) {
    return Send("{" + members + R"(,"method":")" + query.method + "\"}");
  }

  // The trace up to the library's answer, which ends it.
  std::string Question(const std::string& menuID, const std::string& answer) const {
    return "{request}\n" + std::string(query.enterLine) + R"(\n
      I SettingsServiceCommand {method} | MenuID = )" +
           menuID + R"(, pid = {pid}, callback {pointer}\n
      CSettingsItemInfoAPI::{call}(")" +
           menuID + "\")" + answer + "\n";
  }

  std::string AnswerLine() const { return std::string(query.answerLine) + "\\n\n"; }

  // The trace of a question that was answered and signalled.
  void ExpectSignalled(const std::string& menuID, int answer, bool result,
                       fakes::Place where = fakes::Place::Current()) {
    Let("answer", std::to_string(answer));
    ExpectTrace(Question(menuID, " -> {answer}") + AnswerLine() + R"(
      I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal+\n
      SendSignal("settings_service", "settings_service_signal", {type}, {"callback":{callback},"menuID":")" +
                    menuID + R"(","pid":{pid},"return_data":)" + (result ? "true" : "false") +
                    R"(}) -> true
      I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal-\n
    )",
                where);
  }

  // The trace of a request that was not understood.
  void ExpectIllTyped(const std::string& exception, fakes::Place where = fakes::Place::Current()) {
    Let("exception", exception);
    ExpectTrace("{request}\n" + std::string(query.enterLine) + R"(\n
      E SettingsServiceCommand {method} | Exception occured! [{exception}]\n
    )",
                where);
  }

  static constexpr char kMembers[] = R"("callback":7,"data":{"menuID":"x"},"pid":1234)";

  const AsyncQuery query = GetParam();
};

INSTANTIATE_TEST_SUITE_P(Method, Asynchronous, testing::ValuesIn(kAsyncQueries),
                         [](const auto& info) { return info.param.method; });

TEST_P(Asynchronous, SignalsYesForEveryAnswerButZeroAndTheFailure) {
  for (const int answer : {INT_MIN, -2, 1, 2, INT_MAX}) {
    SetAnswer(answer);
    EXPECT_EQ(Ask(kMembers), kNoResult);
    ExpectSignalled("x", answer, true);
  }
}

TEST_P(Asynchronous, SignalsNoForZeroAndLikewiseForTheFailure) {
  for (const int answer : {0, -1}) {
    SetAnswer(answer);
    EXPECT_EQ(Ask(kMembers), kNoResult);
    ExpectSignalled("x", answer, false);
  }
}

TEST_P(Asynchronous, EchoesWhatTheClientSupplied) {
  SetAnswer(1);
  LetTheClientBe("-1", "2147483647", "0x7fffffff");
  EXPECT_EQ(Ask(R"("callback":2147483647,"data":{"menuID":"x"},"pid":-1)"), kNoResult);
  ExpectSignalled("x", 1, true);
}

TEST_P(Asynchronous, EchoesANegativeCallbackAndLogsItAsThePointerWithItsSign) {
  SetAnswer(1);
  LetTheClientBe("1234", "-7", "0x" + std::string(2 * sizeof(void*) - 1, 'f') + "9");
  EXPECT_EQ(Ask(R"("callback":-7,"data":{"menuID":"x"},"pid":1234)"), kNoResult);
  ExpectSignalled("x", 1, true);
}

TEST_P(Asynchronous, SignalsAnIdentifierWithAZeroWholeThoughTheLibrarySeesItCut) {
  SetAnswer(1);
  Let("answer", "1");
  EXPECT_EQ(Ask(R"("callback":7,"data":{"menuID":"x\u0000y"},"pid":1234)"), kNoResult);
  ExpectTrace(Question("x", " -> {answer}") + AnswerLine() + R"(
    I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal+\n
    SendSignal("settings_service", "settings_service_signal", {type}, {"callback":7,"menuID":"x\u0000y","pid":1234,"return_data":true}) -> true
    I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal-\n
  )");
}

TEST_P(Asynchronous, TakesAMissingClientForZero) {
  SetAnswer(1);
  LetTheClientBe("0", "0", "(nil)");
  for (const char* members :
       {R"("data":{"menuID":"x"})", R"("callback":null,"data":{"menuID":"x"},"pid":null)",
        // Not where they belong.
        R"("data":{"callback":7,"menuID":"x","pid":1234})"}) {
    SCOPED_TRACE(members);
    EXPECT_EQ(Ask(members), kNoResult);
    ExpectSignalled("x", 1, true);
  }
  LetTheClientBe("0", "7", "0x7");
  EXPECT_EQ(Ask(R"("callback":7,"data":{"menuID":"x"})"), kNoResult);
  ExpectSignalled("x", 1, true);
}

TEST_P(Asynchronous, TakesWhatIsConvertible) {
  fake.SetItem("17", {});
  LetTheClientBe("12", "1", "0x1");
  EXPECT_EQ(Ask(R"("callback":true,"data":{"menuID":17},"pid":12.9)"), kNoResult);
  ExpectSignalled("17", 1, true);
}

TEST_P(Asynchronous, SignalsNothingForAClientThatIsNoNumber) {
  for (const char* number : {R"("7")", R"("")", "{}", "[7]"}) {
    SCOPED_TRACE(number);
    EXPECT_EQ(Ask(R"("callback":7,"data":{"menuID":"x"},"pid":)" + std::string(number)), kNoResult);
    ExpectIllTyped("Value is not convertible to Int.");
    EXPECT_EQ(Ask(R"("pid":1234,"data":{"menuID":"x"},"callback":)" + std::string(number)),
              kNoResult);
    ExpectIllTyped("Value is not convertible to Int.");
  }
}

TEST_P(Asynchronous, SignalsNothingForAClientThatIsTooLarge) {
  EXPECT_EQ(Ask(R"("callback":7,"data":{"menuID":"x"},"pid":2147483648)"), kNoResult);
  ExpectIllTyped("LargestInt out of Int range");
  EXPECT_EQ(Ask(R"("callback":1e10,"data":{"menuID":"x"},"pid":1234)"), kNoResult);
  ExpectIllTyped("double out of Int range");
}

TEST_P(Asynchronous, CatchesAJsonExceptionOfTheSignalToo) {
  SetAnswer(1);
  Let("answer", "1");
  fake.Fail("SendSignal", {.exception = JsonException()});
  EXPECT_EQ(Ask(kMembers), kNoResult);
  ExpectTrace(Question("x", " -> {answer}") + AnswerLine() + R"(
    I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal+\n
    SendSignal("settings_service", "settings_service_signal", {type}, {"callback":7,"menuID":"x","pid":1234,"return_data":true}) throws
    E SettingsServiceCommand {method} | Exception occured! [broken]\n
  )");
}

TEST_P(Asynchronous, SignalsOnceThoughTheSignalCannotBeSent) {
  SetAnswer(1);
  Let("answer", "1");
  fake.Fail("SendSignal");
  EXPECT_EQ(Ask(kMembers), kNoResult);
  ExpectTrace(Question("x", " -> {answer}") + AnswerLine() + R"(
    I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal+\n
    SendSignal("settings_service", "settings_service_signal", {type}, {"callback":7,"menuID":"x","pid":1234,"return_data":true}) -> false
    I SettingsServiceCommand m_AsyncAPISendSignal | m_AsyncAPISendSignal-\n
  )");
}

class PathEnableAsyncHandler : public fakes::FakePlatformTest {};

TEST_F(PathEnableAsyncHandler, LeavesTheReplyThatItIsGivenAlone) {
  for (const char* body : {R"({"data":{"menuID":"x"}})", R"({"data":"ill-typed"})"}) {
    Nuvra::TCMessage request;
    request.body = Parsed(body);
    Nuvra::TCMessage reply;
    reply.type = 5;
    reply.body["return_data"] = "old";
    SettingsServiceCommand::GetItemPathEnableAsync(request, reply);
    EXPECT_EQ(Text(reply.body), R"({"return_data":"old"})");
    EXPECT_EQ(reply.type, 5);
  }
}

}  // namespace
