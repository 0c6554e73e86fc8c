#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "cloud/cirrel_client.h"
#include "devkit/cloud/Cloud.h"
#include "devkit/common/os.h"
#include "devkit/common/text.h"
#include "devkit/zvnc/status.h"

namespace kit_test {

namespace status = zvnc::status;

/// The kit's client library, bound as the module binds it, with one instance.
class Client {
 public:
  explicit Client(const std::string& server)
      : library_(std::filesystem::path(KIT_FOLDER) / devkit::os::library_name("zvnc")) {
    devkit::os::set_environment("SPLICE_CLOUD", server);
    client_ = load_cirrel_client();
    if (client_ == nullptr || client_->zvcirrel_init(&instance_) != 0) {
      throw std::runtime_error("the kit's client library can't be bound");
    }
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() {
    if (instance_ != nullptr) client_->zvcirrel_uninit(instance_);
    unload_cirrel_client(client_);
  }

  struct Answer {
    std::uint32_t status;
    std::string text;
  };

  Answer ask(const std::string& service, const std::string& body = "{}",
             std::uint32_t timeout = 20000) {
    const cirrel_ask_request request = {service.c_str(), timeout, 1, body.data(),
                                        static_cast<std::uint32_t>(body.size())};
    cirrel_response* response = nullptr;
    Answer answer = {client_->zvcirrel_ask(instance_, &request, &response), {}};
    if (response != nullptr) {
      answer.text.assign(response->text, response->size);
      client_->zvcirrel_free_response(response);
    }
    return answer;
  }

  template <class... Arguments>
  std::uint32_t set(std::uint32_t option, Arguments... arguments) {
    return client_->zvcirrel_set_option(instance_, option, arguments...);
  }

  bool is_up() {
    std::uint32_t value = 7;
    EXPECT_EQ(client_->zvcirrel_get_option(instance_, ZVCIRREL_OPT_CLOUD_STATUS, &value), 0u);
    return value == 0;
  }

  cirrel_client* operator->() const { return client_; }
  void* instance() const { return instance_; }

 private:
  devkit::os::Library library_;
  cirrel_client* client_ = nullptr;
  void* instance_ = nullptr;
};

/// A folder of this process's own below the system's for what may be thrown away, gone with the
/// object.
class Folder {
 public:
  Folder() {
    static std::atomic<int> next = 0;
    // One may be left of a process that was killed and had the same number.
    do {
      path_ =
          std::filesystem::temp_directory_path() /
          ("kit-test-" + std::to_string(devkit::os::process_id()) + "-" + std::to_string(next++));
    } while (!std::filesystem::create_directory(path_));
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  std::filesystem::path write(const std::string& name, const std::string& content) const {
    std::ofstream(path_ / name, std::ios::binary) << content;
    return path_ / name;
  }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

/// An address of this machine where nobody listens.
inline std::string dead_address() {
  return devkit::Cloud({}).address();
}

inline devkit::Fault fault(const char* kind) {
  devkit::Fault fault;
  fault.kind = kind;
  return fault;
}

}  // namespace kit_test
