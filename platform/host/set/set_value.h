#pragma once

#include <string>
#include <vector>

#include "keystore/key_store.h"
#include "set/ports.h"
#include "source_api.h"

// The values of the set's keys. The Read functions throw std::runtime_error that says, without the
// key's name, what is wrong with an invalid value.
namespace host {

int ReadNumber(const KeyValue& value);

std::string ReadText(const KeyValue& value);

// A source, or a port to which nothing is attached.
struct SetSource : CSourceItem {
  bool isEmpty = false;
};

// An empty port, with the port's own name.
SetSource EmptyPort(const Port& port);

// A JSON list of {"id": number, "name": text, "detected": text, "empty": bool}, in which the last
// two may be missing: {"id": 13, "name": "My Console", "detected": "Console"}.
std::vector<SetSource> ReadSources(const KeyValue& value);
KeyValue WriteSources(const std::vector<SetSource>& sources);

// Whether it can be the name of a source: plain text of at most kMostSourceName bytes.
bool IsSourceName(const std::string& name);
inline constexpr std::size_t kMostSourceName = 256;

// The most sources that a set has.
inline constexpr std::size_t kMostSources = 256;

// Where the picture is, in pixels; a JSON list of four numbers: [0,0,1920,1080].
struct Window {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
};
Window ReadWindow(const KeyValue& value);
KeyValue WriteWindow(const Window& window);

}  // namespace host
