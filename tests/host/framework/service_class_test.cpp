#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <type_traits>

#include "nuvra/daemon_service.h"

namespace {

// The place of a virtual function in the table of its class, by the C++ ABI that all compilers
// for Linux follow: a pointer to a member function holds the function's offset in the table and
// a mark that it is virtual, in one of its two words.
template <typename Function>
int Slot(Function function) {
  static_assert(std::is_member_function_pointer_v<Function>);
  struct {
    std::uintptr_t offset;
    std::uintptr_t adjustment;
  } words;
  static_assert(sizeof words == sizeof function);
  std::memcpy(&words, &function, sizeof words);
  const bool markedInOffset = words.offset % 2 == 1;
  EXPECT_TRUE(markedInOffset || words.adjustment % 2 == 1) << "the function is not virtual";
  return static_cast<int>((words.offset - markedInOffset) / sizeof(void*));
}

TEST(DaemonService, HasItsHooksInTheOrderOfTheContract) {
  using Service = Nuvra::TCDaemonService;
  // Behind the two slots of the destructor.
  EXPECT_EQ(Slot(&Service::IfTransferMessage), 2);
  EXPECT_EQ(Slot(&Service::IfMessageReceived), 3);
  EXPECT_EQ(Slot(&Service::IfMessageReplied), 4);
  EXPECT_EQ(Slot(&Service::t_OnPrepare), 5);
  EXPECT_EQ(Slot(&Service::t_OnCreate), 6);
  EXPECT_EQ(Slot(&Service::t_OnService), 7);
  EXPECT_EQ(Slot(&Service::t_OnPause), 8);
  EXPECT_EQ(Slot(&Service::t_OnResume), 9);
  EXPECT_EQ(Slot(&Service::t_OnTerminate), 10);
  EXPECT_EQ(Slot(&Service::t_OnLangChanged), 11);
  EXPECT_TRUE(std::has_virtual_destructor_v<Service>);
}

TEST(DaemonService, HasTheTableOfTheApplicationAsItsPrimaryOne) {
  Nuvra::TCDaemonService service("name");
  EXPECT_EQ(static_cast<void*>(static_cast<Nuvra::TCApplication*>(&service)),
            static_cast<void*>(&service));
  EXPECT_EQ(Slot(&Nuvra::TCHandler::t_OnMEvent), 2);
  EXPECT_EQ(Slot(&Nuvra::TCHandler::t_ClearMEvent), 3);
}

TEST(DaemonService, KeepsACopyOfItsName) {
  std::string name = "some_service";
  const Nuvra::TCDaemonService service(name.c_str());
  name = "changed";
  EXPECT_EQ(service.ServiceName(), "some_service");
}

TEST(DaemonService, NeedsAName) {
  EXPECT_THROW(Nuvra::TCDaemonService(nullptr), std::invalid_argument);
  EXPECT_THROW(Nuvra::TCDaemonService(""), std::invalid_argument);
}

TEST(DaemonService, AnswersByDefaultAsAProgramThatDoesNothing) {
  Nuvra::TCDaemonService service("name");
  Nuvra::TCMessage message;
  Nuvra::TCEventIO* eventIO = nullptr;
  EXPECT_FALSE(service.IfTransferMessage("sender", &message, eventIO));
  EXPECT_EQ(eventIO, nullptr);
  EXPECT_FALSE(service.IfMessageReceived("sender", &message, &message, ""));
  EXPECT_TRUE(service.t_OnCreate());
  service.IfMessageReplied("sender", &message);
  service.t_OnPrepare();
  service.t_OnService();
  service.t_OnPause();
  service.t_OnResume();
  service.t_OnTerminate();
  service.t_OnLangChanged();
  service.t_OnMEvent(nullptr);
  service.t_ClearMEvent();
  EXPECT_EQ(message.GetMessage(), "{}");
}

}  // namespace
