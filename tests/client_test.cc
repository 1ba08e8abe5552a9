// Models: what is written is read, as a file in either language and as commands.
#include <gtest/gtest.h>

#include <sstream>

#include "client/check.h"
#include "client/commands.h"
#include "client/difference.h"
#include "client/quantity.h"
#include "client/read_model.h"
#include "client/write_model.h"
#include "tests/random_model.h"

namespace {

using client::Model;

Model Read(const std::string& text) {
  client::Faults faults;
  Model model = client::ReadModel(client::Document::Read(text, faults), faults);
  for (const client::Fault& fault : faults) ADD_FAILURE() << fault.text << '\n' << text;
  return model;
}

void ExpectSame(const Model& a, const Model& b) {
  for (const client::Change& change : client::Differences(a, b)) {
    ADD_FAILURE() << change.kind << ' ' << change.name << ' ' << change.key << ": " << change.before
                  << ' ' << change.after;
  }
}

TEST(Model, IsReadAsItIsWritten) {
  std::mt19937 random(1);
  for (int round = 0; round < 300 && !HasFailure(); ++round) {
    const Model model = RandomModel(random).Draw();
    for (const client::Fault& fault : client::Check(model)) ADD_FAILURE() << fault.text;
    std::ostringstream toml, json;
    client::WriteToml(model, 7, toml);
    client::WriteJson(model, 7, json);
    ExpectSame(model, Read(toml.str()));
    ExpectSame(model, Read(json.str()));
    Model decoded;
    EXPECT_TRUE(client::Decode(client::Encode(model, {}).bytes, decoded));
    ExpectSame(model, decoded);
    // What a file does not name stays in a merge, and what it names is merged.
    const Model other = RandomModel(random).Draw();
    const Model merged = client::Merge(other, model);
    for (const client::Change& change : client::Differences(client::WithoutIds(other), merged)) {
      const bool isDefault = change.key == "unit" || change.key == "weight";  // named so
      EXPECT_TRUE(change.op != client::Change::kRemove || isDefault)
          << change.kind << ' ' << change.name << ' ' << change.key;
    }
    ExpectSame(merged, client::Merge(merged, model));
  }
}

TEST(Quantity, HasUnits) {
  using client::Quantity;
  const struct {
    const char* text;
    Quantity quantity;
    std::optional<uint32_t> value;
  } cases[] = {
      {"5Mbit", Quantity::kKbitPerSecond, 5000},
      {"1.5Mbit", Quantity::kKbitPerSecond, 1500},
      {"64000bit", Quantity::kKbitPerSecond, 64},
      {"4294967295", Quantity::kKbitPerSecond, 4294967295},
      {"500bit", Quantity::kKbitPerSecond, std::nullopt},
      {"4295Gbit", Quantity::kKbitPerSecond, std::nullopt},
      {"20kB", Quantity::kKbitPerSecond, std::nullopt},
      {"20kB", Quantity::kBytes, 20000},
      {"1.5KiB", Quantity::kBytes, 1536},
      {"1.5B", Quantity::kBytes, std::nullopt},
      {"4GiB", Quantity::kBytes, std::nullopt},
      {"1.", Quantity::kBytes, std::nullopt},
      {".5kB", Quantity::kBytes, std::nullopt},
      {"1.2.3kB", Quantity::kBytes, std::nullopt},
      {"-1kB", Quantity::kBytes, std::nullopt},
      {"kB", Quantity::kBytes, std::nullopt},
      {"", Quantity::kBytes, std::nullopt},
      {"99999999999", Quantity::kBytes, std::nullopt},
      {"9999999999GB", Quantity::kBytes, std::nullopt},
  };
  for (const auto& c : cases)
    EXPECT_EQ(client::ParseQuantity(c.text, c.quantity), c.value) << c.text;
}

}  // namespace
