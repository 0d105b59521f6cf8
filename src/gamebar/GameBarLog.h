#pragma once

#include "Log.h"

// Log lines of the game bar and the aim point. Lines without the tag use the macros of Log.h.

#define GAMEBAR_LOG_AS(priority, function, message, ...) \
  SETTINGS_LOG_AS(priority, function, "[GameBarService] " message __VA_OPT__(, ) __VA_ARGS__)

#define GAMEBAR_INFO(...) GAMEBAR_LOG_AS(DLOG_INFO, __func__, __VA_ARGS__)
#define GAMEBAR_ERROR(...) GAMEBAR_LOG_AS(DLOG_ERROR, __func__, __VA_ARGS__)
