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

// Calls `take` with everything on the page that has the form of a row of `record`. Rows with
// overflow pages are left out. `page` has the size of the database's pages; `begin` is 100 on its
// first page, else 0.
void ScanPage(const Bytes& page, size_t begin, const std::function<void(const PageRow&)>& take);

// The size of the pages that the header of the file or log gives; 4096 when it makes no sense.
size_t PageSize(const Bytes& header, bool isLog);

}  // namespace hqosd
