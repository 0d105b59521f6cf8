#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "keystore/key_store.h"
#include "set/set_steps.h"

// All operations on a set: programs generate their verbs, forms and scripts from this table.
namespace host {

// A parameter of an operation.
struct Parameter {
  std::string name;  // "SOURCE"; of an option "--detected"
  std::string noun;  // what its values are: "source"
  std::string description;
  bool isRequired;

  // The valid values: each of these, and `others`, a description such as "plain text", or empty.
  std::function<std::vector<std::string>()> values;
  std::string others;

  // The meaning of a value; nothing when it is invalid.
  std::function<std::optional<KeyValue>(const std::string& text)> read;
};

// One for each parameter, in order; nothing for one that was left out.
using Texts = std::vector<std::optional<std::string>>;
using Arguments = std::vector<std::optional<KeyValue>>;

struct Operation {
  std::string name;  // "power"; "source switch" belongs with the others of "source"
  std::string description;
  std::vector<Parameter> parameters;
  std::function<Steps(const SetView& view, const Arguments& arguments)> steps;
};

const std::vector<Operation>& Operations();

// Throws SetError: kMissing, or kNotAllowed, which lists the valid values.
Arguments ReadArguments(const Operation& operation, const Texts& texts);

}  // namespace host
