// An application that greys out settings items while it runs. It owns its application ID as bus
// name, so the service releases the items when it ends, even when it ends by force.
//
//   holder [APP [ITEM…]]

#include <signal.h>

#include <algorithm>
#include <iostream>

#include "settings/client.h"

int main(int argc, char** argv) {
  const std::string app = argc > 1 ? argv[1] : "org.example.holder";
  std::vector<std::string> items(argv + std::min(argc, 2), argv + argc);
  if (items.empty()) {
    items = {"brightness", "contrast"};
  }

  // Blocked now, so that one that comes early is not lost.
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  sigprocmask(SIG_BLOCK, &ends, nullptr);

  try {
    settings::Client client;
    if (!client.RequestName(app)) {
      std::cerr << app << " is already running\n";
      return 1;
    }
    client.DisableItemsByList(items, app);
    std::cout << "holding" << std::endl;
    int signal = 0;
    sigwait(&ends, &signal);
    client.RemoveDisabledItemsByAppname(app);
  } catch (const std::exception& problem) {
    std::cerr << problem.what() << '\n';
    return 1;
  }
}
