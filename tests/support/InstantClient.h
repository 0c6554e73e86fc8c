#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "cloud/cirrel_client.h"

/// A cloud client without a library behind it, which answers every ask at once with one text. For
/// measuring and fuzzing what stands around the client; it records nothing. One at a time.
class InstantClient {
 public:
  explicit InstantClient(std::string answer = {}) {
    text() = std::move(answer);
    table_.zvcirrel_init = [](void** instance) -> std::uint32_t {
      *instance = &text();
      return 0;
    };
    table_.zvcirrel_uninit = [](void*) -> std::uint32_t { return 0; };
    table_.zvcirrel_ask = ask;
    table_.zvcirrel_free_response = free_response;
    table_.zvcirrel_set_option = set_option;
    table_.zvcirrel_get_option = [](void*, std::uint32_t, void*) -> std::uint32_t { return 0; };
    table_.zvcirrel_file_upload = [](void*, const cirrel_upload_request*, cirrel_upload_callback,
                                     void*) -> std::uint32_t { return 0; };
  }
  InstantClient(const InstantClient&) = delete;
  InstantClient& operator=(const InstantClient&) = delete;

  cirrel_client* client() { return &table_; }
  void* instance() { return &text(); }
  void set_answer(std::string answer) { text() = std::move(answer); }

  static std::uint32_t ask(void*, const cirrel_ask_request*, cirrel_response** response) {
    const std::string& answer = text();
    auto* const made =
        static_cast<cirrel_response*>(std::malloc(sizeof(cirrel_response) + answer.size() + 1));
    made->reserved = nullptr;
    made->text = reinterpret_cast<char*>(made + 1);
    made->size = answer.size();
    std::memcpy(made->text, answer.c_str(), answer.size() + 1);
    *response = made;
    return 0;
  }
  static std::uint32_t set_option(void*, std::uint32_t, ...) { return 0; }
  static std::uint32_t free_response(cirrel_response* response) {
    std::free(response);
    return 0;
  }

 private:
  static std::string& text() {
    static std::string value;
    return value;
  }

  cirrel_client table_{};
};
