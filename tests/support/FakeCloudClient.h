#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "cloud/cirrel_client.h"
#include "loadable/zvnc/Backend.h"
#include "platform/library.h"

namespace support {

/// One zvcirrel_ask, as it arrived.
struct Ask {
  zvnc::Road road;
  std::string instance;
  std::string service;
  std::uint32_t timeout;
  std::uint32_t format;
  std::string body;
};

/// What a zvcirrel_ask gives.
struct Answer {
  std::uint32_t result = 0;
  bool has_response = true;
  std::optional<std::string> text;    ///< none: the response's text is null
  std::optional<std::uint64_t> size;  ///< the response's size if it isn't the text's
};
Answer answer_text(std::string text);
Answer answer_failure(std::uint32_t result);

/// One zvcirrel_free_response: what the buffer held at that moment.
struct FreedResponse {
  zvnc::Road road;
  std::string content;  ///< the whole buffer, what lies beyond `size` included
  std::uint64_t size;
};

struct Upload {
  std::string instance;
  std::string service;
  std::string path;
  std::optional<std::string> signature;  ///< none: null
  std::optional<std::string> meta;
  cirrel_upload_callback callback;
  void* context;
};

struct CloudUpCallback {
  cirrel_cloud_up_callback callback;
  void* context;  ///< null for a removal, which has none
};

/// One connect_register, its records and texts copied. A text that is none was null.
struct PushRegistration {
  zvnc::Road road;
  std::string instance;
  std::optional<std::string> source_user_token;
  std::optional<std::string> source_app_id;
  std::optional<std::string> source_device_id;
  std::optional<std::string> destination_app_id;
  std::optional<std::string> destination_device_id;
  std::optional<std::string> topic;
  std::optional<std::string> transport;
  cirrel_push_callback on_done;
  cirrel_push_callback on_event;
  void* context;
};

/// The cloud client as tests see it: answers what they script, records what it was asked. Stands
/// behind a loaded library "zvnc", behind a table of functions of its own, or behind both. One at a
/// time; every operation may be called from any thread.
///
/// Calls are recorded in their order as lines: "init #1", "set_option #1 28 'server'",
/// "ask #1 'service'", "file_upload #1 'service'", "get_option #1 31", "free_response",
/// "uninit #1", "connect_register #1 'event' 'secure_web'". Instances are numbered as they are
/// made; the table's own is "shared"; one that isn't alive is "dead". A null text is null.
class FakeCloudClient final : public zvnc::Backend {
 public:
  static constexpr std::size_t for_ever = ~std::size_t{0};

  FakeCloudClient();
  FakeCloudClient(const FakeCloudClient&) = delete;
  FakeCloudClient& operator=(const FakeCloudClient&) = delete;
  ~FakeCloudClient();

  /// Puts the library into the process, where the module finds it by its bare name.
  void load_library();
  /// Gives the test's own count of the library back: whatever then keeps it is the module.
  void release_library();
  /// Whether the process has a library of that name.
  static bool library_is_loaded();

  /// The functions of this object as a table, and an instance to go with it. Not to be unloaded.
  cirrel_client* table() noexcept { return &table_; }
  void* shared_instance() noexcept { return &shared_; }

  // What to answer.
  void answer(Answer answer);       ///< from now on
  void answer_next(Answer answer);  ///< before that, each once, in order
  void answer_by(std::function<Answer(const Ask&)> function);
  void fail_init(std::uint32_t result, std::size_t times = for_ever);
  void fail_option(std::uint32_t option, std::uint32_t result);
  void fail_option(const std::string& instance, std::uint32_t option, std::uint32_t result);
  void let_options_pass();
  void set_cloud_status(std::int32_t value, std::uint32_t result = 0);
  /// The cloud comes up when its status has been read once more.
  void come_up_after_a_look();
  void set_upload_result(std::uint32_t result);
  /// What the next uploads report before they end.
  void set_upload_reports(std::vector<cirrel_upload_status> reports);

  /// What connect_register gives from now on.
  void set_register_result(std::uint32_t result);
  void register_by(std::function<std::uint32_t(const PushRegistration&)> function);

  /// A push comes in, on this thread: once for each pair of function and context that a successful
  /// connect_register brought. What lies behind the text isn't a terminator. Gives how many pairs
  /// there were.
  std::size_t push(const std::string& text);
  /// The same with a response as it is, or none.
  std::size_t push_response(const cirrel_response* response);

  // What was asked.
  std::vector<std::string> calls() const;
  std::size_t count(const std::string& call) const;            ///< lines that are exactly this
  std::size_t count_starting(const std::string& start) const;  ///< lines that begin so
  void forget_calls();
  std::vector<Ask> asks() const;
  Ask last_ask() const;
  std::vector<FreedResponse> freed() const;
  std::vector<Upload> uploads() const;
  std::vector<std::uint32_t> report_results() const;  ///< of the upload callback
  std::vector<CloudUpCallback> added_callbacks() const;
  std::vector<CloudUpCallback> removed_callbacks() const;
  std::vector<PushRegistration> registrations() const;  ///< the failed ones too
  std::size_t responses_outstanding() const;
  std::size_t instances_alive() const;

  std::uint32_t init(zvnc::Road road, void** instance) override;
  std::uint32_t uninit(zvnc::Road road, void* instance) override;
  std::uint32_t ask(zvnc::Road road, void* instance, const cirrel_ask_request* request,
                    cirrel_response** response) override;
  std::uint32_t free_response(zvnc::Road road, cirrel_response* response) override;
  std::uint32_t set_option(zvnc::Road road, void* instance, const zvnc::OptionCall& call) override;
  std::uint32_t get_option(zvnc::Road road, void* instance, std::uint32_t option,
                           void* out) override;
  std::uint32_t file_upload(zvnc::Road road, void* instance, const cirrel_upload_request* request,
                            cirrel_upload_callback callback, void* context) override;
  std::uint32_t connect_register(zvnc::Road road, void* instance, const cirrel_push_source* source,
                                 const cirrel_push_destination* destination, const char* topic,
                                 const char* transport,
                                 const cirrel_push_callbacks* callbacks) override;

 private:
  struct Response {
    cirrel_response record;
    std::string buffer;
  };
  struct PushTarget {
    cirrel_push_callback callback;
    void* context;
    bool operator==(const PushTarget&) const = default;
  };

  std::string name_of(void* instance) const;
  Answer next_answer(const Ask& ask);
  cirrel_response* respond(const Answer& answer);

  mutable std::mutex mutex_;
  platform::module_handle library_ = nullptr;
  cirrel_client table_;
  int shared_ = 0;

  std::map<void*, std::string> instances_;
  std::vector<std::unique_ptr<int>> handles_;  ///< kept, so that no address is used twice
  std::map<cirrel_response*, std::unique_ptr<Response>> responses_;

  Answer answer_;
  std::vector<Answer> next_answers_;
  std::function<Answer(const Ask&)> answer_function_;
  std::uint32_t init_result_ = 0;
  std::size_t init_failures_ = 0;
  std::map<std::pair<std::string, std::uint32_t>, std::uint32_t> option_results_;
  std::int32_t cloud_status_ = 0;
  std::uint32_t cloud_status_result_ = 0;
  bool comes_up_after_a_look_ = false;
  std::uint32_t upload_result_ = 0;
  std::vector<cirrel_upload_status> upload_reports_;
  std::uint32_t register_result_ = 0;
  std::function<std::uint32_t(const PushRegistration&)> register_function_;

  std::vector<std::string> calls_;
  std::vector<Ask> asks_;
  std::vector<FreedResponse> freed_;
  std::vector<Upload> uploads_;
  std::vector<std::uint32_t> report_results_;
  std::vector<CloudUpCallback> added_callbacks_;
  std::vector<CloudUpCallback> removed_callbacks_;
  std::vector<PushRegistration> registrations_;
  std::vector<PushTarget> push_targets_;
};

}  // namespace support
