// The files of a store: the lock on the database, the reserve beside it, and how it is read.
#pragma once

#include <cstdint>
#include <string>

namespace hqosd {

// The one service that has a store: a lock on the file itself, whatever its path.
class StoreLock {
 public:
  StoreLock() = default;
  ~StoreLock();
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

  // Makes the file when there is none, and locks it. Returns "", or why not.
  std::string Take(const std::string& file);
  bool IsTaken() const { return fd_ >= 0; }
  // "" while the path leads to the file that is locked, and that has become no smaller; once it is
  // lost it remains so, and that is logged.
  std::string Check();

 private:
  std::string Lose(const char* how);

  int fd_ = -1;
  std::string file_, lost_;
  int64_t size_ = 0;  // bytes at the last check
};

// Whether the log has been removed after a service died: a clean end removes its index as well.
bool HasLostLog(const std::string& file);

// Whether the disk of the file has that much room.
bool HasRoom(const std::string& file, uint64_t bytes);

// Has the system begin to write what the file has in memory, so that a sync waits less.
void StartWriting(const std::string& file);

// Bytes on the disk that are given up when it is full, so that deleting still works.
class Reserve {
 public:
  explicit Reserve(const std::string& file) : file_(file + "-reserve") {}
  bool Exists() const;
  bool GiveUp() const;
  // Does nothing while it exists, or the disk has little room.
  void Make() const;

 private:
  std::string file_;
};

// The file as SQLite opens it to read. One that nobody has open, in a directory where no log can be
// made beside it (the directory is read-only, or the disk is full), is opened as one that does not
// change; so is an empty one, whose log SQLite would remove.
std::string ReadingUri(const std::string& file, bool isFull);

}  // namespace hqosd
