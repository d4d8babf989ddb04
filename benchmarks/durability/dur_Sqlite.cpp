#include "dur_Sqlite.h"

#include "dur_Files.h"

#include <sqlite3.h>

namespace {
sqlite3_stmt* prepared(sqlite3* database, const char* text) {
  sqlite3_stmt* statement = nullptr;
  dur_Must(sqlite3_prepare_v2(database, text, -1, &statement, nullptr) == SQLITE_OK, text);
  return statement;
}
} // namespace

dur_Sqlite::dur_Sqlite(const std::string& path, int n, const std::vector<unsigned char>& bytes, bool full) {
  dur_Remove(path);
  dur_Must(sqlite3_open(path.c_str(), &m_database) == SQLITE_OK, "an SQLite database");
  Run("PRAGMA journal_mode=WAL");
  Run(full ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL");
  Run("CREATE TABLE objects (bytes BLOB, id INTEGER PRIMARY KEY)");
  Run("BEGIN");
  sqlite3_stmt* const insert = prepared(m_database, "INSERT INTO objects VALUES (?1, ?2)");
  for (int row = 0; row < n; ++row)
    Step(insert, row, bytes);
  sqlite3_finalize(insert);
  Run("COMMIT");
  m_update = prepared(m_database, "UPDATE objects SET bytes = ?1 WHERE id = ?2");
}

dur_Sqlite::~dur_Sqlite() {
  sqlite3_finalize(m_update);
  sqlite3_close(m_database);
}

void dur_Sqlite::Update(int row, const std::vector<unsigned char>& bytes) {
  Step(m_update, row, bytes);
}

void dur_Sqlite::Run(const char* statement) {
  dur_Must(sqlite3_exec(m_database, statement, nullptr, nullptr, nullptr) == SQLITE_OK, statement);
}

void dur_Sqlite::Step(sqlite3_stmt* statement, int row, const std::vector<unsigned char>& bytes) {
  sqlite3_bind_blob(statement, 1, bytes.data(), static_cast<int>(bytes.size()), SQLITE_STATIC);
  sqlite3_bind_int(statement, 2, row);
  dur_Must(sqlite3_step(statement) == SQLITE_DONE, "an SQLite statement");
  sqlite3_reset(statement);
}
