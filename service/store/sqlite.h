// SQLite: what is open is closed, and how rows are read.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>

#include "service/model/tlvs.h"

namespace hqosd {

struct CloseSqlite {
  void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, CloseSqlite>;
using Statement = std::unique_ptr<sqlite3_stmt, CloseSqlite>;

// Null when it cannot be prepared; the database says why.
inline Statement Prepare(sqlite3* db, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(db, sql, -1, &statement, nullptr);
  return Statement(statement);
}

inline bool Execute(sqlite3* db, const char* sql) {
  return sqlite3_exec(db, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

// Without bytes there may be no pointer, and that would bind NULL.
inline void Bind(sqlite3_stmt* to, int column, const std::string& text) {
  sqlite3_bind_text(to, column, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
}
inline void Bind(sqlite3_stmt* to, int column, const Bytes& bytes) {
  const void* const data = bytes.empty() ? "" : static_cast<const void*>(bytes.data());
  sqlite3_bind_blob(to, column, data, static_cast<int>(bytes.size()), SQLITE_STATIC);
}
inline void Bind(sqlite3_stmt* to, int column, int64_t number) {
  sqlite3_bind_int64(to, column, number);
}

// Runs a statement without result rows, with its parameters in turn.
template <class... Values>
bool Run(const Statement& statement, const Values&... values) {
  int column = 0;
  (Bind(statement.get(), ++column, values), ...);
  const bool done = sqlite3_step(statement.get()) == SQLITE_DONE;
  return sqlite3_reset(statement.get()) == SQLITE_OK && done;
}

inline Bytes BytesAt(sqlite3_stmt* row, int column) {
  const auto* const bytes = static_cast<const uint8_t*>(sqlite3_column_blob(row, column));
  return bytes == nullptr ? Bytes() : Bytes(bytes, bytes + sqlite3_column_bytes(row, column));
}
inline std::string TextAt(sqlite3_stmt* row, int column) {
  const Bytes bytes = BytesAt(row, column);
  return {bytes.begin(), bytes.end()};
}

// Calls `take` with each row. Returns the result of the last step, SQLITE_DONE after the last row.
template <class Take>
int ForEachRow(sqlite3* db, const char* sql, const Take& take) {
  const Statement select = Prepare(db, sql);
  if (select == nullptr) return sqlite3_errcode(db);
  int result = SQLITE_OK;
  while ((result = sqlite3_step(select.get())) == SQLITE_ROW) take(select.get());
  return result;
}

// The text in the first column of the first row; "" when there is none.
inline std::string FirstText(sqlite3* db, const char* sql) {
  const Statement select = Prepare(db, sql);
  const bool isRow = select != nullptr && sqlite3_step(select.get()) == SQLITE_ROW;
  return isRow ? TextAt(select.get(), 0) : "";
}

}  // namespace hqosd
