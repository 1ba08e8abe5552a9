// What listings print: tables for people, or one JSON array for programs.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace hqosctl {

// The text as a terminal shows it faithfully: control characters, those that change the direction
// of writing, and bytes that are not UTF-8 become \xNN.
std::string Shown(const std::string& text);

// The same for each line of a text.
std::string ShownLines(const std::string& text);

class Output {
 public:
  using Record = nlohmann::ordered_json;

  bool json = false;

  // Begins a listing. From now on the array is printed, even if the listing fails halfway.
  void Begin(std::vector<std::string> headers);
  // One object: its cells in the table, its record in the array.
  void Add(std::vector<std::string> cells, Record record);
  // The same for a line of a drawing, in a listing without headers; a line may go without a record.
  void Line(std::string text, Record record = nullptr);
  // Ends a listing and prints its table, after a blank line unless it is the first.
  void End();
  // Ends the program's output: prints the array of all listings.
  void Finish();

 private:
  std::vector<std::vector<std::string>> lines_;
  bool first_ = true;
  nlohmann::ordered_json records_;
};

}  // namespace hqosctl
