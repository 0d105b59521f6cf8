#include "base/version.h"

namespace base {

const char kVersion[] = SETTINGS_VERSION;

}  // namespace base
