#include "support/FakeCloudClient.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "support/cloud_client_table.h"
#include "support/loadable.h"

namespace support {
namespace {

std::string quoted(const char* text) {
  return text != nullptr ? "'" + std::string(text) + "'" : "null";
}

std::optional<std::string> optional_text(const char* text) {
  return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

std::string arguments_of(const zvnc::OptionCall& call) {
  using Kind = zvnc::OptionCall::Kind;
  switch (call.kind) {
    case Kind::number:
      return " " + std::to_string(call.number);
    case Kind::text:
      return " " + quoted(call.texts[0]);
    case Kind::proxy:
      return " " + quoted(call.texts[0]) + " " + quoted(call.texts[1]) + " " +
             quoted(call.texts[2]);
    case Kind::callback:
    case Kind::callback_and_context:
    case Kind::unknown:
      break;
  }
  return "";
}

}  // namespace

Answer answer_text(std::string text) {
  Answer answer;
  answer.text = std::move(text);
  return answer;
}

Answer answer_failure(std::uint32_t result) {
  Answer answer;
  answer.result = result;
  answer.has_response = false;
  return answer;
}

FakeCloudClient::FakeCloudClient()
    : table_(make_cloud_client_table(*this)), answer_(answer_text(R"({"result": {}})")) {}

FakeCloudClient::~FakeCloudClient() {
  release_library();
  forget_cloud_client_table();
}

void FakeCloudClient::load_library() {
  std::uint32_t error = 0;
  library_ = platform::load_library(loadable(L"zvnc").wstring().c_str(), error);
  if (library_ == nullptr) throw std::runtime_error("the test's client library doesn't load");
  void* const set_backend = platform::find_symbol(library_, zvnc::set_backend_name, error);
  if (set_backend == nullptr) throw std::runtime_error("another client library is in the process");
  reinterpret_cast<zvnc::set_backend_t>(set_backend)(this);
}

void FakeCloudClient::release_library() {
  if (library_ != nullptr) platform::unload_library(std::exchange(library_, nullptr));
}

bool FakeCloudClient::library_is_loaded() {
  return platform::find_loaded(platform::library_file_name(L"zvnc").c_str()) != nullptr;
}

void FakeCloudClient::answer(Answer answer) {
  const std::lock_guard lock(mutex_);
  answer_ = std::move(answer);
}

void FakeCloudClient::answer_next(Answer answer) {
  const std::lock_guard lock(mutex_);
  next_answers_.push_back(std::move(answer));
}

void FakeCloudClient::answer_by(std::function<Answer(const Ask&)> function) {
  const std::lock_guard lock(mutex_);
  answer_function_ = std::move(function);
}

void FakeCloudClient::fail_init(std::uint32_t result, std::size_t times) {
  const std::lock_guard lock(mutex_);
  init_result_ = result;
  init_failures_ = times;
}

void FakeCloudClient::fail_option(std::uint32_t option, std::uint32_t result) {
  fail_option("", option, result);
}

void FakeCloudClient::fail_option(const std::string& instance, std::uint32_t option,
                                  std::uint32_t result) {
  const std::lock_guard lock(mutex_);
  option_results_[{instance, option}] = result;
}

void FakeCloudClient::let_options_pass() {
  const std::lock_guard lock(mutex_);
  option_results_.clear();
}

void FakeCloudClient::set_cloud_status(std::int32_t value, std::uint32_t result) {
  const std::lock_guard lock(mutex_);
  cloud_status_ = value;
  cloud_status_result_ = result;
}

void FakeCloudClient::come_up_after_a_look() {
  const std::lock_guard lock(mutex_);
  comes_up_after_a_look_ = true;
}

void FakeCloudClient::set_upload_result(std::uint32_t result) {
  const std::lock_guard lock(mutex_);
  upload_result_ = result;
}

void FakeCloudClient::set_upload_reports(std::vector<cirrel_upload_status> reports) {
  const std::lock_guard lock(mutex_);
  upload_reports_ = std::move(reports);
}

void FakeCloudClient::set_register_result(std::uint32_t result) {
  const std::lock_guard lock(mutex_);
  register_result_ = result;
}

void FakeCloudClient::register_by(std::function<std::uint32_t(const PushRegistration&)> function) {
  const std::lock_guard lock(mutex_);
  register_function_ = std::move(function);
}

std::vector<std::string> FakeCloudClient::calls() const {
  const std::lock_guard lock(mutex_);
  return calls_;
}

std::size_t FakeCloudClient::count(const std::string& call) const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count(calls_.begin(), calls_.end(), call));
}

std::size_t FakeCloudClient::count_starting(const std::string& start) const {
  const std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count_if(
      calls_.begin(), calls_.end(), [&](const auto& call) { return call.starts_with(start); }));
}

void FakeCloudClient::forget_calls() {
  const std::lock_guard lock(mutex_);
  calls_.clear();
}

std::vector<Ask> FakeCloudClient::asks() const {
  const std::lock_guard lock(mutex_);
  return asks_;
}

Ask FakeCloudClient::last_ask() const {
  const std::lock_guard lock(mutex_);
  if (asks_.empty()) throw std::logic_error("nothing was asked");
  return asks_.back();
}

std::vector<FreedResponse> FakeCloudClient::freed() const {
  const std::lock_guard lock(mutex_);
  return freed_;
}

std::vector<Upload> FakeCloudClient::uploads() const {
  const std::lock_guard lock(mutex_);
  return uploads_;
}

std::vector<std::uint32_t> FakeCloudClient::report_results() const {
  const std::lock_guard lock(mutex_);
  return report_results_;
}

std::vector<CloudUpCallback> FakeCloudClient::added_callbacks() const {
  const std::lock_guard lock(mutex_);
  return added_callbacks_;
}

std::vector<CloudUpCallback> FakeCloudClient::removed_callbacks() const {
  const std::lock_guard lock(mutex_);
  return removed_callbacks_;
}

std::vector<PushRegistration> FakeCloudClient::registrations() const {
  const std::lock_guard lock(mutex_);
  return registrations_;
}

std::size_t FakeCloudClient::responses_outstanding() const {
  const std::lock_guard lock(mutex_);
  return responses_.size();
}

std::size_t FakeCloudClient::instances_alive() const {
  const std::lock_guard lock(mutex_);
  return instances_.size();
}

std::uint32_t FakeCloudClient::init(zvnc::Road, void** instance) {
  const std::lock_guard lock(mutex_);
  if (init_failures_ != 0) {
    if (init_failures_ != for_ever) --init_failures_;
    calls_.push_back("init failed");
    return init_result_;
  }
  handles_.push_back(std::make_unique<int>(0));
  *instance = handles_.back().get();
  const std::string name = "#" + std::to_string(handles_.size());
  instances_[*instance] = name;
  calls_.push_back("init " + name);
  return 0;
}

std::uint32_t FakeCloudClient::uninit(zvnc::Road, void* instance) {
  const std::lock_guard lock(mutex_);
  calls_.push_back("uninit " + name_of(instance));
  instances_.erase(instance);
  return 0;
}

std::uint32_t FakeCloudClient::ask(zvnc::Road road, void* instance,
                                   const cirrel_ask_request* request, cirrel_response** response) {
  Ask asked;
  std::function<Answer(const Ask&)> function;
  {
    const std::lock_guard lock(mutex_);
    asked = {road,
             name_of(instance),
             request->service,
             request->timeout,
             request->format,
             request->size != 0 ? std::string(request->data, request->size) : std::string()};
    asks_.push_back(asked);
    calls_.push_back("ask " + asked.instance + " " + quoted(request->service));
    function = answer_function_;
  }
  // Outside the lock: a scripted answer may wait for another thread's request.
  const Answer given = function ? function(asked) : next_answer(asked);
  const std::lock_guard lock(mutex_);
  if (given.has_response) *response = respond(given);
  return given.result;
}

Answer FakeCloudClient::next_answer(const Ask&) {
  const std::lock_guard lock(mutex_);
  if (next_answers_.empty()) return answer_;
  Answer next = std::move(next_answers_.front());
  next_answers_.erase(next_answers_.begin());
  return next;
}

cirrel_response* FakeCloudClient::respond(const Answer& answer) {
  auto response = std::make_unique<Response>();
  response->buffer = answer.text.value_or("");
  response->record.reserved = nullptr;
  response->record.text = answer.text ? response->buffer.data() : nullptr;
  response->record.size = answer.size.value_or(response->buffer.size());
  cirrel_response* const record = &response->record;
  responses_[record] = std::move(response);
  return record;
}

std::uint32_t FakeCloudClient::free_response(zvnc::Road road, cirrel_response* response) {
  const std::lock_guard lock(mutex_);
  calls_.push_back("free_response");
  const auto found = responses_.find(response);
  if (found == responses_.end()) throw std::logic_error("a response is freed that isn't out");
  freed_.push_back({road, found->second->buffer, found->second->record.size});
  responses_.erase(found);
  return 0;
}

std::uint32_t FakeCloudClient::set_option(zvnc::Road, void* instance,
                                          const zvnc::OptionCall& call) {
  const std::lock_guard lock(mutex_);
  const std::string name = name_of(instance);
  calls_.push_back("set_option " + name + " " + std::to_string(call.option) + arguments_of(call));
  if (call.option == ZVCIRREL_OPT_ADD_CLOUD_UP_CB) {
    added_callbacks_.push_back({call.callback, call.context});
  }
  if (call.option == ZVCIRREL_OPT_REMOVE_CLOUD_UP_CB) {
    removed_callbacks_.push_back({call.callback, nullptr});
  }
  for (const std::string& whose : {name, std::string()}) {
    const auto found = option_results_.find({whose, call.option});
    if (found != option_results_.end()) return found->second;
  }
  return 0;
}

std::uint32_t FakeCloudClient::get_option(zvnc::Road, void* instance, std::uint32_t option,
                                          void* out) {
  const std::lock_guard lock(mutex_);
  calls_.push_back("get_option " + name_of(instance) + " " + std::to_string(option));
  // A failed read leaves the caller's value as it was.
  if (cloud_status_result_ == 0) std::memcpy(out, &cloud_status_, sizeof(cloud_status_));
  if (std::exchange(comes_up_after_a_look_, false)) cloud_status_ = 0;
  return cloud_status_result_;
}

std::uint32_t FakeCloudClient::file_upload(zvnc::Road, void* instance,
                                           const cirrel_upload_request* request,
                                           cirrel_upload_callback callback, void* context) {
  std::vector<cirrel_upload_status> reports;
  std::uint32_t result = 0;
  {
    const std::lock_guard lock(mutex_);
    uploads_.push_back({name_of(instance), request->service, request->path,
                        optional_text(request->signature), optional_text(request->meta), callback,
                        context});
    calls_.push_back("file_upload " + name_of(instance) + " " + quoted(request->service));
    reports = upload_reports_;
    result = upload_result_;
  }
  for (const cirrel_upload_status& report : reports) {
    const std::uint32_t heard = callback(&report, context);
    const std::lock_guard lock(mutex_);
    report_results_.push_back(heard);
  }
  return result;
}

std::uint32_t FakeCloudClient::connect_register(zvnc::Road road, void* instance,
                                                const cirrel_push_source* source,
                                                const cirrel_push_destination* destination,
                                                const char* topic, const char* transport,
                                                const cirrel_push_callbacks* callbacks) {
  PushRegistration registration;
  std::function<std::uint32_t(const PushRegistration&)> function;
  std::uint32_t result = 0;
  {
    const std::lock_guard lock(mutex_);
    registration = {road,
                    name_of(instance),
                    optional_text(source->user_token),
                    optional_text(source->app_id),
                    optional_text(source->device_id),
                    optional_text(destination->app_id),
                    optional_text(destination->device_id),
                    optional_text(topic),
                    optional_text(transport),
                    callbacks->on_done,
                    callbacks->on_event,
                    callbacks->context};
    registrations_.push_back(registration);
    calls_.push_back("connect_register " + registration.instance + " " + quoted(topic) + " " +
                     quoted(transport));
    function = register_function_;
    result = register_result_;
  }
  // Outside the lock: a scripted result may wait for another thread's call.
  if (function) result = function(registration);
  if (result == 0) {
    const std::lock_guard lock(mutex_);
    const PushTarget target{registration.on_event, registration.context};
    if (std::find(push_targets_.begin(), push_targets_.end(), target) == push_targets_.end()) {
      push_targets_.push_back(target);
    }
  }
  return result;
}

std::size_t FakeCloudClient::push(const std::string& text) {
  std::string buffer = text + "\"rubbish behind the text";
  const cirrel_response response{nullptr, buffer.data(), text.size()};
  return push_response(&response);
}

std::size_t FakeCloudClient::push_response(const cirrel_response* response) {
  std::vector<PushTarget> targets;
  {
    const std::lock_guard lock(mutex_);
    targets = push_targets_;
  }
  for (const PushTarget& target : targets) target.callback(response, target.context);
  return targets.size();
}

std::string FakeCloudClient::name_of(void* instance) const {
  if (instance == &shared_) return "shared";
  const auto found = instances_.find(instance);
  return found != instances_.end() ? found->second : "dead";
}

}  // namespace support
