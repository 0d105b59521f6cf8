#pragma once

namespace host {

class ServiceObject;

// AppMain calls it when the service has its object and not yet its name: whoever sees the name
// finds what is added here, too. The program provides it: the framework knows nothing of what its
// libraries offer on the bus.
void AddInterfaces(ServiceObject& object);

}  // namespace host
