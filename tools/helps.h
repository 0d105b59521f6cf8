#pragma once

#include "tool.h"

// What the help of each verb of the tools says beside its arguments and options. Both tools know
// both: each names the verbs that are the other's.
namespace settingsctl {
tools::VerbHelps Helps();
}

namespace setctl {
tools::VerbHelps Helps();
}
