// Copies of a store, also while a service has it.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "service/store/schema.h"
#include "service/store/store.h"
#include "service/store/store_files.h"

namespace hqosd {

std::string BackUpStore(const std::string& file, const std::string& copy) {
  // Nothing is written over, and nobody else may read it.
  const int fd = open(copy.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) return copy + ": " + std::strerror(errno);
  close(fd);
  Database from, to;
  int result = SQLITE_OK;
  if (!OpenDatabase(ReadingUri(file, false), kReadUri, from)) {
    result = sqlite3_errcode(from.get());
  } else if (!OpenDatabase(copy, SQLITE_OPEN_READWRITE, to)) {
    result = sqlite3_errcode(to.get());
  } else {
    sqlite3_backup* const backup = sqlite3_backup_init(to.get(), "main", from.get(), "main");
    sqlite3_backup_step(backup, -1);  // all pages, as of one moment
    result = backup == nullptr ? sqlite3_errcode(to.get()) : sqlite3_backup_finish(backup);
  }
  if (result != SQLITE_OK) unlink(copy.c_str());
  return result == SQLITE_OK ? "" : sqlite3_errstr(result);
}

}  // namespace hqosd
