#pragma once

#include <string>
#include <vector>

#include "source_api.h"

// How the set contract operates the set. Each platform that the suite runs on provides its own
// definitions. Any thread; what one thread does happens in that order.
namespace contract {

// One change of the list of sources.
void SetSources(const std::vector<CSourceItem>& sources);

// An event of the source library with that number, and no other change.
void PlaySourceEvent(int event);

void ShowSource(int id);  // ends a preview
void ShowPreview(int id);
void EndPreview();
void SetSourceState(int state);
void SetWindow(int x, int y, int width, int height);

// Sends one signal of the main picture.
void PlaySignal(int type);

// Each changes a setting of the audio and video output, and notifies its observers.
void SetPictureSetting(int value);
void SetGameItem(int value);
void SetGameMode(int value);

void SetPower(int state);
void SetSpeaker(const std::string& name);

}  // namespace contract
