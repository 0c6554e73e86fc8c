#include "devkit/cloud/Database.h"

#include <sqlite3.h>

#include <stdexcept>

#include "devkit/common/text.h"

namespace devkit {

Database::Database(const std::filesystem::path& file) {
  const std::string name = file.empty() ? ":memory:" : path_text(file);
  if (sqlite3_open(name.c_str(), &handle_) == SQLITE_OK) return;
  const std::string reason = handle_ != nullptr ? sqlite3_errmsg(handle_) : "no memory";
  sqlite3_close(handle_);
  throw std::runtime_error("the database " + name + " can't be opened: " + reason);
}

Database::~Database() {
  sqlite3_close(handle_);
}

void Database::execute(const char* sql) {
  if (sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

int Database::changes() const {
  return sqlite3_changes(handle_);
}

void Database::fail() const {
  const char* const name = sqlite3_db_filename(handle_, "main");
  throw std::runtime_error("the database " +
                           std::string(name != nullptr && *name != '\0' ? name : "in memory") +
                           " fails: " + sqlite3_errmsg(handle_));
}

Statement::Statement(Database& database, const char* sql) : database_(database) {
  if (sqlite3_prepare_v2(database.handle_, sql, -1, &handle_, nullptr) != SQLITE_OK)
    database.fail();
}

Statement::~Statement() {
  sqlite3_finalize(handle_);
}

Statement& Statement::bind(const std::string& value) {
  // Null as the last argument: the text stays where it is, which the caller's statement sees to.
  if (sqlite3_bind_text64(handle_, ++bound_, value.data(), value.size(), nullptr, SQLITE_UTF8) !=
      SQLITE_OK) {
    database_.fail();
  }
  return *this;
}

Statement& Statement::bind(std::int64_t value) {
  if (sqlite3_bind_int64(handle_, ++bound_, value) != SQLITE_OK) database_.fail();
  return *this;
}

bool Statement::step() {
  const int result = sqlite3_step(handle_);
  if (result != SQLITE_ROW && result != SQLITE_DONE) database_.fail();
  return result == SQLITE_ROW;
}

std::string Statement::text(int column) const {
  const auto* const data = static_cast<const char*>(sqlite3_column_blob(handle_, column));
  const int size = sqlite3_column_bytes(handle_, column);
  return data == nullptr ? std::string() : std::string(data, static_cast<std::size_t>(size));
}

std::int64_t Statement::number(int column) const {
  return sqlite3_column_int64(handle_, column);
}

}  // namespace devkit
