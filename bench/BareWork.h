#pragma once

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <jansson.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "cloud/request_records.h"
#include "support/InstantClient.h"

/// The floors: what cannot be left out, by the bare calls.
namespace bench {

inline constexpr const char* message =
    R"({"type": "scan", "path": "C:\\data\\file.txt", "depth": 3, "flags": ["a", "b"]})";
inline constexpr const char* answer =
    R"({"jsonrpc": "2.0", "id": 1, "result": {"state": "done", "items": [1, 2, 3, 4, 5], "text": "The quick brown fox jumps over the lazy dog and comes back to tell it to all of its friends.", "when": 1700000000, "nested": {"a": {"b": {"c": "d"}}}, "more": "0123456789012345678901234567890123456789"}})";

inline cloud::connect_request make_request() {
  cloud::connect_request request;
  request.service = "connect/settings";
  request.timeout = 5000;
  request.request_method = "get";
  request.source.app_id = "Desktop";
  request.source.device_id = "0123456789abcdef0123456789abcdef";
  request.source.user_token = "token-0123456789abcdef0123456789abcdef0123456789abcdef";
  request.message = message;
  return request;
}

/// Pack, load, merge, dump for the envelope; load, dump for the answer.
inline void exchange_by_jansson(const cloud::connect_request& request, int id) {
  json_t* const params = json_object();
  json_object_set_new(
      params, "connect_source",
      json_pack("{s:s, s:s, s:s}", "app_id", request.source.app_id.c_str(), "user_token",
                request.source.user_token.c_str(), "device_id", request.source.device_id.c_str()));
  json_t* const members = json_loads(request.message.c_str(), 0, nullptr);
  json_object_update(params, members);
  json_decref(members);
  json_t* const envelope = json_pack("{s:s, s:s, s:i}", "jsonrpc", "2.0", "method",
                                     request.request_method.c_str(), "id", id);
  json_object_set_new(envelope, "params", params);
  char* const text = json_dumps(envelope, 0);
  json_decref(envelope);

  const cirrel_ask_request question{"connect/settings", 5000, 1, text,
                                    static_cast<std::uint32_t>(std::strlen(text))};
  cirrel_response* response = nullptr;
  InstantClient::ask(nullptr, &question, &response);
  std::free(text);
  json_t* const parsed = json_loadb(response->text, response->size, 0, nullptr);
  InstantClient::free_response(response);
  char* const reply = json_dumps(json_object_get(parsed, "result"), JSON_ENCODE_ANY);
  benchmark::DoNotOptimize(reply);
  std::free(reply);
  json_decref(parsed);
}

/// Open, lock, close.
inline void lock_cycle(const char* path) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0 || flock(file, LOCK_EX) != 0) std::abort();
  close(file);
}

}  // namespace bench
