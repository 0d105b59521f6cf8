#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "keystore/key_store.h"
#include "set/set_steps.h"

// All that can be done with a set: of this table programs make their verbs, forms and scripts.
namespace host {

// What an operation is told.
struct Parameter {
  std::string name;  // "SOURCE"; of an option "--detected"
  std::string noun;  // what its values are: "source"
  std::string description;
  bool isRequired;

  // The values that it takes: each of these, and `others`, which is empty when there are no others:
  // "a number from 0 up".
  std::function<std::vector<std::string>()> values;
  std::string others;

  // What a value means to the operation; nothing when it is not allowed.
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

// Throws SetError: kMissing, or kNotAllowed, which says what there is.
Arguments ReadArguments(const Operation& operation, const Texts& texts);

}  // namespace host
