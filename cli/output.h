// What listings print: tables for people, or one JSON array for programs.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

namespace hqosctl {

// The text as a terminal shows it faithfully: control characters, those that change the direction
// of writing, and bytes that are not UTF-8 become \xNN.
std::string Shown(const std::string& text);

// The same for each line of a text.
std::string ShownLines(const std::string& text);

// A column of a table; numbers are aligned at the right.
struct Column {
  // NOLINTNEXTLINE(google-explicit-constructor): most columns are a title only
  Column(const char* text, bool numbers = false) : title(text), isNumber(numbers) {}
  std::string title;
  bool isNumber;
};
inline Column Number(const char* title) { return {title, true}; }

class Output {
 public:
  using Record = nlohmann::ordered_json;

  bool json = false;
  bool isLine = false;  // a JSON document takes one line

  // What several commands print becomes one array, even if they print nothing.
  void BeginBatch();

  // Begins a listing: from now on an array is printed, even if it is empty.
  void Begin(std::vector<Column> columns);
  // One object: its cells in the table, its record in the array, printed at once.
  void Add(std::vector<std::string> cells, Record record);
  // The same for a line of a drawing, in a listing without headers; a line may go without a record.
  void Line(std::string text, Record record = nullptr);
  // Ends a listing and prints its table, after a blank line unless it is the first.
  void End();

  // Where the next element of the array is to be written, as JSON without a line feed.
  std::ostream& Element();
  // Where to write JSON that is no listing: an element of the array in a batch, otherwise a
  // document.
  std::ostream& Document();
  // Why a command failed: the last element of what has been printed, or else an object of its own.
  void Fail(const Record& error);

  // Ends the array. In a batch nothing happens until it ends.
  void EndDocument();
  // Ends the program's output.
  void Finish();

 private:
  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> lines_;
  bool isFirst_ = true, isBatch_ = false;
  bool isBegun_ = false, isOpen_ = false;  // the array: to be printed; with an element
};

}  // namespace hqosctl
