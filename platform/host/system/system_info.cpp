#include "system_info.h"

#include <json/json.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <variant>

#include "base/json.h"
#include "system/environment.h"
#include "system/exception_border.h"
#include "system/feature_error.h"
#include "system/host.h"

namespace host {
namespace {

using Features = std::map<std::string, std::variant<bool, int>, std::less<>>;

}  // namespace

// Nothing when the file cannot be used.
struct Model {
  std::optional<Features> features;
};

namespace {

Json::Value ReadJson(const std::filesystem::path& file) {
  if (std::filesystem::exists(file) && !std::filesystem::is_regular_file(file)) {
    throw std::runtime_error("it is not a regular file");
  }
  std::ifstream stream(file, std::ios::binary);
  if (!stream) {
    throw std::system_error(errno, std::generic_category());
  }
  return base::ParseJson(std::string(std::istreambuf_iterator<char>(stream), {}));
}

Features ParseFeatures(const Json::Value& model) {
  if (!model.isObject() || !model["features"].isObject()) {
    throw std::runtime_error("it has no object \"features\"");
  }
  Features features;
  const Json::Value& members = model["features"];
  for (auto member = members.begin(); member != members.end(); ++member) {
    // A real number such as 2.0 also counts as an int for the library; here it does not.
    if (member->isBool()) {
      features[member.name()] = member->asBool();
    } else if (member->type() != Json::realValue && member->isInt()) {
      features[member.name()] = member->asInt();
    } else {
      throw std::runtime_error("feature \"" + member.name() +
                               "\" is neither true or false nor a 32-bit integer");
    }
  }
  return features;
}

std::optional<Features> ReadFeatures() {
  const std::filesystem::path file = GetEnvironment().modelFile;
  return Guarded(
      "system_info",
      "the model file " + file.native() + " cannot be used, so the model has no features",
      std::optional<Features>(), [&] { return std::optional(ParseFeatures(ReadJson(file))); });
}

template <typename Type>
int GetFeature(const char* key, Type* value) {
  if (key == nullptr || value == nullptr) {
    return FEATURE_ERROR_INVALID_ARGUMENT;
  }
  const std::optional<Features>& features =
      g_Host.model.Get([] { return new Model{ReadFeatures()}; }).features;
  if (!features) {
    return FEATURE_ERROR_NO_MODEL;
  }
  const auto feature = features->find(key);
  if (feature == features->end()) {
    return FEATURE_ERROR_NO_SUCH_FEATURE;
  }
  const Type* found = std::get_if<Type>(&feature->second);
  if (found == nullptr) {
    return FEATURE_ERROR_OTHER_TYPE;
  }
  *value = *found;
  return FEATURE_ERROR_NONE;
}

}  // namespace
}  // namespace host

int system_info_get_custom_bool(const char* key, bool* value) {
  return host::GetFeature(key, value);
}

int system_info_get_custom_int(const char* key, int* value) { return host::GetFeature(key, value); }
