// An application of somebody else. While it can be seen the game bar is not launched by itself.

#include "support/application.h"

namespace {

class Csfs : public apps::Application {
 public:
  Csfs() : Application("com.velmora.tv.csfs") {}
};

}  // namespace

int main(int argc, char** argv) { return apps::Main<Csfs>(argc, argv); }
