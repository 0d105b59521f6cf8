#pragma once

#include <string>

namespace host {

// The address of the set's bus: that of the bus that AppMain connected to; empty before it did. Any
// thread once AppMain called the service.
const std::string& BusAddress();

// Called once, before the service is called.
void SetBusAddress(std::string address);

}  // namespace host
