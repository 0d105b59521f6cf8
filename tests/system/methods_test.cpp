// Each method of the service, asked over the bus as any client asks.

#include <gmock/gmock.h>

#include "signal_log.h"
#include "system_test.h"

namespace {

// A question and its whole reply. What one of them stores, no other asks for.
struct Question {
  const char* name;
  const char* request;
  const char* reply;
};

std::ostream& operator<<(std::ostream& stream, const Question& question) {
  return stream << question.request;
}

#define DONE(result) R"({"call_api_success":true,"connect_server":true,"return_data":)" result "}\n"
#define FAILED(result) \
  R"({"call_api_success":false,"connect_server":true,"return_data":)" result "}\n"
#define ILL_TYPED(result) \
  R"({"call_api_success":false,"connect_server":false,"return_data":)" result "}\n"

const Question kQuestions[] = {
    {"Name", R"({"method":"GetItemDisplayName","data":{"menuID":"brightness"}})",
     DONE(R"("Brightness")")},
    {"NameOfNothing", R"({"method":"GetItemDisplayName","data":{"menuID":"nosuchitem"}})",
     FAILED(R"("")")},
    {"NameOfNoData", R"({"method":"GetItemDisplayName"})", FAILED(R"("")")},
    {"NameOfAList", R"({"method":"GetItemDisplayName","data":{"menuID":["brightness"]}})",
     ILL_TYPED("false")},
    {"PathOfAList", R"({"method":"GetItemPath","data":{"menuID":["brightness"]}})",
     ILL_TYPED(R"("")")},
    {"DisplayID", R"({"method":"GetItemDisplayID","data":{"menuID":"brightness"}})",
     DONE(R"("MENU_BRIGHTNESS")")},
    {"DisplayIDOfNothing", R"({"method":"GetItemDisplayID","data":{"menuID":""}})",
     FAILED(R"("")")},
    {"Enable", R"({"method":"GetItemEnable","data":{"menuID":"brightness"}})", DONE("true")},
    {"EnableOfAGreyedOutItem", R"({"method":"GetItemEnable","data":{"menuID":"gamepicture"}})",
     DONE("false")},
    {"EnableOfNothing", R"({"method":"GetItemEnable","data":{"menuID":"nosuchitem"}})",
     FAILED("false")},
    {"EnableOfAnObject", R"({"method":"GetItemEnable","data":{"menuID":{}}})", ILL_TYPED("false")},
    {"Visible", R"({"method":"GetItemVisible","data":{"menuID":"brightness"}})", DONE("true")},
    {"VisibleOfAHiddenItem", R"({"method":"GetItemVisible","data":{"menuID":"hdmiblacklevel"}})",
     DONE("false")},
    {"VisibleOfNothing", R"({"method":"GetItemVisible","data":{"menuID":"nosuchitem"}})",
     FAILED("false")},
    {"PathEnable", R"({"method":"GetItemPathEnable","data":{"menuID":"redgain"}})", DONE("true")},
    {"PathEnableBelowAGreyedOutGroup",
     R"({"method":"GetItemPathEnable","data":{"menuID":"gamemotion"}})", DONE("false")},
    {"PathVisible", R"({"method":"GetItemPathVisible","data":{"menuID":"redgain"}})", DONE("true")},
    {"PathVisibleOfAHiddenItem",
     R"({"method":"GetItemPathVisible","data":{"menuID":"hdmiblacklevel"}})", DONE("false")},
    {"Value", R"({"method":"GetItemValue","data":{"menuID":"hlgsystemgamma"}})", DONE(R"("1.20")")},
    {"ValueOfAList", R"({"method":"GetItemValue","data":{"menuID":["brightness"]}})",
     ILL_TYPED(R"("")")},
    {"ValueOfAGroup", R"({"method":"GetItemValue","data":{"menuID":"picture"}})", FAILED(R"("")")},
    {"ValueName", R"({"method":"GetItemValueName","data":{"menuID":"sounddelay"}})",
     DONE(R"("0 ms")")},
    {"SetValue",
     R"({"method":"SetItemValue","data":{"menuID":"tint","Value":"-15","PreViewFlag":false}})",
     DONE("true")},
    {"SetValueOutsideTheRange",
     R"({"method":"SetItemValue","data":{"menuID":"tint","Value":"-16","PreViewFlag":false}})",
     FAILED("false")},
    {"SetValueOutsideTheList",
     R"({"method":"SetItemValue","data":{"menuID":"picturemode","Value":"sepia"}})",
     FAILED("false")},
    {"SetValueWithAnIllTypedFlag",
     R"({"method":"SetItemValue","data":{"menuID":"tint","Value":"3","PreViewFlag":"yes"}})",
     ILL_TYPED("false")},
    {"Children", R"({"method":"GetItemChildList","data":{"menuID":"bluelightsettings"}})",
     DONE(R"("[\"bluelight\",\"bluelightschedule\",\"bluelightwarmth\"]")")},
    {"ChildrenOfALeaf", R"({"method":"GetItemChildList","data":{"menuID":"brightness"}})",
     FAILED(R"("")")},
    {"Values", R"({"method":"GetItemDataList","data":{"menuID":"picturemode"}})",
     DONE(R"("[\"dynamic\",\"standard\",\"movie\",\"filmmaker\"]")")},
    {"ValuesOfARange", R"({"method":"GetItemDataList","data":{"menuID":"brightness"}})",
     FAILED(R"("")")},
    {"ValueEnable",
     R"({"method":"GetItemDataEnable","data":{"menuID":"picturemode","Value":"movie"}})",
     DONE("true")},
    {"ValueEnableOfNoValue",
     R"({"method":"GetItemDataEnable","data":{"menuID":"picturemode","Value":"sepia"}})",
     FAILED("false")},
    {"ValueVisible",
     R"({"method":"GetItemDataVisible","data":{"menuID":"picturemode","Value":"filmmaker"}})",
     DONE("true")},
    {"ValueVisibleOnAnotherSource",
     R"({"method":"GetItemDataVisible","data":{"menuID":"aspectratio","Value":"original"}})",
     DONE("false")},
    {"Path", R"({"method":"GetItemPath","data":{"menuID":"redgain"}})",
     DONE(R"("picture/expertsettings/whitebalance/twopoint/redgain")")},
    {"PathOfNothing", R"({"method":"GetItemPath","data":{"menuID":"nosuchitem"}})",
     FAILED(R"("")")},
    {"Range", R"({"method":"GetItemMinMaxStepValue","data":{"menuID":"hlgsystemgamma"}})",
     R"({"call_api_success":true,"connect_server":true,"return_data":"","return_max":1.5,)"
     R"("return_min":1.0,"return_step":0.05})"
     "\n"},
    {"RangeOfAList", R"({"method":"GetItemMinMaxStepValue","data":{"menuID":"picturemode"}})",
     R"({"call_api_success":false,"connect_server":true,"return_data":"","return_max":0,)"
     R"("return_min":0,"return_step":0})"
     "\n"},
    {"IsEnabled", R"({"method":"IsItemEnabled","data":{"menuID":"brightness"}})", DONE("true")},
    {"Disablers", R"({"method":"GetDisablerAppNamesByMenuId","data":{"menuID":"brightness"}})",
     DONE(R"("[]\n")")},
    {"DisabledItems", R"({"method":"GetDisabledItemsList"})", DONE(R"("[]\n")")},
    {"AnAsynchronousQuestion", R"({"method":"GetItemVisibleAsync","data":{"menuID":"brightness"}})",
     "{\"return_data\":\"\"}\n"},
    {"AnUnknownMethod", R"({"method":"NoSuchMethod"})", "{\"return_data\":\"\"}\n"},
    {"NoMethod", "{}", "{\"return_data\":\"\"}\n"},
};

class Methods : public SharedSetTest, public testing::WithParamInterface<Question> {};

TEST_P(Methods, AnswerExactlyThis) { EXPECT_EQ(Request(GetParam().request), GetParam().reply); }

INSTANTIATE_TEST_SUITE_P(Of, Methods, testing::ValuesIn(kQuestions),
                         [](const auto& info) { return std::string(info.param.name); });

class Signals : public SharedSetTest {
 protected:
  SignalLog m_Signals{m_Set};
};

TEST_F(Signals, AnswerAsynchronousQuestionsWithWhatTheAskerCalledThem) {
  EXPECT_EQ(Request(R"({"method":"GetItemVisibleAsync","data":{"menuID":"hdmiblacklevel"},)"
                    R"("pid":4711,"callback":7})"),
            "{\"return_data\":\"\"}\n");
  EXPECT_EQ(Request(R"({"method":"GetItemPathEnableAsync","data":{"menuID":"redgain"},)"
                    R"("pid":4712,"callback":8})"),
            "{\"return_data\":\"\"}\n");
  EXPECT_EQ(m_Signals.Take(2),
            (std::vector<std::string>{
                R"(1 {"callback":7,"menuID":"hdmiblacklevel","pid":4711,"return_data":false})",
                R"(2 {"callback":8,"menuID":"redgain","pid":4712,"return_data":true})",
            }));
}

TEST_F(Signals, TellEachChangeOfADisabledItemOnce) {
  const std::string empty = "{\"return_data\":\"\"}\n";
  EXPECT_EQ(Request(R"({"method":"DisableItem","data":{"menuID":"tint","appName":"org.a"}})"),
            empty);
  EXPECT_EQ(Request(R"({"method":"DisableItem","data":{"menuID":"tint","appName":"org.a"}})"),
            empty);
  EXPECT_EQ(Request(R"({"method":"DisableItem","data":{"menuID":"nosuchitem","appName":"org.a"}})"),
            empty);
  EXPECT_EQ(Request(R"({"method":"DisableItemsByList",)"
                    R"("data":{"menuIDList":["tint","colour","nosuchitem"],"appName":"org.b"}})"),
            empty);
  EXPECT_EQ(Request(R"({"method":"IsItemEnabled","data":{"menuID":"tint"}})"), DONE("false"));
  EXPECT_EQ(Request(R"({"method":"GetItemEnable","data":{"menuID":"tint"}})"), DONE("false"));
  EXPECT_EQ(Request(R"({"method":"GetDisablerAppNamesByMenuId","data":{"menuID":"tint"}})"),
            DONE(R"("[\n\t\"org.a\",\n\t\"org.b\"\n]\n")"));
  EXPECT_EQ(Request(R"({"method":"GetDisabledItemsList"})"),
            DONE(R"("[\n\t\"colour\",\n\t\"tint\"\n]\n")"));
  EXPECT_EQ(Request(R"({"method":"RemoveDisabledItemsByAppname","data":{"appName":"org.b"}})"),
            empty);
  EXPECT_EQ(Request(R"({"method":"EnableItem","data":{"menuID":"tint","appName":"org.b"}})"),
            empty);
  EXPECT_EQ(Request(R"({"method":"EnableItem","data":{"menuID":"tint","appName":"org.a"}})"),
            empty);
  EXPECT_EQ(m_Signals.TakeAll(), (std::vector<std::string>{
                                     R"(3 {"menuIDList":["tint"],"status":0})",
                                     R"(3 {"menuIDList":["colour"],"status":0})",
                                     R"(3 {"menuIDList":["colour"],"status":1})",
                                     R"(3 {"menuIDList":["tint"],"status":1})",
                                 }));
}

}  // namespace
