// Rows on the pages of a damaged database file, without its tree.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "service/model/tlvs.h"

namespace hqosd {

struct PageRow {
  std::string key;
  Bytes value;
  int64_t sum;
};

// Calls `take` with everything on the pages of the database that has the form of a row of `record`.
// A page that its log has committed is taken from there. Rows with overflow pages are left out.
void ScanPages(const std::string& file, const std::function<void(const PageRow&)>& take);

}  // namespace hqosd
