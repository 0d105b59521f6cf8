#pragma once

#include <json/json.h>

#include <string>

namespace Nuvra {

// The body of a message: one JSON object. Owned by value; copies share nothing.
class TCData {
 public:
  TCData();  // an empty object

  // The body as JSON text on one line, without a line end. Meant for logs: it is created at each
  // call, so a caller that needs it twice should keep it. Never throws for a body that came in as a
  // request.
  std::string GetMessage() const;

  Json::Value body;
};

// A request, a reply or a signal. The platform parses the text of a request before a service
// sees it, so `body` of a request is always an object (docs/wire.md).
class TCMessage : public TCData {
 public:
  // The message-type field that travels beside the body; 0 unless the sender set it.
  int type = 0;
};

}  // namespace Nuvra
