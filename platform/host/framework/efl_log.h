#pragma once

namespace host {

// From now on the EFL libraries' reports go to the platform's log instead of standard error. Called
// while Eina is initialised.
void TakeEflLog();

// Whether Ecore has reported, since the last call, that it could not keep a signal.
bool TakeLostSignal();

}  // namespace host
