// The applications of a set, operated by a program that is no tool.

#include "apps/app_operator.h"

#include <functional>
#include <stdexcept>

#include "fixture.h"

namespace {

using host::AppError;
using host::AppOperator;
using host::KeyValue;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr std::chrono::seconds kPatience(30);

class AppOperating : public Applications {
 protected:
  AppOperating() : m_Apps(m_Bus->Address(), kPatience) {}

  AppOperator m_Apps;
};

// Checks that it fails in that way, for that application or bus, and says nothing of any tool.
void ExpectError(const std::function<void()>& action, AppError::Kind kind,
                 const std::string& subject) {
  try {
    action();
    ADD_FAILURE() << "it was done";
  } catch (const AppError& error) {
    EXPECT_EQ(error.GetKind(), kind) << error.what();
    EXPECT_EQ(error.Subject(), subject);
    EXPECT_THAT(error.what(), Not(HasSubstr("setctl")));
    EXPECT_THAT(error.what(), Not(HasSubstr("--")));
  }
}

TEST_F(AppOperating, AnApplicationIsStartedBroughtToAStateAndEnded) {
  EXPECT_THAT(m_Apps.Installed(), Contains(kMenu));
  EXPECT_THAT(m_Apps.Running(), Not(Contains(kMenu)));
  m_Apps.Start(kMenu, {{"type", "a"}});
  EXPECT_EQ(Log(kMenu).at(2), "activate type=\"a\"");
  m_Apps.Enter(kMenu, "visible");
  EXPECT_EQ(Status(kMenu), KeyValue(3));
  EXPECT_THAT(m_Apps.Running(), Contains(kMenu));
  m_Apps.Stop(kMenu, false);
  EXPECT_FALSE(m_Apps.OwnerOf(kMenu).has_value());
  EXPECT_EQ(Log(kMenu).back(), "ended: SIGTERM");
}

TEST_F(AppOperating, AnErrorIsAKindWithTheApplicationThatItIsAbout) {
  using Kind = AppError::Kind;
  ExpectError([&] { m_Apps.Start("menu", {}); }, Kind::kNotAnId, "menu");
  ExpectError([&] { m_Apps.Stop("../x", true); }, Kind::kNotAnId, "../x");
  ExpectError([&] { m_Apps.Start("org.example.none", {}); }, Kind::kNotInstalled,
              "org.example.none");
  ExpectError([&] { m_Apps.Stop("org.example.none", false); }, Kind::kNotInstalled,
              "org.example.none");
  ExpectError([&] { m_Apps.Stop(kMenu, false); }, Kind::kNotRunning, kMenu);
  ExpectError([&] { m_Apps.Enter(kMenu, "visible"); }, Kind::kNotRunning, kMenu);
  ExpectError([&] { m_Apps.Start(kBroken, {}); }, Kind::kCannotStart, kBroken);
  ExpectError([&] { m_Apps.Start(kMenu, {{"type", "\xff"}}); }, Kind::kNotText, kMenu);
  EXPECT_THAT(m_Apps.Running(), Not(Contains(kMenu)));
  m_Apps.Start(kMenu, {});
  ExpectError([&] { m_Apps.Enter(kMenu, "asleep"); }, Kind::kRefused, kMenu);
  const std::string nowhere = "unix:path=" + (m_Root / "nobus").native();
  ExpectError([&] { AppOperator(nowhere, kPatience); }, Kind::kNoBus, nowhere);
}

TEST_F(AppOperating, ABusThatEndsIsToldApartFromAnApplicationThatDoes) {
  m_Bus->End();
  ExpectError([&] { m_Apps.Running(); }, AppError::Kind::kBusLost, m_Bus->Address());
}

}  // namespace
