#pragma once

#include <map>
#include <memory>
#include <string>

// The set's sources: its tuner and the devices at its inputs.

class CSourceItem {
 public:
  int sourceId = -1;
  std::string editName;      // the name shown to the user, who can change it
  std::string detectedName;  // the name that the attached device gives itself
};

// Called on a thread of the library, one call at a time. `event` tells what happened; -1 means that
// nothing in the list changed. An exception must not leave it.
typedef void (*SourceAPICallback)(int event, void* user_data);

// Any thread.
class CSourceAPI {
 public:
  // The one object, which the library owns; never null.
  static CSourceAPI* Get();

  virtual ~CSourceAPI() = default;

  // Returns the sources by number, in a new list that replaces `list` and belongs to the caller:
  // the library does not touch it again. Returns 0, or another number and `list` untouched.
  virtual int GetSourceList(std::shared_ptr<std::multimap<int, CSourceItem>>& list) = 0;

  // From now on calls `callback` after every change of the list. There is one callback for each
  // `user_data`: a second call for it replaces the first. Returns 0, or another number when
  // nothing was registered; the callback before it stays then.
  virtual int RegisterSourceAPICallback(SourceAPICallback callback, void* user_data) = 0;

  // Ends the registration. A call that has begun may still be running when this returns. Returns 0,
  // or another number when nothing was registered for `user_data`.
  virtual int UnregisterSourceAPICallback(void* user_data) = 0;
};
