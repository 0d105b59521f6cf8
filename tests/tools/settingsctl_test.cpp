#include <json/json.h>
#include <signal.h>

#include "base/json.h"
#include "fixture.h"
#include "settingsctl/methods.h"
#include "text.h"

namespace {

using namespace std::string_literals;
using support::Outcome;
using support::ReadFile;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

void ExpectFailure(const Outcome& outcome, int status, const std::string& message) {
  ExpectFailureOf("settingsctl", outcome, status, message);
}

class Settingsctl : public OnBus {
 protected:
  using OnBus::OnBus;
  void SetUp() override { ASSERT_NO_FATAL_FAILURE(StartService()); }
};

TEST_F(Settingsctl, GetPrintsTheValueAndItsName) {
  ExpectOutput(Run({"get", "picturemode"}), "standard (Standard)\n");
  ExpectOutput(Run({"get", "brightness"}), "25\n");
  ExpectOutput(Run({"get", "greeting"}), "grüße (Grüße)\n");
}

TEST_F(Settingsctl, GetPrintsJsonOnRequest) {
  ExpectOutput(Run({"get", "picturemode", "--json"}),
               "{\"item\":\"picturemode\",\"value\":\"standard\",\"name\":\"Standard\"}\n");
}

TEST_F(Settingsctl, GetOfSeveralItemsPrintsALineForEach) {
  ExpectOutput(Run({"get", "picturemode", "nameless", "brightness"}),
               "picturemode: standard (Standard)\n"
               "nameless: bare\n"
               "brightness: 25\n");
  ExpectOutput(Run({"get", "brightness", "picturemode", "--json"}),
               "{\"item\":\"brightness\",\"value\":\"25\",\"name\":\"25\"}\n"
               "{\"item\":\"picturemode\",\"value\":\"standard\",\"name\":\"Standard\"}\n");
  for (const char* form : {"--json", "--raw", "--timeout=5"}) {
    ExpectFailure(Run({"get", "brightness", "nosuchitem", "picturemode", form}), 10,
                  "no item \"nosuchitem\"");
  }
}

TEST_F(Settingsctl, ARawValueIsPrintedAsItIs) {
  ExpectOutput(Run({"get", "picturemode", "--raw"}), "standard\n");
  ExpectOutput(Run({"get", "brightness", "--raw", "greeting"}), "25\ngrüße\n");
  ExpectOutput(Run({"get", "--raw", "hostile"}), "a\x1b[2Jb\nc\xc2\x9b\n");
  ExpectFailure(Run({"get", "brightness", "--raw", "--json"}), 2, "--raw and --json");
}

TEST_F(Settingsctl, AValueCannotDisturbATerminal) {
  ExpectOutput(Run({"get", "hostile"}), "a\\x1b[2Jb\\nc\\xc2\\x9b (\\x07Bell)\n");
}

TEST_F(Settingsctl, ARawReplyHidesNothingFromWhoReadsItOnATerminal) {
  ExpectOutput(Run({"request", "{\"method\":\"Echo\",\"a\":\"b\u202Ec\u009Bd 게임\"}"}),
               "{\"method\":\"Echo\",\"a\":\"b\\u202ec\\u009bd 게임\"}\n");
}

TEST_F(Settingsctl, OptionsMayStandBeforeAndBehindTheVerb) {
  const std::string expected = Run({"--json", "get", "brightness"}).out;
  EXPECT_EQ(expected, "{\"item\":\"brightness\",\"value\":\"25\",\"name\":\"25\"}\n");
  EXPECT_EQ(Run({"get", "--json", "brightness"}).out, expected);
  EXPECT_EQ(Run({"--timeout=9.5", "get", "--json", "brightness", "--bus", "session"}).out,
            expected);
}

TEST_F(Settingsctl, TheBusMayBeGivenByItsAddress) {
  const Outcome outcome =
      support::RunCommand(Command({"get", "brightness", "--bus", m_Bus.Address()}),
                          {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nobody/here"}});
  ExpectOutput(outcome, "25\n");
}

TEST_F(Settingsctl, SetStoresSilently) {
  ExpectOutput(Run({"set", "brightness", "30"}), "");
  ExpectOutput(Run({"get", "brightness"}), "30\n");
}

TEST_F(Settingsctl, SetTellsWhatItStoredAsJson) {
  ExpectOutput(Run({"set", "brightness", "30", "--json"}),
               "{\"item\":\"brightness\",\"value\":\"30\",\"preview\":false}\n");
}

TEST_F(Settingsctl, APreviewIsNotKept) {
  ExpectOutput(Run({"set", "brightness", "30", "--preview", "--json"}),
               "{\"item\":\"brightness\",\"value\":\"30\",\"preview\":true}\n");
  ExpectOutput(Run({"get", "brightness"}), "25\n");
}

TEST_F(Settingsctl, UnusualValuesArriveAsTheyWereTyped) {
  for (const std::string value :
       {"get", "set", "-5", "-5.5", "[1,2]", "{}", "%%", "", "a=b", "\xf0\x9f\x93\xba"}) {
    ExpectOutput(Run({"set", "greeting", value}), "");
    ExpectOutput(Run({"get", "greeting"}), value + "\n");
  }
  for (const std::string value : {"-x", "--json", "++", "--"}) {
    ExpectOutput(Run({"set", "greeting", "--", value}), "");
    ExpectOutput(Run({"get", "greeting"}), value + "\n");
  }
}

TEST_F(Settingsctl, TextThatIsNotUtf8IsWrongUsage) {
  ExpectFailure(Run({"set", "greeting", "\xff"}), 2, "not UTF-8");
  ExpectFailure(Run({"request", "\xff"}), 2, "not UTF-8");
}

TEST_F(Settingsctl, CallPrintsTheReplyMemberByMember) {
  ExpectOutput(Run({"call", "GetItemValue", "picturemode"}),
               "call_api_success: true\nconnect_server: true\nreturn_data: \"standard\"\n");
  ExpectOutput(Run({"call", "GetItemValue", "[boxed]", "--json"}),
               R"({"call_api_success":true,"connect_server":true,"return_data":"held"})"
               "\n");
}

TEST_F(Settingsctl, CallPutsItsArgumentsWhereTheyBelong) {
  Background monitor(Command({"monitor", "--count", "2"}), Variables());
  ASSERT_TRUE(monitor.WaitForErr("listening…\n"));
  EXPECT_EQ(Run({"call", "GetItemVisibleAsync", "brightness", "pid=3", "callback=4"}).status, 0);
  EXPECT_EQ(monitor.Process().Wait(), 0);
  EXPECT_THAT(monitor.Out(), HasSubstr(R"({"callback":4,"menuID":"brightness","pid":3,)"));
  EXPECT_EQ(Run({"call", "SetItemValue", "brightness", "Value=5", "PreViewFlag:=true"}).status, 0);
  ExpectOutput(Run({"get", "brightness"}), "25\n");
  EXPECT_EQ(Run({"call", "SetItemValue", "menuID=brightness", "Value=5"}).status, 0);
  ExpectOutput(Run({"get", "brightness"}), "5\n");
}

TEST_F(Settingsctl, CallTakesAPathForItsItem) {
  const std::string reply = Run({"call", "GetItemValue", "brightness"}).out;
  ExpectOutput(Run({"call", "GetItemValue", "picture/expert/brightness"}), reply);
  const Outcome outcome = Run({"call", "GetItemValue", "picture/expert/brigthness"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err,
            "settingsctl: no item \"picture/expert/brigthness\"; nearest: "
            "picture/expert/brightness\n");
}

TEST_F(Settingsctl, CallRefusesAnUnknownMethodOrParameterWithTheNearest) {
  const std::pair<std::vector<std::string>, std::string> lines[] = {
      {{"GetItemVal", "brightness"},
       "no method \"GetItemVal\"; nearest: GetItemValue, SetItemValue, GetItemPath\n"},
      {{"getitemvalue", "brightness"}, "no method \"getitemvalue\"; nearest: GetItemValue, "},
      {{"Frobnicate"}, "no method \"Frobnicate\"; settingsctl help call lists all\n"},
      {{"SetItemValue", "brightness", "Valu=5"}, "no parameter \"Valu\"; nearest: Value\n"},
      {{"SetItemValue", "brightness", "app=5"},
       "no parameter \"app\"; SetItemValue takes menuID, Value, PreViewFlag\n"},
      {{"GetItemValue", "brightness", "pid=5"},
       "no parameter \"pid\"; GetItemValue takes menuID\n"},
      {{"GetDisabledItemsList", "brightness"},
       "no parameter \"menuID\"; GetDisabledItemsList takes none\n"},
  };
  for (auto [line, problem] : lines) {
    SCOPED_TRACE(testing::PrintToString(line));
    line.insert(line.begin(), "call");
    ExpectFailure(Run(line), 2, "settingsctl: " + problem);
  }
}

TEST_F(Settingsctl, CallKnowsEveryMethodOfTheService) {
  for (const settingsctl::Method& method : settingsctl::Methods()) {
    std::vector<std::string> line = {"call", method.name};
    for (const std::string& parameter : method.parameters) {
      line.push_back(parameter + (parameter == "menuIDList"    ? ":=[\"brightness\"]"
                                  : parameter == "PreViewFlag" ? ":=false"
                                  : parameter == "menuID"      ? "=brightness"
                                                               : "=5"));
    }
    const Outcome outcome = Run(line);
    EXPECT_THAT(outcome.status, testing::AnyOf(0, 1)) << outcome.err;
    EXPECT_THAT(outcome.err, testing::Not(HasSubstr("no method"))) << method.name;
    EXPECT_EQ(method.answersBySignal, outcome.out == "return_data: \"\"\n") << method.name;
  }
  EXPECT_EQ(settingsctl::Methods().size(), 24u);
}

TEST_F(Settingsctl, TheHelpOfCallListsAllMethods) {
  const std::string help = Run({"help", "call"}).out;
  EXPECT_THAT(help, HasSubstr("\nMethods:\n  GetItemDisplayName            menuID\n"));
  EXPECT_THAT(help, HasSubstr("\n  GetItemVisibleAsync           menuID, pid, callback\n"));
  for (const settingsctl::Method& method : settingsctl::Methods()) {
    EXPECT_THAT(help, testing::ContainsRegex("\n  " + method.name + "( +[a-zA-Z, ]+)?\n"));
  }
}

TEST_F(Settingsctl, CallOfWhatTheLibraryRefusesPrintsTheReplyAndEndsWith1) {
  const Outcome outcome = Run({"call", "GetItemValue", "nosuchitem"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "call_api_success: false\nconnect_server: true\nreturn_data: \"\"\n");
  EXPECT_EQ(outcome.err, "settingsctl: no item \"nosuchitem\"; settingsctl tree shows all\n");
  EXPECT_EQ(Run({"call", "GetItemValue", "nosuchitem", "--json"}).status, 1);
}

TEST_F(Settingsctl, CallSaysWhyTheLibraryRefused) {
  const std::pair<std::vector<std::string>, std::string> lines[] = {
      {{"GetItemValue", "brigthness"}, "no item \"brigthness\"; nearest: brightness"},
      {{"GetItemValue"}, "no item \"\"; settingsctl tree shows all"},
      {{"GetItemValue", "picture"}, "\"picture\" is a group, it has no value"},
      {{"GetItemChildList", "brightness"}, "\"brightness\" has nothing for GetItemChildList"},
      {{"GetItemDataVisible", "picturemode"}, "\"picturemode\" takes standard, movie"},
      {{"SetItemValue", "brightness", "Value=refused"},
       "\"brightness\" takes -0.5 to 50, step 0.5"},
  };
  for (auto [line, problem] : lines) {
    SCOPED_TRACE(testing::PrintToString(line));
    line.insert(line.begin(), "call");
    const Outcome outcome = Run(line);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, StartsWith("call_api_success: false\n"));
    EXPECT_EQ(outcome.err, "settingsctl: " + problem + "\n");
  }
}

TEST_F(Settingsctl, CallNotesThatAReplyHasNoResult) {
  const std::vector<std::string> line = {"call", "DisableItem", "brightness", "appName=org.a.b"};
  const Outcome outcome = Run(line);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "return_data: \"\"\n");
  EXPECT_EQ(outcome.err,
            "The reply has no result: \"DisableItem\" answers by signal (settingsctl monitor).\n");
  std::vector<std::string> asJson = line;
  asJson.push_back("--json");
  ExpectOutput(Run(asJson), "{\"return_data\":\"\"}\n");
}

TEST_F(Settingsctl, CallPromisesNoSignalToAPidOrCallbackThatIsNone) {
  for (const std::string argument : {"pid=abc", "pid:=\"1\"", "callback=4294967296"}) {
    ExpectFailure(Run({"call", "GetItemVisibleAsync", "brightness", argument}), 2,
                  " is not a whole number from -2147483648 to 2147483647\n");
  }
}

TEST_F(Settingsctl, CallRefusesArgumentsThatItCannotRead) {
  ExpectFailure(Run({"call", "GetItemValue", "item", "stray"}), 2, "\"stray\"");
  ExpectFailure(Run({"call", "GetItemValue", "a:=tru"}), 2, "\"a:=tru\"");
}

TEST_F(Settingsctl, ARequestToSomethingThatIsNotTheServiceEndsWith1) {
  ExpectFailure(Request("OtherForm"), 1, "settings service's");
}

TEST_F(Settingsctl, ARequestAndItsReplyAreNotTouched) {
  const std::string request = R"({ "method" : "Echo", "x": [1,2] })";
  ExpectOutput(Run({"request", request}), request + "\n");
}

TEST_F(Settingsctl, ARequestWithTheAnswerNoIsAnswered) {
  ExpectOutput(Run({"request", R"({"method":"GetItemValue"})"}),
               R"({"call_api_success":false,"connect_server":true,"return_data":""})"
               "\n");
}

TEST_F(Settingsctl, AnErrorReplyToARequestHasAnExitCodeOfItsOwn) {
  ExpectFailure(Run({"request", "[]"}), 2, "no JSON object");
  const auto error = [&](const std::string& name) {
    return Run({"request", R"({"method":"Error","data":{"name":")" + name + "\"}}"});
  };
  ExpectFailure(error("org.nuvra.Error.InvalidMessage"), 2, "cannot read this request");
  ExpectFailure(error("org.nuvra.Error.Failed"), 1, "failed to handle this request");
  ExpectFailure(error("org.freedesktop.DBus.Error.AccessDenied"), 13, "does not let this user");
}

TEST_F(Settingsctl, AMissingAnswerEndsWith3) {
  ExpectFailure(Run({"--timeout", "0.2", "request", R"({"method":"Hang"})"}), 3, "--timeout");
}

TEST_F(Settingsctl, AServiceThatVanishesEndsWith8) {
  ExpectFailure(Request("Vanish"), 8, "ended before it answered");
}

TEST_F(Settingsctl, WrongUsageEndsWith2AndSaysWhatIsWrong) {
  const std::string ofGet = "; see settingsctl get --help";
  const std::string seconds = " is not a number of seconds above 0 and at most 100000000";
  const std::string steps = " is not a whole number from -2147483648 to 2147483647";
  const std::string count = " is not a whole number from 1 to 2147483647";
  const std::pair<std::vector<std::string>, std::string> lines[] = {
      {{}, "no verb given; see settingsctl --help"},
      {{"--json"}, "no verb given; see settingsctl --help"},
      {{"nosuch\x1bverb"}, "no verb \"nosuch\\x1bverb\"; see settingsctl --help"},
      {{""}, "no verb \"\"; see settingsctl --help"},
      {{"gte", "a"}, "no verb \"gte\"; nearest: get"},
      {{"--json", "gte", "--bus", "session", "get"}, "no verb \"gte\"; nearest: get"},
      {{"get"}, "ITEM is required" + ofGet},
      {{"path", "a", "b"}, "unexpected argument \"b\"; see settingsctl path --help"},
      {{"get", "a", "--nosuchoption"}, "no option \"--nosuchoption\"" + ofGet},
      {{"get", "--jsn"}, "no option \"--jsn\"; nearest: --json"},
      {{"--tiemout=5", "get", "a"}, "no option \"--tiemout\"; nearest: --timeout"},
      {{"get", "a", "-x"}, "no option \"-x\"" + ofGet},
      {{"set", "a"}, "VALUE is required; see settingsctl set --help"},
      {{"set", "a", "b", "--preview=maybe"},
       "--preview takes no value; see settingsctl set --help"},
      {{"call"}, "METHOD is required; see settingsctl call --help"},
      {{"request"}, "JSON is required; see settingsctl request --help"},
      {{"get", "a", "--bus", "elsewhere"},
       "--bus: \"elsewhere\" is no bus; use session, system or a bus address such as "
       "unix:path=/run/bus"},
      {{"get", "a", "--bus"}, "--bus needs a value, BUS" + ofGet},
      {{"get", "a", "--timeout", "0"}, "--timeout: \"0\"" + seconds},
      {{"get", "a", "--timeout", "-1"}, "--timeout: \"-1\"" + seconds},
      {{"get", "a", "--timeout", "soon"}, "--timeout: \"soon\"" + seconds},
      {{"get", "a", "--timeout", "0x10"}, "--timeout: \"0x10\"" + seconds},
      {{"get", "a", "--timeout", " 5"}, "--timeout: \" 5\"" + seconds},
      {{"get", "a", "--timeout", "+5"}, "--timeout: \"+5\"" + seconds},
      {{"get", "a", "--timeout", "1e3"}, "--timeout: \"1e3\"" + seconds},
      {{"get", "a", "--timeout", ".5"}, "--timeout: \".5\"" + seconds},
      {{"get", "a", "--timeout", "100000001"}, "--timeout: \"100000001\"" + seconds},
      {{"get", "a", "--timeout", "nan"}, "--timeout: \"nan\"" + seconds},
      {{"get", "a", "--timeout", "inf"}, "--timeout: \"inf\"" + seconds},
      {{"monitor", "--count", "0"}, "--count: \"0\"" + count},
      {{"monitor", "--count", "x"}, "--count: \"x\"" + count},
      {{"monitor", "--count", "2147483648"}, "--count: \"2147483648\"" + count},
      {{"monitor", "--count", "1", "--count", "2"},
       "--count given twice; see settingsctl monitor --help"},
      {{"step", "a", "x"}, "N: \"x\"" + steps},
      {{"step", "a", "1.5"}, "N: \"1.5\"" + steps},
      {{"step", "a", "2147483648"}, "N: \"2147483648\"" + steps},
  };
  for (const auto& [line, problem] : lines) {
    SCOPED_TRACE(testing::PrintToString(line));
    ExpectFailure(Run(line), 2, "settingsctl: " + problem + "\n");
  }
}

TEST_F(Settingsctl, AVerbOfTheOtherToolIsNamedAsSuch) {
  ExpectFailure(Run({"key", "get", "db/x", "--json"}), 2, ": key get db/x is a verb of setctl\n");
  ExpectFailure(Run({"help", "power"}), 2, ": power is a verb of setctl\n");
  ExpectFailure(Run({"key"}), 2, ": key is a group of verbs of setctl\n");
  const Outcome outcome = support::RunCommand({SETCTL, "get", "brightness"}, Variables());
  ExpectFailureOf("setctl", outcome, 2, ": get brightness is a verb of settingsctl\n");
}

TEST_F(Settingsctl, HelpAndVersionAreNoErrors) {
  const Outcome help = Run({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const char* text : {"  get ", "  set ", "  call ", "  request ", "  monitor ",
                           "Examples:", "Exit codes:", "--timeout SECONDS"}) {
    EXPECT_THAT(help.out, HasSubstr(text));
  }
  EXPECT_THAT(Run({"set", "--help"}).out, HasSubstr("--preview"));
  EXPECT_EQ(Run({"set", "--help"}).status, 0);
  const Outcome version = Run({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_THAT(version.out, MatchesRegex("settingsctl [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST_F(Settingsctl, OutputThatCannotBeWrittenIsAFailure) {
  support::TempDirectory directory;
  support::Process tool(Command({"get", "brightness"}), Variables(),
                        {"/dev/null", "/dev/full", directory / "err"});
  EXPECT_EQ(tool.Wait(), 1);
  EXPECT_THAT(ReadFile(directory / "err"), HasSubstr("No space left"));
}

TEST_F(Settingsctl, AReaderThatIsGoneIsNoFailure) {
  // The pipe's only reader has ended before the tool writes.
  const Outcome outcome = support::RunCommand(
      {"bash", "-c", "exec 3> >(exec true); wait $!; \"$0\" get brightness >&3", SETTINGSCTL},
      Variables());
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
}

class WithoutService : public OnBus {};

TEST_F(WithoutService, EveryQuestionEndsWith8AndSaysWhatToDo) {
  const std::vector<std::vector<std::string>> lines = {
      {"get", "a"}, {"set", "a", "b"}, {"call", "GetItemValue", "a"}, {"request", "{}"}};
  for (const std::vector<std::string>& line : lines) {
    SCOPED_TRACE(line[0]);
    const Outcome outcome = Run(line);
    EXPECT_EQ(outcome.status, 8);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "settingsctl: the settings service is not running on this bus; start it, e.g. with "
              "./run, or choose another bus with --bus\n");
  }
}

TEST_F(WithoutService, ABusThatIsNotThereEndsWith8) {
  ExpectFailure(Run({"get", "a", "--bus", "unix:path=/nobody/here"}), 8, "unix:path=/nobody/here");
  ExpectFailure(Run({"monitor", "--bus", "unix:path=/nobody/here"}), 8, "unix:path=/nobody/here");
}

// The bus itself denies requests to the service.
class Denied : public Settingsctl {
 protected:
  Denied()
      : Settingsctl(R"(<policy context="default"><deny send_interface="org.nuvra.Service1"
                       send_type="method_call"/></policy>)") {}
};

TEST_F(Denied, WhatTheBusDoesNotAllowEndsWith13) {
  ExpectFailure(Run({"get", "picturemode"}), 13, "does not let this user");
  ExpectFailure(Run({"request", "{}"}), 13, "does not let this user");
}

class Monitor : public OnBus {
 protected:
  using OnBus::OnBus;

  // Starts a monitor; returns when it listens.
  void StartMonitor(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "monitor");
    m_Monitor = std::make_unique<Background>(Command(arguments), Variables());
    ASSERT_TRUE(m_Monitor->WaitForErr("listening…\n"));
  }

  void Emit(int count) {
    const Outcome outcome = Request("Emit", "{\"count\":" + std::to_string(count) + "}");
    ASSERT_EQ(outcome.status, 0) << outcome.err;
  }

  bool WaitForLines(int count) const {
    return support::WaitUntil([&] { return Lines(m_Monitor->Out()) >= count; });
  }

  std::unique_ptr<Background> m_Monitor;
};

TEST_F(Monitor, EachSignalIsALineWithTimeSenderTypeAndBody) {
  StartService();
  StartMonitor({"--count", "1"});
  Emit(1);
  EXPECT_EQ(m_Monitor->Process().Wait(), 0);
  EXPECT_THAT(m_Monitor->Out(),
              MatchesRegex(kTimePattern + R"( :1\.[0-9]+ 3 \{"number":0\})"s + "\n"));
}

TEST_F(Monitor, AsJsonEachLineIsAnObject) {
  StartService();
  StartMonitor({"--json", "--count", "2"});
  Emit(2);
  EXPECT_EQ(m_Monitor->Process().Wait(), 0);
  const std::string out = m_Monitor->Out();
  ASSERT_EQ(Lines(out), 2);
  const auto last = base::TryParseJson(out.substr(out.find('\n') + 1));
  ASSERT_TRUE(last) << out;
  EXPECT_EQ((*last)["name"], "settings_service_signal");
  EXPECT_EQ((*last)["type"], 3);
  EXPECT_EQ((*last)["body"]["number"], 1);
  EXPECT_THAT((*last)["time"].asString(), MatchesRegex(kTimePattern));
  EXPECT_THAT((*last)["sender"].asString(), StartsWith(":1."));
}

TEST_F(Monitor, ASignalCannotDisturbATerminal) {
  StartService();
  StartMonitor({"--count", "1"});
  ASSERT_EQ(Request("EmitText", R"({"text":"a\u001b[2J\nb"})").status, 0);
  EXPECT_EQ(m_Monitor->Process().Wait(), 0);
  EXPECT_THAT(m_Monitor->Out(), testing::EndsWith(" 1 a\\x1b[2J\\nb\n"));
}

TEST_F(Monitor, ItEndsAfterTheGivenNumberOfSignalsEvenWhenMoreCame) {
  StartService();
  StartMonitor({"--count", "3"});
  Emit(10);
  EXPECT_EQ(m_Monitor->Process().Wait(), 0);
  EXPECT_EQ(Lines(m_Monitor->Out()), 3);
}

TEST_F(Monitor, EachLineIsThereAtOnce) {
  StartService();
  StartMonitor({});
  Emit(1);
  EXPECT_TRUE(WaitForLines(1));
  EXPECT_TRUE(m_Monitor->Process().Running());
}

TEST_F(Monitor, ItListensBeforeTheServiceRunsAndAcrossItsRestarts) {
  StartMonitor({"--count", "3"});
  StartService();
  Emit(1);
  ASSERT_TRUE(WaitForLines(1));
  EXPECT_EQ(Request("Vanish").status, 8);
  StartService();
  Emit(2);
  EXPECT_EQ(m_Monitor->Process().Wait(), 0);
  EXPECT_EQ(Lines(m_Monitor->Out()), 3);
}

TEST_F(Monitor, AfterItsTimeItEndsWith0OrWith3WhenSignalsAreMissing) {
  ExpectOutput({Run({"monitor", "--timeout", "0.05"}).status, "", ""}, "");
  const Outcome outcome = Run({"monitor", "--count", "2", "--timeout", "0.05"});
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.err,
            "listening…\n"
            "settingsctl: only 0 of 2 signals arrived in 0.05 s; wait longer with --timeout\n");
}

TEST_F(Monitor, TheTimeMayStandBeforeTheVerb) {
  EXPECT_EQ(Run({"--timeout", "0.05", "monitor"}).status, 0);
}

TEST_F(Monitor, ASteadyStreamOfSignalsDoesNotOutrunItsTime) {
  StartService();
  Background flood({"bash", "-c", "while \"$0\" request \"$1\" >/dev/null 2>&1; do :; done",
                    SETTINGSCTL, R"({"method":"Emit","data":{"count":200}})"},
                   Variables());
  EXPECT_EQ(Run({"monitor", "--timeout", "0.5"}).status, 0);
  EndService();
  EXPECT_TRUE(flood.Process().Wait());
}

TEST_F(Monitor, InterruptAndTerminationEndItRegularly) {
  for (const int signal : {SIGINT, SIGTERM}) {
    StartMonitor({"--count", "5"});
    m_Monitor->Process().Signal(signal);
    EXPECT_EQ(m_Monitor->Process().Wait(), 0);
    EXPECT_EQ(m_Monitor->Err(), "listening…\n");
  }
}

TEST_F(Monitor, TheEndOfTheBusEndsItWith8) {
  StartMonitor({});
  m_Bus.End();
  EXPECT_EQ(m_Monitor->Process().Wait(), 8);
  EXPECT_THAT(m_Monitor->Err(), HasSubstr("connection to the bus is lost"));
}

TEST_F(Monitor, ItEndsWhenNobodyReadsAnyMoreWithoutWaitingForASignal) {
  StartService();
  // The reader ends after the first line; nothing is emitted after that.
  support::TempDirectory directory;
  support::Process pipeline(
      {"bash", "-c", "\"$0\" monitor | head -n 1; exit ${PIPESTATUS[0]}", SETTINGSCTL}, Variables(),
      {"/dev/null", directory / "out", directory / "err"});
  ASSERT_TRUE(support::WaitUntil([&] { return Lines(ReadFile(directory / "err")) == 1; }));
  Emit(1);
  EXPECT_EQ(pipeline.Wait(), 0);
  EXPECT_EQ(Lines(ReadFile(directory / "out")), 1);
  EXPECT_EQ(ReadFile(directory / "err"), "listening…\n");
}

}  // namespace
