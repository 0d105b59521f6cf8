#pragma once

#include <string>

#include "SettingsService.h"
#include "fixture.h"

// A test of the service over the fake platform: a model without game bar and not for outdoors.
// The trace begins after the service's construction.
class ServiceTest : public fakes::FakePlatformTest {
 protected:
  ServiceTest();

  // Hands the service a request as the framework does and returns the reply as JSON text. Lets
  // "{request}" in an expected trace stand for the line that announces the request, and "{reply}"
  // for the address of the reply.
  std::string Send(const std::string& request);

  // The same for a request that an exception ends. The exception leaves; the reply, as far as
  // it was filled, is in `reply`.
  void Send(const std::string& request, Nuvra::TCMessage& reply);

  SettingsService service;
};

// The same with the service created: it is ready for requests.
class CreatedServiceTest : public ServiceTest {
 protected:
  CreatedServiceTest();
};

// The body of a message as it is compared: on one line, keys in alphabetical order.
std::string Text(const Json::Value& body);

// The JSON object that `text` is.
Json::Value Parsed(const std::string& text);
