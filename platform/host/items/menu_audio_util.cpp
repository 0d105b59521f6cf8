#include "menu_audio_util.h"

#include "items/library.h"

void CMenuAudioUtil::FreshSpeakerType() { host::Library().FreshSpeakerType(); }
