#include "service/store/store_files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "service/model/log.h"

namespace hqosd {

namespace {

constexpr off_t kReserve = 262'144;     // bytes
constexpr uint64_t kSpare = 1'048'576;  // bytes on the disk beyond which the reserve is made

bool Exists(const std::string& file) { return access(file.c_str(), F_OK) == 0; }

}  // namespace

StoreLock::~StoreLock() {
  if (fd_ >= 0) close(fd_);
}

std::string StoreLock::Take(const std::string& file) {
  const int fd = open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) return std::strerror(errno);
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    const int error = errno;
    close(fd);
    return error == EWOULDBLOCK ? "another service has it" : std::strerror(error);
  }
  if (fd_ >= 0) close(fd_);
  fd_ = fd;
  file_ = file;
  size_ = 0;
  return "";
}

std::string StoreLock::Check() {
  struct stat mine {
  }, there{};
  if (fd_ < 0 || !lost_.empty()) return lost_;
  if (stat(file_.c_str(), &there) != 0 || fstat(fd_, &mine) != 0 || there.st_ino != mine.st_ino ||
      there.st_dev != mine.st_dev) {
    return Lose(" has been removed or replaced");
  }
  // SQLite never makes it smaller.
  if (mine.st_size == 0 || mine.st_size < size_) {
    return Lose(" has been truncated");
  }
  size_ = mine.st_size;
  return "";
}

std::string StoreLock::Lose(const char* how) {
  lost_ = file_ + how + "; restart hqosd";
  Log("%s", lost_.c_str());
  return lost_;
}

bool HasLostLog(const std::string& file) { return Exists(file + "-shm") && !Exists(file + "-wal"); }

bool HasRoom(const std::string& file, uint64_t bytes) {
  struct statvfs disk {};
  const std::string dir = std::filesystem::path(file).parent_path();
  return statvfs(dir.empty() ? "." : dir.c_str(), &disk) == 0 &&
         disk.f_bavail * disk.f_frsize >= bytes;
}

void StartWriting(const std::string& file) {
  const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return;
  sync_file_range(fd, 0, 0, SYNC_FILE_RANGE_WRITE);
  close(fd);
}

bool Reserve::Exists() const { return hqosd::Exists(file_); }

bool Reserve::GiveUp() const { return unlink(file_.c_str()) == 0; }

void Reserve::Make() const {
  if (Exists() || !HasRoom(file_, kSpare)) return;
  const int fd = open(file_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (fd < 0) return;
  const bool isMade = posix_fallocate(fd, 0, kReserve) == 0;
  close(fd);
  if (!isMade) GiveUp();
}

std::string ReadingUri(const std::string& file, bool isFull) {
  std::string uri = "file:";
  for (const char c : file) {
    const auto byte = static_cast<unsigned char>(c);
    const bool isPlain = std::isalnum(byte) != 0 || c == '/' || c == '.' || c == '-' || c == '_';
    uri += isPlain ? std::string(1, c) : fmt::format("%{:02X}", byte);
  }
  const std::string dir = std::filesystem::path(file).parent_path();
  std::error_code noFile, noLog;
  const bool isEmpty = std::filesystem::file_size(file, noFile) == 0 && !noFile;
  const auto logSize = std::filesystem::file_size(file + "-wal", noLog);
  const bool canLog =
      !isFull && !HasLostLog(file) && access(dir.empty() ? "." : dir.c_str(), W_OK) == 0;
  const bool hasLog = !noLog && (logSize > 0 || !isFull);
  return (canLog || hasLog) && !isEmpty ? uri : uri + "?immutable=1";
}

}  // namespace hqosd
