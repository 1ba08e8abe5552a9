#include "service/model/counters.h"

#include <sys/stat.h>

#include <fstream>
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

  bool Refresh() override {
    struct stat now;
    if (stat(file_.c_str(), &now) != 0) now = {};
    const Version version{now.st_ino, now.st_size, now.st_mtim.tv_sec, now.st_mtim.tv_nsec};
    if (version == version_) return true;
    const bool loaded = Load();
    version_ = loaded ? std::optional(version) : std::nullopt;
    return loaded;
  }

  HQOS_SPSonCounters Read(const std::string& place, const std::vector<std::string>& path) override {
    const auto found = counters_.find({place, path});
    return found == counters_.end() ? HQOS_SPSonCounters{} : found->second;
  }

 private:
  using Version = std::tuple<ino_t, off_t, time_t, long>;

  bool Load() {
    counters_.clear();
    try {
      std::ifstream in(file_);
      const json all = json::parse(in);
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
      return true;
    } catch (const std::exception& e) {
      Log("cannot read counters from %s: %s", file_.c_str(), e.what());
      return false;
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
