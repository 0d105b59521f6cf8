#pragma once

#include <ctime>

// Processor time: other work of the machine does not count.
inline double ProcessorSeconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

template <typename Work>
double SecondsFor(Work work) {
  const double begin = ProcessorSeconds();
  work();
  return ProcessorSeconds() - begin;
}
