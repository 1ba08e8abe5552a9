#include "service/model/log.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace hqosd {

namespace {

using Clock = std::chrono::steady_clock;

// Whether systemd has connected standard error to the journal, which adds the program's name.
bool IsJournal() {
  const char* const stream = std::getenv("JOURNAL_STREAM");  // device:inode
  struct stat file;
  if (stream == nullptr || fstat(STDERR_FILENO, &file) != 0) return false;
  char own[64];
  std::snprintf(own, sizeof own, "%ju:%ju", uintmax_t{file.st_dev}, uintmax_t{file.st_ino});
  return std::strcmp(stream, own) == 0;
}

void Print(Level level, const char* format, va_list arguments) {
  static const bool s_isJournal = IsJournal();
  char line[4096];  // holds the bytes of the largest message
  std::vsnprintf(line, sizeof line, format, arguments);
  for (char* c = line; *c != '\0'; ++c) {
    if (static_cast<unsigned char>(*c) < ' ' || *c == '\x7f') *c = ' ';
  }
  if (s_isJournal) {
    std::fprintf(stderr, "<%d>%s\n", static_cast<int>(level), line);
  } else {
    std::fprintf(stderr, "hqosd: %s\n", line);
  }
}

// So many lines a second.
class Limit {
 public:
  explicit Limit(unsigned max) : max_(max) {}

  void Print(Level level, const char* format, va_list arguments) {
    const Clock::time_point now = Clock::now();
    if (now - second_ >= std::chrono::seconds(1)) {
      if (lines_ > max_) Log(level, "%u lines were left out", lines_ - max_);
      second_ = now;
      lines_ = 0;
    }
    if (++lines_ <= max_) hqosd::Print(level, format, arguments);
  }

 private:
  unsigned max_;
  unsigned lines_ = 0;
  Clock::time_point second_;
};

}  // namespace

void Log(Level level, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Print(level, format, arguments);
  va_end(arguments);
}

void Log(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  Print(Level::Info, format, arguments);
  va_end(arguments);
}

void LogBounded(const char* format, ...) {
  static Limit s_limit(10);
  va_list arguments;
  va_start(arguments, format);
  s_limit.Print(Level::Warning, format, arguments);
  va_end(arguments);
}

void LogDebug(const char* format, ...) {
  static Limit s_limit(1000);
  va_list arguments;
  va_start(arguments, format);
  s_limit.Print(Level::Debug, format, arguments);
  va_end(arguments);
}

}  // namespace hqosd
