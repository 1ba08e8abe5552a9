// What monitoring systems read: counters of children and of the service.
#include <iostream>
#include <memory>
#include <sstream>

#include "cli/apply_target.h"
#include "cli/arguments.h"
#include "cli/commands.h"
#include "cli/counters.h"
#include "cli/exchange.h"
#include "cli/read.h"
#include "cli/records.h"

namespace hqosctl {

namespace {

using Labels = std::vector<std::pair<std::string, std::string>>;

std::string Replaced(const std::string& text, char what, const std::string& by) {
  std::string replaced;
  for (const char c : text) replaced += c == what ? by : std::string(1, c);
  return replaced;
}

// The label {name="value"} as both formats have it: UTF-8, with escapes.
std::string LabelsText(const Labels& labels) {
  std::string text;
  for (const auto& [name, value] : labels) {
    std::string escaped = Replaced(Shown(value), '\\', "\\\\");
    escaped = Replaced(Replaced(escaped, '"', "\\\""), '\n', "\\n");
    text += (text.empty() ? "" : ",") + name + "=\"" + escaped + '"';
  }
  return text.empty() ? "" : '{' + text + '}';
}

// Metrics in the text form of OpenMetrics, or in the older one, which the collectors of files read.
class Exposition {
 public:
  explicit Exposition(bool isOpen) : isOpen_(isOpen) { out_.precision(12); }

  // Begins a family; a unit ends its name.
  void Begin(const std::string& name, const char* type, const char* unit, const char* help) {
    name_ = name;
    suffix_ = type == std::string("counter") ? "_total" : "";
    const std::string title = name + (isOpen_ ? "" : suffix_);
    out_ << "# HELP " << title << ' ' << help << "\n# TYPE " << title << ' ' << type << '\n';
    if (isOpen_ && *unit != '\0') out_ << "# UNIT " << title << ' ' << unit << '\n';
  }

  template <class Value>
  void Add(const Labels& labels, Value value) {
    AddPart(suffix_, labels, value);
  }

  // A sample of a histogram.
  template <class Value>
  void AddPart(const std::string& suffix, const Labels& labels, Value value) {
    out_ << name_ << suffix << LabelsText(labels) << ' ' << value << '\n';
  }

  std::string Text() const { return out_.str() + (isOpen_ ? "# EOF\n" : ""); }

 private:
  bool isOpen_;
  std::string name_, suffix_;
  std::ostringstream out_;
};

// The counters of a child, with its labels.
struct Sample {
  Labels labels;
  HQOS_SPSonCounters counters;
};

// The names on the path down to a child, joined by slashes; a slash in a name is escaped.
std::string PathText(const std::vector<std::string>& names) {
  std::string path;
  for (const std::string& name : names) {
    path += (path.empty() ? "" : "/") + Replaced(Replaced(name, '\\', "\\\\"), '/', "\\/");
  }
  return path;
}

std::vector<Sample> ReadSamples() {
  std::vector<Sample> samples;
  for (const HQOS_ApplyInfo& info : ApplyTarget().ReadApplied(false)) {
    std::vector<std::string> names;
    for (const HQOS_SPSonStat& one : ReadSPSonStats(info.obj, info.sp)) {
      Descend(names, one.son);
      samples.push_back({{{"interface", info.obj.name},
                          {"direction", DirectionText(info.obj)},
                          {"sp", info.sp.name},
                          {"path", PathText(names)},
                          {"kind", one.son.cfg.value2 == kFC ? "fc" : "fg"}},
                         one.counters});
    }
  }
  return samples;
}

void AddChildren(const std::vector<Sample>& samples, Exposition& out) {
  for (const Counter& counter : kCounters) {
    out.Begin(std::string("hqos_") + counter.key, counter.isTotal ? "counter" : "gauge",
              counter.unit, counter.help);
    for (const Sample& one : samples) out.Add(one.labels, counter.Of(one.counters));
  }
}

void AddCommits(const hqos::ServiceStatus& counted, Exposition& out) {
  constexpr double kNanosecond = 1e-9;
  out.Begin("hqos_commit_duration_seconds", "histogram", "seconds",
            "Time that commits to the store took.");
  uint64_t sum = 0;
  for (size_t i = 0; i < std::size(counted.commits); ++i) {
    sum += counted.commits[i];
    std::ostringstream bound;
    if (i < std::size(hqos::kCommitBounds)) {
      bound << static_cast<double>(hqos::kCommitBounds[i]) * kNanosecond;
    }
    out.AddPart("_bucket", {{"le", bound.str().empty() ? "+Inf" : bound.str()}}, sum);
  }
  out.AddPart("_sum", {}, static_cast<double>(counted.commitTime) * kNanosecond);
  out.AddPart("_count", {}, sum);
}

void AddService(const Status& status, Exposition& out) {
  constexpr const char* kKinds[] = {"sp", "fg", "fc", "fp", "dp"};
  const hqos::ServiceStatus& counted = status.counted;
  const struct {
    const char *name, *type, *unit, *help;
    uint64_t value;
  } kFamilies[] = {{"hqos_applications", "gauge", "",
                    "Objects and directions to which an SP is applied.", counted.applications},
                   {"hqos_revision", "gauge", "", "Revision of the state.", status.revision},
                   {"hqos_start_time_seconds", "gauge", "seconds",
                    "When the service started, since 1970.", counted.startTime},
                   {"hqos_commands", "counter", "", "Commands and transactions, refused or not.",
                    counted.commands},
                   {"hqos_refusals", "counter", "", "Commands and transactions that were refused.",
                    counted.refusals},
                   {"hqos_queries", "counter", "", "Queries.", counted.queries},
                   {"hqos_commit_failures", "counter", "", "Commits that the store has refused.",
                    counted.failures}};
  out.Begin("hqos_objects", "gauge", "", "Objects by kind.");
  for (size_t i = 0; i < std::size(kKinds); ++i) {
    out.Add({{"kind", kKinds[i]}}, counted.objects[i]);
  }
  for (const auto& family : kFamilies) {
    out.Begin(family.name, family.type, family.unit, family.help);
    out.Add({}, family.value);
  }
  AddCommits(counted, out);
}

}  // namespace

void AddMetricsCommand(CLI::App& app) {
  const auto format = std::make_shared<std::string>("openmetrics");
  CLI::App* const metrics =
      app.add_subcommand("metrics", "Print counters of children and of the service for monitoring");
  metrics->add_option("--format", *format, "openmetrics by default; textfile for file collectors")
      ->check(CLI::IsMember({"openmetrics", "textfile"}));
  metrics->callback([format] {
    Exposition out(*format == "openmetrics");
    AddChildren(ReadSamples(), out);
    AddService(ReadStatus(), out);
    std::cout << out.Text();
  });
}

}  // namespace hqosctl
