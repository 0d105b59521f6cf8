#include "items/library.h"

#include "apps/living_applications.h"
#include "items/host_inputs.h"

namespace host {
namespace {

struct ListeningLibrary : ItemLibrary {
  explicit ListeningLibrary(Inputs& inputs) : ItemLibrary(inputs) {
    OnInstanceBegin([this](const std::string& app) { Disabled().NoteInstance(app); });
  }
};

}  // namespace

ItemLibrary& Library() {
  static HostInputs inputs;
  static ListeningLibrary library(inputs);
  return library;
}

}  // namespace host
