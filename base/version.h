#pragma once

namespace base {

// The version of the project, such as 1.2.3.
extern const char kVersion[];

}  // namespace base
