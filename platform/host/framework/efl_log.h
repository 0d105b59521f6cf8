#pragma once

namespace host {

// From now on what the EFL libraries report goes to the platform's log instead of standard
// error. Called while Eina is initialised.
void TakeEflLog();

// Whether Ecore has reported, since the last call, that it could not keep a signal.
bool TakeLostSignal();

}  // namespace host
