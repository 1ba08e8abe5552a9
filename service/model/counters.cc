#include "service/model/counters.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <tuple>

#include "service/model/log.h"

namespace hqosd {

namespace {

using nlohmann::json;

template <class Number, size_t N>
void Fill(const json& entry, const char* key, Number (&numbers)[N]) {
  const auto given = entry.find(key);
  if (given == entry.end()) return;
  if (!given->is_array() || given->size() > N)
    throw std::runtime_error(std::string("not an array of that many numbers: ") + key);
  size_t i = 0;
  for (const json& number : *given) {
    // A conversion would take a number that is negative, broken or too large for another one.
    if (!number.is_number_unsigned() || number.get<uint64_t>() > Number(~Number{0})) {
      throw std::runtime_error(std::string("a number in ") + key + " is out of its range");
    }
    numbers[i++] = number.get<Number>();
  }
}

class File final : public CounterSource {
 public:
  explicit File(std::string file) : file_(std::move(file)) {}

  bool Refresh(const Model&) override {
    // Anything except a regular file, such as a pipe, could block the service.
    const int fd = open(file_.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat now {};
    std::string why = fd < 0 || fstat(fd, &now) != 0 ? std::strerror(errno)
                      : S_ISREG(now.st_mode)         ? ""
                                                     : "it is not a regular file";
    const Version version{now.st_ino, now.st_size, now.st_mtim.tv_sec, now.st_mtim.tv_nsec};
    const bool isKnown = why.empty() && version == version_;
    if (why.empty() && !isKnown) why = Load(fd);
    if (fd >= 0) close(fd);
    version_ = why.empty() ? std::optional(version) : std::nullopt;
    if (!why.empty()) LogBounded("cannot read counters from %s: %s", file_.c_str(), why.c_str());
    return why.empty();
  }

  HQOS_SPSonCounters Read(const std::string& place, const std::vector<std::string>& path) override {
    const auto found = counters_.find({place, path});
    return found == counters_.end() ? HQOS_SPSonCounters{} : found->second;
  }

 private:
  using Version = std::tuple<ino_t, off_t, time_t, long>;

  // Returns "", or why it cannot.
  std::string Load(int fd) {
    counters_.clear();
    try {
      std::string text;
      char block[65536];
      ssize_t size;
      while ((size = read(fd, block, sizeof block)) > 0)
        text.append(block, static_cast<size_t>(size));
      if (size < 0) return std::strerror(errno);
      const json all = json::parse(text);
      if (!all.is_array()) throw std::runtime_error("it is not an array");
      for (const json& entry : all) {
        for (const auto& [key, value] : entry.items()) {
          if (key != "place" && key != "path" && key != "stat32" && key != "stat64") {
            throw std::runtime_error("nothing is known of \"" + key + "\"");
          }
        }
        HQOS_SPSonCounters counters{};
        Fill(entry, "stat32", counters.stat32);
        Fill(entry, "stat64", counters.stat64);
        counters_[{entry.at("place"), entry.at("path")}] = counters;
      }
      return "";
    } catch (const std::exception& e) {
      return e.what();
    }
  }

  const std::string file_;
  std::optional<Version> version_;  // of what is loaded
  std::map<std::pair<std::string, std::vector<std::string>>, HQOS_SPSonCounters> counters_;
};

}  // namespace

std::unique_ptr<CounterSource> NoCounters() { return std::make_unique<CounterSource>(); }

std::unique_ptr<CounterSource> FileCounters(const std::string& file) {
  return std::make_unique<File>(file);
}

}  // namespace hqosd
