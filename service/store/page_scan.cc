#include "service/store/page_scan.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <optional>

namespace hqosd {

namespace {

// Reads what is in a page, and never beyond its end.
class Cursor {
 public:
  Cursor(const Bytes& page, size_t at) : page_(page), at_(at) {}

  size_t at() const { return at_; }
  bool Has(uint64_t count) const { return at_ <= page_.size() && count <= page_.size() - at_; }
  const uint8_t* Take(size_t count) {
    const uint8_t* const bytes = page_.data() + at_;
    at_ += count;
    return bytes;
  }
  std::optional<uint64_t> Big(size_t count) {
    if (!Has(count)) return std::nullopt;
    uint64_t number = 0;
    for (const uint8_t* byte = Take(count); count > 0; --count) number = number << 8 | *byte++;
    return number;
  }
  // Seven bits a byte, the high ones first; the ninth byte has eight.
  std::optional<uint64_t> Varint() {
    uint64_t number = 0;
    for (int i = 0; i < 9; ++i) {
      if (!Has(1)) return std::nullopt;
      const uint8_t byte = *Take(1);
      if (i == 8) return number << 8 | byte;
      number = number << 7 | (byte & 0x7F);
      if (byte < 0x80) return number;
    }
    return std::nullopt;
  }

 private:
  const Bytes& page_;
  size_t at_;
};

constexpr size_t kFileHeader = 100;  // bytes, before the first page's own header
constexpr uint8_t kInteriorIndex = 0x02, kLeafIndex = 0x0A;

// A whole number of the serial type; none for other types.
std::optional<int64_t> Integer(Cursor& in, uint64_t type) {
  constexpr size_t kWidths[] = {0, 1, 2, 3, 4, 6, 8};
  if (type == 8 || type == 9) return static_cast<int64_t>(type - 8);
  if (type == 0 || type > 6) return std::nullopt;
  const auto bits = in.Big(kWidths[type]);
  if (!bits) return std::nullopt;
  const int shift = static_cast<int>(64 - 8 * kWidths[type]);
  return static_cast<int64_t>(*bits << shift) >> shift;
}

// The row at that place of the page: the size of its header, the types of its three columns, and
// the columns.
std::optional<PageRow> RowAt(const Bytes& page, size_t at) {
  Cursor in(page, at);
  const auto size = in.Varint();
  const size_t maxLocal = (page.size() - 12) * 64 / 255 - 23;
  if (!size || *size > maxLocal || !in.Has(*size)) return std::nullopt;
  const size_t header = in.at();
  const auto headerSize = in.Varint(), key = in.Varint(), value = in.Varint(), sum = in.Varint();
  if (!sum || !headerSize || in.at() != header + *headerSize) return std::nullopt;
  if (*key < 13 || *key % 2 == 0 || *value < 12 || *value % 2 != 0) return std::nullopt;
  const uint64_t keySize = (*key - 13) / 2, valueSize = (*value - 12) / 2;
  if (keySize > *size || valueSize > *size || !in.Has(keySize + valueSize)) return std::nullopt;
  PageRow row;
  const uint8_t* const keyBytes = in.Take(keySize);
  row.key.assign(keyBytes, keyBytes + keySize);
  const uint8_t* const valueBytes = in.Take(valueSize);
  row.value.assign(valueBytes, valueBytes + valueSize);
  const auto number = Integer(in, *sum);
  if (!number || in.at() != header + *size) return std::nullopt;
  row.sum = *number;
  return row;
}

// `begin` is where the page's own header is.
void ScanPage(const Bytes& page, size_t begin, const std::function<void(const PageRow&)>& take) {
  const auto type = Cursor(page, begin).Big(1);
  if (!type || (*type != kInteriorIndex && *type != kLeafIndex)) return;
  const uint64_t cells = Cursor(page, begin + 3).Big(2).value_or(0);
  Cursor in(page, begin + (*type == kLeafIndex ? 8 : 12));
  for (uint64_t i = 0; i < cells; ++i) {
    const auto at = in.Big(2);
    if (!at) return;
    const auto row = RowAt(page, *at + (*type == kLeafIndex ? 0 : 4));
    if (row) take(*row);
  }
}

bool Read(std::ifstream& in, Bytes& bytes) {
  return !!in.read(reinterpret_cast<char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
}

// The size of the pages that the header of the file or log gives; 4096 when it is invalid.
size_t PageSize(const Bytes& header, bool isLog) {
  Cursor in(header, isLog ? 8 : 16);
  uint64_t size = in.Big(isLog ? 4 : 2).value_or(0);
  if (size == 1) size = 65536;
  return size >= 512 && size <= 65536 && (size & (size - 1)) == 0 ? size : 4096;
}

// The committed pages of a log by their numbers, from 1. Its frames are a header of 24 bytes (page
// number, database size at a commit, the log's own two salts) and a page.
std::map<uint64_t, Bytes> PagesOfLog(const std::string& log) {
  std::map<uint64_t, Bytes> pages, uncommitted;
  std::ifstream in(log, std::ios::binary);
  Bytes header(32), frame(24);
  if (!Read(in, header)) return {};
  Bytes page(PageSize(header, true));
  while (Read(in, frame) && Read(in, page)) {
    if (!std::equal(header.begin() + 16, header.begin() + 24, frame.begin() + 8)) continue;
    uncommitted[*Cursor(frame, 0).Big(4)] = page;
    if (*Cursor(frame, 4).Big(4) == 0) continue;
    uncommitted.merge(pages);  // keeps its own
    pages.swap(uncommitted);
    uncommitted.clear();
  }
  return pages;
}

}  // namespace

void ScanPages(const std::string& file, const std::function<void(const PageRow&)>& take) {
  std::map<uint64_t, Bytes> logged = PagesOfLog(file + "-wal");
  std::ifstream in(file, std::ios::binary);
  Bytes header(kFileHeader);
  Read(in, header);
  in.clear();
  in.seekg(0);
  Bytes page(logged.empty() ? PageSize(header, false) : logged.begin()->second.size());
  uint64_t number = 1;
  for (; Read(in, page); ++number) {
    const auto later = logged.find(number);
    ScanPage(later == logged.end() ? page : later->second, number == 1 ? kFileHeader : 0, take);
  }
  for (auto rest = logged.lower_bound(number); rest != logged.end(); ++rest) {
    ScanPage(rest->second, rest->first == 1 ? kFileHeader : 0, take);
  }
}

}  // namespace hqosd
