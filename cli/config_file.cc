#include "cli/config_file.h"

#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

#include "cli/failure.h"
#include "client/check.h"
#include "client/document.h"
#include "client/read_model.h"

namespace hqosctl {

namespace {

std::string ReadAll(std::istream& in, const std::string& title) {
  std::ostringstream text;
  in.peek();  // fails for a directory
  text << in.rdbuf();
  const bool hasFailed = in.bad() || (&in == &std::cin && std::ferror(stdin) != 0);
  if (hasFailed || (text.fail() && !in.eof() && in.peek() != std::istream::traits_type::eof())) {
    throw Failure(kUsage, "cannot read " + title);
  }
  return text.str();
}

// One line for each fault, the first for Failure to begin.
std::string FaultText(const std::string& title, const client::Document& document,
                      client::Faults faults) {
  document.Sort(faults);
  std::string text;
  for (const client::Fault& fault : faults) {
    const std::string place = document.Locate(fault.path);
    if (!text.empty()) text += "\nhqosctl: ";
    text += title + ':' + place + (place.empty() ? " " : ": ") + fault.text;
  }
  return text;
}

}  // namespace

std::string FileTitle(const std::string& file) { return file == "-" ? "standard input" : file; }

std::string ReadFile(const std::string& file) {
  if (file == "-") return ReadAll(std::cin, FileTitle(file));
  std::ifstream in(file);
  if (!in) throw Failure(kUsage, "cannot read " + file);
  return ReadAll(in, file);
}

client::Model ReadModelFile(const std::string& file, bool isWhole) {
  client::Faults faults;
  const client::Document document = client::Document::Read(ReadFile(file), faults);
  client::Model model;
  if (document.IsRead()) model = client::ReadModel(document, faults);
  if (document.IsRead() && isWhole) {
    for (client::Fault& fault : client::Check(model)) faults.push_back(std::move(fault));
  }
  if (!faults.empty()) throw Failure(kUsage, FaultText(FileTitle(file), document, faults));
  return model;
}

}  // namespace hqosctl
