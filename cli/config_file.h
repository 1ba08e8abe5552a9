// Hierarchies in files.
#pragma once

#include <string>

#include "client/model.h"

namespace hqosctl {

// All of a file; "-" is standard input. Throws a Failure when it cannot be read.
std::string ReadFile(const std::string& file);

// The name of a file for messages.
std::string FileTitle(const std::string& file);

// The model in the file. Throws a Failure that lists all faults; with `isWhole` also those that
// only the model as a whole can have.
client::Model ReadModelFile(const std::string& file, bool isWhole);

}  // namespace hqosctl
