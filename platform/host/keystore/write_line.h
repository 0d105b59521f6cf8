#pragma once

#include <filesystem>

namespace host {

// Whoever wants to write a key file, whichever thread of whichever process, waits here behind those
// who came before. A process that ends, however it does, leaves the line. The line only keeps the
// order: that only one writes at a time is up to the file's own lock.
class WriteLine {
 public:
  // Joins the line in `file`, which is created if missing, and again in each run of the machine; it
  // belongs on a file system in memory. `keyFile` is named in failures. Only one process at a time
  // may do this. Throws std::system_error.
  WriteLine(const std::filesystem::path& file, std::filesystem::path keyFile);
  ~WriteLine();
  WriteLine(const WriteLine&) = delete;
  WriteLine& operator=(const WriteLine&) = delete;

  // It is this thread's turn while one of these lives, or that of somebody who does not take it. A
  // thread has one at a time.
  class Turn {
   public:
    // Waits for it. Throws StoreError, which names the key file and the process that has
    // the turn, when that process has had it for five seconds of the waiting.
    explicit Turn(WriteLine& line);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    WriteLine& m_Line;
    bool m_IsOwner;
  };

 private:
  struct Shared;

  const std::filesystem::path m_KeyFile;
  Shared* m_Shared;  // the file's content
};

}  // namespace host
