#pragma once

class CMenuAudioUtil {
 public:
  // Makes the settings data library read the active speaker type again, so that items that depend
  // on it follow the current speaker. Main-loop thread only. If the type cannot be read, the
  // library keeps the previous one.
  static void FreshSpeakerType();
};
