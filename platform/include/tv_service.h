#pragma once

// The set's picture: which source it shows, where its window is, and events of the external
// sources.

enum EProfile : int {
  PROFILE_MAIN = 1,  // the main picture
};

enum ESignalType : int {
  SIGNAL_EXT_SOURCE_CHANGE_START = 25,
  SIGNAL_EXT_SOURCE_SIGNAL_OK = 26,
  SIGNAL_EXT_SOURCE_NOT_SUPPORT = 27,
  SIGNAL_EXT_SOURCE_NO_SIGNAL = 28,
  SIGNAL_EXT_SOURCE_UNPLUG = 29,
  SIGNAL_EXT_SOURCE_STOP = 30,
  SIGNAL_SOURCE_INFO_CHANGE = 128,
};

// What comes with a signal.
struct TSSignalData {
  int sourceId;  // the source that is shown, or will be, as far as the platform knows it; else -1
};

// Called on a thread of the service, one signal at a time, in their order. The number after the
// profile distinguishes signals of one type; the return value is ignored. An exception must not
// leave it.
typedef int (*TVSSignalCallback)(ESignalType type, EProfile profile, unsigned short number,
                                 TSSignalData data, void* user_data);

// A control or subscriber belongs to whoever created it. One thread at a time uses it, after a
// failed call as before it.

class ISourceControl {
 public:
  virtual ~ISourceControl() = default;

  // Returns the source state in `*state`: 1 when a picture is shown. Returns 0, or a negative
  // number and `*state` untouched.
  virtual int GetSourceState(int* state) = 0;

  // Returns the source that is shown, previews included, in `*id`. Returns 1, or a number below 1
  // and `*id` untouched.
  virtual int GetCurrentSource(int* id) = 0;

  // Like GetCurrentSource, for the source that was in use before any preview: the one shown if
  // there is no preview.
  virtual int GetSourceBeforePreview(int* id) = 0;
};

class IVideoControl {
 public:
  virtual ~IVideoControl() = default;

  // Returns the window of the picture in pixels: position, then the height, then the width. Returns
  // 0, or another number and everything untouched.
  virtual int GetVideoWindow(int& x, int& y, int& height, int& width) = 0;
};

class ISignalSubscriber {
 public:
  virtual ~ISignalSubscriber() = default;

  // From now on hands signals of that type to the subscriber's callback with `user_data`, which
  // is passed through. A second call for the same type and profile replaces `user_data`. Returns
  // 0, or another number when nothing was subscribed; what was before stays then.
  virtual int Subscribe(ESignalType type, void* user_data, EProfile profile) = 0;

  // Ends the subscription. A call that has begun may still be running when this returns. Returns 0,
  // or another number when `callback` is not the subscriber's or nothing was subscribed.
  virtual int Unsubscribe(ESignalType type, EProfile profile, TVSSignalCallback callback) = 0;
};

// Any thread. Each Create returns 0 and an object, which the caller releases with Destroy; any
// other number is a failure, with null in the output. `screen` is 0 for the set's own screen.
class TVServiceAPI {
 public:
  static int CreateSourceControl(EProfile profile, int screen, ISourceControl** control);
  static int CreateVideoControl(EProfile profile, int screen, IVideoControl** control);
  static int CreateSignalSubscriber(TVSSignalCallback callback, ISignalSubscriber** subscriber);

  // Releases it; null is harmless. A subscriber's callback is not called again afterwards, and
  // none is running when this returns, unless it is called from inside that callback.
  static void Destroy(ISourceControl* control);
  static void Destroy(IVideoControl* control);
  static void Destroy(ISignalSubscriber* subscriber);
};
