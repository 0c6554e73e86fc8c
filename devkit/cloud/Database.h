#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace devkit {

/// An SQLite database. One thread at a time. Failures throw std::runtime_error with a sentence.
class Database {
 public:
  /// Makes the file if there is none; an empty path is a database in memory.
  explicit Database(const std::filesystem::path& file);
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  ~Database();

  /// For statements without parameters and rows.
  void execute(const char* sql);
  /// How many rows the last change has touched.
  int changes() const;

 private:
  friend class Statement;
  [[noreturn]] void fail() const;

  sqlite3* handle_ = nullptr;
};

/// A statement with its parameters, run row by row. It must not outlive its database.
class Statement {
 public:
  Statement(Database& database, const char* sql);
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement();

  // The next parameter; texts may hold any bytes.
  Statement& bind(const std::string& value);
  Statement& bind(std::int64_t value);

  /// False when there is no further row.
  bool step();
  // Of the current row, counted from 0.
  std::string text(int column) const;
  std::int64_t number(int column) const;

 private:
  Database& database_;
  sqlite3_stmt* handle_ = nullptr;
  int bound_ = 0;
};

}  // namespace devkit
