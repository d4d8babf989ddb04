#pragma once

#include <string>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

/// The same objects as rows of an SQLite database with a write-ahead log.
class dur_Sqlite {
 public:
  /// Makes a database of n rows.
  /// \param full synchronous=FULL, else NORMAL.
  dur_Sqlite(const std::string& path, int n, const std::vector<unsigned char>& bytes, bool full);
  ~dur_Sqlite();
  dur_Sqlite(const dur_Sqlite&) = delete;
  dur_Sqlite& operator=(const dur_Sqlite&) = delete;

  /// Replaces the bytes of a row, in a transaction of its own.
  void Update(int row, const std::vector<unsigned char>& bytes);

 private:
  void Run(const char* statement);
  void Step(sqlite3_stmt* statement, int row, const std::vector<unsigned char>& bytes);

  sqlite3* m_database = nullptr;
  sqlite3_stmt* m_update = nullptr;
};
