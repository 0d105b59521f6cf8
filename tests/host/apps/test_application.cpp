// A small application as a set starts it. Its life is written down, one JSON object per line:
//
//   test_application RECORD ID             serves activations until the bus ends
//   test_application RECORD ID mute        owns its name and never reads a message
//   test_application RECORD ID nameless    never takes its name
//   test_application RECORD ID swarm N     becomes N applications with the IDs ID1 to IDN, all in
//                                          one process group

#include <json/json.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "bus/bus.h"

namespace {

std::string g_record;

// One write, so that lines of several processes do not mix.
void Record(const Json::Value& line) {
  Json::StreamWriterBuilder format;
  format["indentation"] = "";
  std::ofstream(g_record, std::ios::app) << Json::writeString(format, line) + "\n" << std::flush;
}

void RecordStart(const std::string& id) {
  Json::Value line;
  line["started"] = id;
  line["pid"] = getpid();
  Record(line);
}

using bus::Check;

int OnActivate(sd_bus_message* message, void*, sd_bus_error*) {
  Json::Value line;
  line["activated"] = sd_bus_message_get_destination(message);
  line["data"] = Json::objectValue;
  Check(sd_bus_message_enter_container(message, 'a', "{sv}"), "reading the platform data");
  const char* key = nullptr;
  const char* value = nullptr;
  int read = 0;
  while ((read = sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
    Check(sd_bus_message_read(message, "sv", &key, "s", &value), "reading an entry");
    Check(sd_bus_message_exit_container(message), "leaving an entry");
    line["data"][key] = value;
  }
  Check(read, "reading the entries");
  line["reply expected"] = sd_bus_message_get_expect_reply(message) > 0;
  Record(line);
  return sd_bus_reply_method_return(message, "");
}

const sd_bus_vtable kInterface[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Activate", "a{sv}", "", OnActivate, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END,
};

// Reads nothing until the bus ends.
void Idle(sd_bus* bus) {
  pollfd end{sd_bus_get_fd(bus), 0, 0};
  while (poll(&end, 1, -1) <= 0) {
  }
}

// Does not return before the bus ends.
void Live(const std::string& id, const std::string& mode) {
  RecordStart(id);
  bus::Connection connection;
  Check(bus::Connect("session", std::nullopt, connection), "connecting");
  sd_bus* const bus = connection.get();
  if (mode == "nameless") {
    return Idle(bus);
  }
  std::string path = "/" + id;
  std::replace(path.begin(), path.end(), '.', '/');
  std::replace(path.begin(), path.end(), '-', '_');
  Check(sd_bus_add_object_vtable(bus, nullptr, path.c_str(), "org.freedesktop.Application",
                                 kInterface, nullptr),
        "registering the object");
  Check(sd_bus_request_name(bus, id.c_str(), 0), "taking the name");
  if (mode == "mute") {
    return Idle(bus);
  }
  const bus::Deadline never(std::nullopt);
  while (bus::ProcessOrWait(bus, never) >= 0) {
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "which record and which name?" << std::endl;
    return 2;
  }
  g_record = argv[1];
  const std::string id = argv[2];
  const std::string mode = argc > 3 ? argv[3] : "";
  if (mode != "swarm" || argc < 5) {
    Live(id, mode);
    return 0;
  }
  Check(setpgid(0, 0), "making a process group");
  RecordStart(id);
  for (int number = std::atoi(argv[4]); number > 0; --number) {
    if (fork() == 0) {
      Live(id + std::to_string(number), "");
      return 0;
    }
  }
  while (wait(nullptr) > 0) {
  }
  return 0;
}
