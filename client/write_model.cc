#include "client/write_model.h"

#include <algorithm>

#include "client/read_model.h"
#include "client/rule_text.h"

namespace client {

namespace {

// The length of the UTF-8 character that begins at `at`; 0 when none does.
size_t CharacterAt(const std::string& text, size_t at) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[at + i]); };
  if (byte(0) < 0x80) return 1;
  const size_t length = byte(0) >= 0xF0 ? 4 : byte(0) >= 0xE0 ? 3 : 2;
  if (byte(0) < 0xC2 || byte(0) > 0xF4 || at + length > text.size()) return 0;
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  if (byte(0) == 0xE0 && byte(1) < 0xA0) return 0;
  if (byte(0) == 0xED && byte(1) >= 0xA0) return 0;
  if (byte(0) == 0xF0 && byte(1) < 0x90) return 0;
  if (byte(0) == 0xF4 && byte(1) >= 0x90) return 0;
  return length;
}

template <class Object>
Record WithId(const Object& object) {
  Record record = Record::object();
  if (object.id) record["id"] = *object.id;
  return record;
}

void AddChildren(const Children& children, Record& record) {
  if (children.empty()) return;
  Record& list = record["children"] = Record::array();
  for (const auto& child : children) list.push_back(RecordOf(child));
}

// A text in quotes. JSON's escapes are TOML's.
std::string Quoted(const std::string& text) {
  std::string quoted = Record(text).dump();
  for (size_t at = 0; (at = quoted.find('\x7F', at)) != std::string::npos;) {
    quoted.replace(at, 1, "\\u007f");
  }
  return quoted;
}

std::string Key(const std::string& name) {
  const bool isBare = !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' ||
           c == '_';
  });
  return isBare ? name : Quoted(name);
}

// Children come one on a line.
void WriteMember(const std::string& key, const Record& value, std::ostream& out) {
  out << key << " = ";
  if (key != "children") {
    out << Inline(value) << '\n';
    return;
  }
  out << "[\n";
  for (const Record& child : value) out << "  " << Inline(child) << ",\n";
  out << "]\n";
}

template <class Objects>
void WriteTables(const char* kind, const Objects& objects, std::ostream& out) {
  for (const auto& [name, object] : objects) {
    out << "\n[" << kind << '.' << Key(Utf8(name)) << "]\n";
    const Record record = RecordOf(object);
    for (const auto& [key, value] : record.items()) WriteMember(key, value, out);
  }
}

// One object a line, so that differences of files are readable.
template <class Objects>
void WriteObjects(const char* kind, const Objects& objects, std::ostream& out) {
  out << ",\n  \"" << kind << "\": {";
  const char* separator = "\n    ";
  for (const auto& [name, object] : objects) {
    out << separator << Record(Utf8(name)).dump() << ": " << RecordOf(object).dump();
    separator = ",\n    ";
  }
  out << (objects.empty() ? "}" : "\n  }");
}

}  // namespace

std::string Utf8(const std::string& text) {
  std::string utf8;
  for (size_t at = 0; at < text.size();) {
    const size_t length = CharacterAt(text, at);
    if (length == 0) {
      constexpr char kDigits[] = "0123456789abcdef";
      const auto byte = static_cast<unsigned char>(text[at]);
      utf8 += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0xF]};
    }
    utf8.append(text, at, length);
    at += std::max<size_t>(length, 1);
  }
  return utf8;
}

Record RecordOf(const SP& sp) {
  Record record = WithId(sp);
  if (sp.unit.value_or(HQOS_SPUNIT_BYTE_COUNT) != HQOS_SPUNIT_BYTE_COUNT) {
    const char* const unit = HQOS_util_GetSPUnitStr(*sp.unit);
    record["unit"] = unit != nullptr ? Record(unit) : Record(*sp.unit);
  }
  AddChildren(sp.children, record);
  return record;
}

Record RecordOf(const FG& fg) {
  Record record = WithId(fg);
  AddChildren(fg.children, record);
  return record;
}

Record RecordOf(const FP& fp) {
  Record record = WithId(fp);
  if (fp.queue) record["queue"] = *fp.queue;
  if (fp.gts) record["gts"] = *fp.gts;
  if (fp.bandwidth) record["bandwidth"] = *fp.bandwidth;
  if (!fp.dp.empty()) record["dp"] = Utf8(fp.dp);
  return record;
}

Record RecordOf(const DP& dp) {
  Record record = WithId(dp);
  if (dp.weight.value_or(0) != 0) record["weight"] = *dp.weight;
  Record thresholds = Record::object();
  for (size_t i = 0; i < dp.thresholds.size(); ++i) {
    const HQOS_DPThreshold t = dp.thresholds[i].value_or(HQOS_DPThreshold{});
    const bool isSet = t.value1 != 0 || t.value2 != 0 || t.value3 != 0 || t.value4 != 0;
    if (isSet) thresholds[std::to_string(i)] = {t.value1, t.value2, t.value3, t.value4};
  }
  if (!thresholds.empty()) record["thresholds"] = std::move(thresholds);
  return record;
}

Record RecordOf(const Children::value_type& child) {
  const auto& [key, nesting] = child;
  Record record = {{key.first == ChildKind::kFC ? "fc" : "fg", Utf8(key.second)}};
  if (key.first == ChildKind::kFG) record["match"] = RuleText(nesting.rule);
  if (!nesting.fp.empty()) record["fp"] = Utf8(nesting.fp);
  return record;
}

Record RecordOf(const std::pair<const Target, Application>& application) {
  const Target& target = application.first;
  Record record = {{"sp", Utf8(application.second.sp)}};
  if (target.type == HQOS_APPOBJ_IFINDEX) record["interface"] = Utf8(target.interface);
  if (target.type == HQOS_APPOBJ_SLOT) record["slot"] = target.number;
  if (target.type == HQOS_APPOBJ_ID) record["id"] = target.number;
  if (target.type == HQOS_APPOBJ_SYSTEM) record["system"] = true;
  const char* const direction = HQOS_util_GetDirStr(target.direction);
  record["direction"] = direction != nullptr ? direction : std::to_string(target.direction);
  return record;
}

std::string Inline(const Record& value) {
  std::string text;
  if (value.is_string()) return Quoted(value.get_ref<const std::string&>());
  if (value.is_array()) {
    for (const Record& item : value) text += (text.empty() ? "" : ", ") + Inline(item);
    return "[" + text + "]";
  }
  if (!value.is_object()) return value.dump();
  for (const auto& [key, item] : value.items()) {
    text += (text.empty() ? " " : ", ") + Key(key) + " = " + Inline(item);
  }
  return text.empty() ? "{}" : "{" + text + " }";
}

void WriteToml(const Model& model, uint64_t revision, std::ostream& out) {
  out << "format = " << kFormat << "\nrevision = " << revision << '\n';
  WriteTables("sp", model.sp, out);
  WriteTables("fg", model.fg, out);
  WriteTables("fp", model.fp, out);
  WriteTables("dp", model.dp, out);
  for (const auto& application : model.apply) {
    out << "\n[[apply]]\n";
    const Record record = RecordOf(application);
    for (const auto& [key, value] : record.items()) WriteMember(key, value, out);
  }
}

void WriteJson(const Model& model, uint64_t revision, std::ostream& out) {
  out << "{\n  \"format\": " << kFormat << ",\n  \"revision\": " << revision;
  WriteObjects("sp", model.sp, out);
  WriteObjects("fg", model.fg, out);
  WriteObjects("fp", model.fp, out);
  WriteObjects("dp", model.dp, out);
  out << ",\n  \"apply\": [";
  const char* separator = "\n    ";
  for (const auto& application : model.apply) {
    out << separator << RecordOf(application).dump();
    separator = ",\n    ";
  }
  out << (model.apply.empty() ? "]\n}\n" : "\n  ]\n}\n");
}

Model WithoutIds(Model model) {
  const auto clear = [](auto& objects) {
    for (auto& [name, object] : objects) object.id.reset();
  };
  clear(model.sp);
  clear(model.fg);
  clear(model.fp);
  clear(model.dp);
  return model;
}

}  // namespace client
