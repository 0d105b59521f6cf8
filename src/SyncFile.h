#pragma once

#include <string>

// The file that remembers for which factory-reset count the default of auto power off was applied
// (docs/startup-consistency.md): one decimal number. Main-loop thread only.
//
// Only a regular file is read or written. The directory is shared with the menu, and a start must
// neither wait at a pipe nor write through a link that somebody left there.
//
// The number is written before the default is applied. A mark beside the file, there from
// BeginApplying to EndApplying, makes the file outdated for the next start when the daemon does not
// get from one to the other.
class SyncFile {
 public:
  SyncFile();

  // Whether there is something under its name, of whatever kind.
  bool Exists() const;

  // Gives the number in `count`; leaves it untouched when the file does not begin with one. False
  // when the file cannot be opened for reading and writing.
  bool Read(int& count) const;

  // Whether the mark is there: an application of the default began and did not end.
  bool IsMarked() const;

  enum class Written { kDone, kNotOpened, kFailed };

  // Replaces the content, or makes the file; on disk when done. After a failed write the file may
  // hold the number, a part of it or nothing.
  Written Write(int count) const;

  // Sets and removes the mark; no effect when the directory cannot be written. A mark that was set
  // survives a loss of power; one that was removed just before it may come back.
  void BeginApplying() const;
  void EndApplying() const;

 private:
  void m_FlushDirectory() const;

  std::string m_Path;
  std::string m_Mark;
};
