#include "framework/bus_address.h"

#include <utility>

namespace host {
namespace {

// Never destroyed: threads may ask while the process ends.
std::string& Address() {
  static auto* const address = new std::string();
  return *address;
}

}  // namespace

const std::string& BusAddress() { return Address(); }

void SetBusAddress(std::string address) { Address() = std::move(address); }

}  // namespace host
