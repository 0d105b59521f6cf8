#pragma once

// Where the platform calls the automation, and where a thread of it ends, nobody could handle an
// exception any more: it would end the daemon. Such a function is written as
//
//   void Callback(void* userData) try {
//     ...
//   } catch (...) {
//     LogEscapedException(kLogModule, __func__);
//   }
//
// Logs the exception that is being handled, at ERROR with its text, as a line of `function` of
// `module`. To be called inside a catch block; `line` is for the compiler to fill.
void LogEscapedException(const char* module, const char* function, int line = __builtin_LINE());
