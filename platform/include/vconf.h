#pragma once

// The platform's key store: named integers and strings, shared by all processes of a set
// (docs/keystore.md). Keys begin with "db/" (kept for good, durable when a write returns) or
// "memory/" (kept until the set restarts); all others are refused. Every function may be called
// from any thread unless it says otherwise, and returns 0 for success and -1 for failure.
//
// After a failure of one that reads or writes a key errno says what it was: ENOENT when the key is
// missing; EINVAL when it holds the other type, or the store does not take such a key; anything
// else when the store itself failed, so that nobody knows what the key holds: ENOSPC when it is
// full, EROFS when it is read-only, EIO and others when it cannot be read or written.

// A changed key, as handed to a callback. Valid during the call only.
typedef struct _keynode_t keynode_t;

// An exception that leaves it ends this call only: the platform logs it, and the other callbacks
// and the changes behind it still come.
typedef void (*vconf_callback_fn)(keynode_t* node, void* user_data);

extern "C" {

// Reads a key into `*value`. Fails, and leaves `*value` untouched, when the key is missing or
// holds a string.
int vconf_get_int(const char* key, int* value);

// Stores an integer, whatever the key held before. A failure leaves the key as it was. Storing the
// value that the key already has is also a change.
int vconf_set_int(const char* key, int value);

// Returns a copy of the string, which the caller releases with free(); null when the key is missing
// or holds an integer.
char* vconf_get_str(const char* key);

// As vconf_set_int, for a zero-terminated string.
int vconf_set_str(const char* key, const char* value);

// From now on calls `callback` on the main loop of this process once for every change of `key`, by
// any process, in the order of the changes. A change that was written before a request was sent to
// the service of this process comes before that request. A process that was too far behind, so that
// changes were dropped, gets one call for what it missed of the key instead, at the latest after
// the changes that were kept. What `callback` reads of the key is what the change left there or
// what a later one did. A key may be watched before it exists. The same callback can be registered
// for a key once: a second call replaces its `user_data`, which is never owned or read. A failure
// leaves the callbacks as they were. Main-loop thread only.
int vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* user_data);

// Ends what vconf_notify_key_changed began; no calls follow, not even for earlier changes. Fails
// when `callback` was not registered for `key`. May be called from inside a callback. Main-loop
// thread only.
int vconf_ignore_key_changed(const char* key, vconf_callback_fn callback);

}  // extern "C"
