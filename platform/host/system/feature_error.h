#pragma once

namespace host {

// What the functions of system_info.h return on a host.
enum FeatureError {
  FEATURE_ERROR_NONE = 0,
  FEATURE_ERROR_INVALID_ARGUMENT = -1,  // the key or the output is null
  FEATURE_ERROR_NO_MODEL = -2,          // the model file is unreadable or malformed
  FEATURE_ERROR_NO_SUCH_FEATURE = -3,
  FEATURE_ERROR_OTHER_TYPE = -4,
};

}  // namespace host
