#include "devkit/cloud/CommandTable.h"

namespace devkit {

namespace {

using nlohmann::json;

constexpr const char* table = R"(
  CREATE TABLE IF NOT EXISTS commands (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    id TEXT UNIQUE NOT NULL, app_id TEXT NOT NULL, device_id TEXT NOT NULL,
    name TEXT NOT NULL, params TEXT NOT NULL, timestamp INTEGER NOT NULL,
    completions INTEGER NOT NULL DEFAULT 0, status TEXT NOT NULL DEFAULT '',
    by_app_id TEXT NOT NULL DEFAULT '', by_device_id TEXT NOT NULL DEFAULT '');
  CREATE INDEX IF NOT EXISTS waiting ON commands (app_id) WHERE completions = 0;)";

}  // namespace

CommandTable::CommandTable(const std::filesystem::path& file) : database_(file) {
  // A killed process loses nothing by it, and a command costs no wait for the disk.
  database_.execute("PRAGMA synchronous = OFF");
  database_.execute(table);
}

void CommandTable::add(const Command& command) {
  const std::string params = command.params.dump();
  const std::lock_guard guard(mutex_);
  Statement insert(
      database_,
      "INSERT OR IGNORE INTO commands (id, app_id, device_id, name, params, timestamp) "
      "VALUES (?, ?, ?, ?, ?, ?)");
  insert.bind(command.id)
      .bind(command.target.app_id)
      .bind(command.target.device_id)
      .bind(command.name)
      .bind(params)
      .bind(command.timestamp)
      .step();
}

json CommandTable::list(const PushTarget& who) const {
  json list = json::array();
  const std::lock_guard guard(mutex_);
  Statement rows(database_,
                 "SELECT id, name, params, timestamp FROM commands WHERE completions = 0 AND "
                 "app_id = ? AND device_id IN (?, '') ORDER BY number");
  rows.bind(who.app_id).bind(who.device_id);
  while (rows.step()) {
    list.push_back({{"command_id", rows.text(0)},
                    {"command", rows.text(1)},
                    {"command_params", json::parse(rows.text(2))},
                    {"timestamp", rows.number(3)}});
  }
  return list;
}

bool CommandTable::complete(const std::string& id, const std::string& status,
                            const PushTarget& who) {
  const std::lock_guard guard(mutex_);
  Statement first(database_,
                  "UPDATE commands SET status = ?, by_app_id = ?, by_device_id = ? "
                  "WHERE id = ? AND completions = 0");
  first.bind(status).bind(who.app_id).bind(who.device_id).bind(id).step();
  Statement count(database_, "UPDATE commands SET completions = completions + 1 WHERE id = ?");
  count.bind(id).step();
  return database_.changes() != 0;
}

json CommandTable::all() const {
  json list = json::array();
  const std::lock_guard guard(mutex_);
  Statement rows(database_,
                 "SELECT id, app_id, device_id, name, params, timestamp, completions, status, "
                 "by_app_id, by_device_id FROM commands ORDER BY number");
  while (rows.step()) {
    list.push_back({{"command_id", rows.text(0)},
                    {"app_id", rows.text(1)},
                    {"device_id", rows.text(2)},
                    {"name", rows.text(3)},
                    {"params", json::parse(rows.text(4))},
                    {"timestamp", rows.number(5)},
                    {"completions", rows.number(6)},
                    {"status", rows.text(7)},
                    {"by_app_id", rows.text(8)},
                    {"by_device_id", rows.text(9)}});
  }
  return list;
}

}  // namespace devkit
