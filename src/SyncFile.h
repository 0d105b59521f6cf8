#pragma once

#include <string>

// The file that remembers for which factory-reset count the default of auto power off was applied
// (docs/startup-consistency.md): one decimal number. Main-loop thread only.
//
// Only a regular file is read or written. The directory is shared with the menu, and a start must
// neither wait at a pipe nor write through a link that somebody left there.
//
// The number is written before the default is applied. So Write sets a mark beside the file, which
// EndApplying removes: when the daemon does not get from one to the other, the next start finds it.
class SyncFile {
 public:
  SyncFile();

  // Whether there is something under its name, of whatever kind: also a link that leads nowhere.
  bool Exists() const;

  // Gives the number in `count`; leaves it untouched when the file does not begin with one. False
  // when the file cannot be opened for reading and writing.
  bool Read(int& count) const;

  // Whether the mark is there: since the last Write the default was not applied to the end.
  bool IsMarked() const;

  enum class Written { kDone, kNotOpened, kFailed };

  // Sets the mark, if the directory can be written, and then replaces the content, or makes the
  // file; both on disk when done. After a failed write the file may hold the number, a part of it
  // or nothing.
  Written Write(int count) const;

  // Removes the mark, if the directory can be written. A loss of power right after it may bring the
  // mark back.
  void EndApplying() const;

 private:
  void m_FlushDirectory() const;

  std::string m_Path;
  std::string m_Mark;
};
