#include "set/ports.h"

#include <algorithm>
#include <iterator>

namespace host {
namespace {

constexpr Port kPorts[] = {
    {0, "tv", "TV", "tv"},           {13, "hdmi1", "HDMI 1", "hdmi"},
    {14, "hdmi2", "HDMI 2", "hdmi"}, {15, "hdmi3", "HDMI 3", "hdmi"},
    {16, "hdmi4", "HDMI 4", "hdmi"}, {33, "displayport", "DisplayPort", "hdmi"},
    {38, "hdmi5", "HDMI 5", "hdmi"}, {39, "hdmi6", "HDMI 6", "hdmi"},
    {41, "usb-c", "USB-C", "hdmi"},  {46, "hdmi7", "HDMI 7", "hdmi"},
    {47, "hdmi8", "HDMI 8", "hdmi"},
};

constexpr std::string_view kOtherType = "av";

template <typename Predicate>
const Port* Find(Predicate isIt) {
  const Port* found = std::find_if(std::begin(kPorts), std::end(kPorts), isIt);
  return found != std::end(kPorts) ? found : nullptr;
}

}  // namespace

std::span<const Port> Ports() { return kPorts; }

const Port* FindPort(int sourceId) {
  return Find([&](const Port& port) { return port.sourceId == sourceId; });
}

const Port* FindPort(std::string_view name) {
  const auto sameLetter = [](unsigned char a, unsigned char b) {
    return a == b || (a >= 'A' && a <= 'Z' && a - 'A' + 'a' == b);
  };
  return Find([&](const Port& port) {
    return std::equal(name.begin(), name.end(), port.name.begin(), port.name.end(), sameLetter);
  });
}

std::string_view SourceType(int sourceId) {
  const Port* port = FindPort(sourceId);
  return port != nullptr ? port->type : kOtherType;
}

}  // namespace host
