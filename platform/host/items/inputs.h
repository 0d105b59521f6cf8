#pragma once

#include <optional>
#include <stdexcept>
#include <string>

namespace host {

struct InputFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What items depend on: keys and the features of the model. Main-loop thread only.
class ReadableInputs {
 public:
  virtual ~ReadableInputs() = default;

  // What a key holds; nothing when it is missing or of the other type. Throws InputFailure when the
  // key store failed, so that nobody knows.
  virtual std::optional<int> Number(const std::string& key) const = 0;
  virtual std::optional<std::string> Text(const std::string& key) const = 0;

  // The value of a feature; nothing when the model does not have it, or it has the other type.
  virtual std::optional<bool> BoolFeature(const std::string& feature) const = 0;
  virtual std::optional<int> IntFeature(const std::string& feature) const = 0;
};

// The same, where the values of items are kept as well: the key store.
class Inputs : public ReadableInputs {
 public:
  // False when the key store failed; the key is then unchanged.
  virtual bool WriteNumber(const std::string& key, int number) = 0;
  virtual bool WriteText(const std::string& key, const std::string& text) = 0;
};

}  // namespace host
