#include <gtest/gtest.h>

#include <csignal>

#include "framework/main_loop.h"
#include "support/temp_directory.h"
#include "system/environment.h"
#include "system/log.h"

// The store of a process is opened once, so all tests here share one, in their own root.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  const support::TempDirectory root;
  host::SetEnvironment({.root = root.Path(), .modelFile = {}, .dataDir = {}});
  host::OpenLog(root / "log");
  const host::MainLoop mainLoop;
  // Ecore's handler overwrites errno. It is for child processes that Ecore started.
  std::signal(SIGCHLD, SIG_DFL);
  const int status = RUN_ALL_TESTS();
  host::FlushLog(std::chrono::seconds(10));
  return status;
}
