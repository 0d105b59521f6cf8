#include "items/library.h"

#include "apps/living_applications.h"
#include "items/host_inputs.h"
#include "system/host.h"

namespace host {

struct HostLibrary {
  HostLibrary() {
    OnInstanceBegin([this](const std::string& app) { library.Disabled().NoteInstance(app); });
  }

  HostInputs inputs;
  ItemLibrary library{inputs};
};

ItemLibrary& Library() { return g_Host.itemLibrary.Get().library; }

}  // namespace host
