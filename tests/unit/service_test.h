#pragma once

#include <exception>
#include <string>

#include "SettingsService.h"
#include "fixture.h"

// A test of the service over the fake platform: a model without game bar and not for outdoors.
// The trace begins after the service's construction; the callback for applications appears in
// it under its name.
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

// The text of a request with `data`, itself JSON text.
std::string Request(const std::string& method, const std::string& data);

// The replies that there are: to a library call that succeeded and to one that failed, to an
// ill-typed request, and from a handler that leaves the reply alone.
std::string SuccessWith(const Json::Value& result);
inline constexpr char kFailureWithText[] =
    R"({"call_api_success":false,"connect_server":true,"return_data":""})";
inline constexpr char kFailureWithBool[] =
    R"({"call_api_success":false,"connect_server":true,"return_data":false})";
inline constexpr char kIllTypedWithText[] =
    R"({"call_api_success":false,"connect_server":false,"return_data":""})";
inline constexpr char kIllTypedWithBool[] =
    R"({"call_api_success":false,"connect_server":false,"return_data":false})";
inline constexpr char kNoResult[] = R"({"return_data":""})";

// What a platform call can throw: an exception of the JSON library, which handlers catch, and
// one of another type. The text of both is "broken".
std::exception_ptr JsonException();
std::exception_ptr OtherException();
