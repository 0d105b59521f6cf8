#include <Ecore.h>
#include <gtest/gtest.h>

#include <cstdlib>

// A contract suite over a platform that needs no more than its libraries and the main loop.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  // A module would look for a power daemon on the system bus.
  ecore_app_no_system_modules();
  if (ecore_init() <= 0) {
    return EXIT_FAILURE;
  }
  const int status = RUN_ALL_TESTS();
  ecore_shutdown();
  return status;
}
