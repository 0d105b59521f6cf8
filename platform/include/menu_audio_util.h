#pragma once

class CMenuAudioUtil {
 public:
  // Makes the settings data library read the active speaker type again, so that the answers
  // about items that depend on it are those of the present speaker. Main-loop thread only. When
  // the type cannot be read the library keeps the one it had.
  static void FreshSpeakerType();
};
