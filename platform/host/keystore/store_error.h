#pragma once

#include <stdexcept>
#include <string>

namespace host {

// A failure of the key store: what() names the file, the reason and what to do, Error() is the
// errno that says the kind: ENOSPC no room, EROFS a file system that is read-only, EAGAIN kept
// locked by others, EACCES not this user's, EIO anything that cannot be read or written.
class StoreError : public std::runtime_error {
 public:
  StoreError(int error, const std::string& what) : std::runtime_error(what), m_Error(error) {}

  int Error() const { return m_Error; }

 private:
  int m_Error;
};

}  // namespace host
