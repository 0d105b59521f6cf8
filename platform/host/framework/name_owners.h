#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>

#include "bus/bus.h"

namespace host {

// Who owns which well-known name on the service's bus, as far as the messages of the service's
// connection have told: the bus places changes of owners between the requests, in the order in
// which both happened. So while a request is served this is what was true when it was sent. One at
// a time. Main-loop thread only.
class NameOwners {
 public:
  // `oldOwner` and `newOwner` are unique names, empty for none.
  using Listener = std::function<void(const std::string& name, const std::string& oldOwner,
                                      const std::string& newOwner)>;

  // Asks the bus who owns what now, and listens from then on. Keeps a reference to `bus`, which is
  // connected and does not serve an object yet. Throws std::system_error.
  explicit NameOwners(sd_bus* bus);
  NameOwners(const NameOwners&) = delete;
  NameOwners& operator=(const NameOwners&) = delete;

  // The unique name of the owner; empty when nobody owns the name.
  std::string OwnerOf(const std::string& name) const;

  // Tells this bus from all others, also from a later one at the same address.
  const std::string& BusId() const { return m_BusId; }

  // From now on `listener` is called for each change, once OwnerOf reflects it. It replaces the
  // previous one; an empty one ends that. An exception that leaves it is logged. It may set another
  // listener.
  void Listen(Listener listener) { m_Listener = std::move(listener); }

  // From now on `listener` is called for each connection that ended, with its unique name. It
  // replaces the previous one; an empty one ends that. It must not set another one.
  void ListenToEnds(std::function<void(const std::string& connection)> listener) {
    m_EndListener = std::move(listener);
  }

  // Takes an announcement of the bus that was kept from them when it came.
  void Take(sd_bus_message* announcement) { OnNameOwnerChanged(announcement, this, nullptr); }

  // Those of the running service; null when none is running.
  static NameOwners* Current();

 private:
  static int OnNameOwnerChanged(sd_bus_message* message, void* self, sd_bus_error* error);
  void AskForAll(sd_bus* bus);
  void Note(const std::string& name, const std::string& newOwner);

  std::string m_BusId;
  std::map<std::string, std::string> m_Owners;
  Listener m_Listener;
  std::function<void(const std::string& connection)> m_EndListener;
  bus::Slot m_Slot;
};

}  // namespace host
