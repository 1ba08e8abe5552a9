// Copies of a store, also while a service has it.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "service/store/sqlite.h"
#include "service/store/store.h"
#include "service/store/store_files.h"

namespace hqosd {

std::string BackUpStore(const std::string& file, const std::string& copy) {
  // Nothing is written over, and nobody else may read it.
  const int fd = open(copy.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) return copy + ": " + std::strerror(errno);
  close(fd);
  sqlite3 *from = nullptr, *to = nullptr;
  int result = sqlite3_open_v2(ReadingUri(file, false).c_str(), &from,
                               SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
  const Database source(from);
  if (result == SQLITE_OK)
    result = sqlite3_open_v2(copy.c_str(), &to, SQLITE_OPEN_READWRITE, nullptr);
  const Database target(to);
  if (result == SQLITE_OK) {
    sqlite3_busy_timeout(from, 250);
    sqlite3_backup* const backup = sqlite3_backup_init(to, "main", from, "main");
    sqlite3_backup_step(backup, -1);  // all pages, as of one moment
    result = backup == nullptr ? sqlite3_errcode(to) : sqlite3_backup_finish(backup);
  }
  if (result != SQLITE_OK) unlink(copy.c_str());
  return result == SQLITE_OK ? "" : sqlite3_errstr(result);
}

}  // namespace hqosd
