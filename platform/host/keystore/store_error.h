#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>

namespace host {

// A failure of the key store: what() names the file, the reason and what to do; Error() is the
// errno for the kind: ENOSPC no room, EROFS a read-only file system, EAGAIN kept locked by others,
// EACCES not permitted for this user, EUCLEAN damage, EIO anything else that cannot be read or
// written.
class StoreError : public std::runtime_error {
 public:
  StoreError(int error, const std::string& what) : std::runtime_error(what), m_Error(error) {}

  int Error() const { return m_Error; }
  bool IsDamage() const { return m_Error == EUCLEAN; }

 private:
  int m_Error;
};

}  // namespace host
