#pragma once

#include <filesystem>

// A signal interrupts the next call that opens this file; the one after that succeeds. Works in
// programs that link `interrupted_open`, for the calls of the project's own code.
void InterruptNextOpen(const std::filesystem::path& file);

// Whether that call has come.
bool WasOpenInterrupted();
