#pragma once

#include "completion.h"
#include "set/set_operations.h"
#include "setctl/verbs.h"

// What shells offer, as the set knows it; nothing without a set. `options` and `operation` must
// outlive the offers.
namespace setctl {

// The keys with the typed beginning, and their values.
tools::Offer KeyOffer(const Options& options);

// The applications that run, or also those that can be started.
tools::Offer AppOffer(const Options& options, bool onlyRunning);

// The values of a parameter of an operation: of a source those that are there.
tools::Offer ParameterOffer(const Options& options, const host::Operation& operation,
                            const host::Parameter& parameter);

}  // namespace setctl
