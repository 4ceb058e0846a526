#pragma once
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>
#include <vector>

namespace orbtest {

/// Runs SQL on a file with SQLite itself, as any other program could.
/// @return the rows of a query, columns separated by '|'
inline std::vector<std::string> runSql(const std::string& path, const std::string& sql) {
  std::vector<std::string> rows;
  sqlite3* database = nullptr;
  EXPECT_EQ(sqlite3_open(path.c_str(), &database), SQLITE_OK);
  const auto collect = [](void* to, int n, char** columns, char**) {
    std::string row;
    for (int i = 0; i < n; ++i) row += (i == 0 ? "" : "|") + std::string(columns[i] != nullptr ? columns[i] : "NULL");
    static_cast<std::vector<std::string>*>(to)->push_back(row);
    return 0;
  };
  char* message = nullptr;
  EXPECT_EQ(sqlite3_exec(database, sql.c_str(), collect, &rows, &message), SQLITE_OK)
      << sql << ": " << (message != nullptr ? message : "");
  sqlite3_free(message);
  sqlite3_close(database);
  return rows;
}

}  // namespace orbtest
