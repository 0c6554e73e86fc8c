// Requests, uploads and proxies through both request interfaces.

#include "host/module.h"

namespace {

using zvnc::call;

void fill(cloud::connect_request& request) {
  request.service = "connect/checks";
  request.timeout = 1234;
  request.request_method = "list";
  request.source.app_id = "app";
  request.source.device_id = "device";
  request.source.user_token = "token";
  request.destination.device_id = "far device";
  request.destination.app_id = "far app";
  request.message = "{\"b\": 2, \"a\": \"\xe2\x82\xac\"}";
}

constexpr const char* envelope =
    "{\"jsonrpc\": \"2.0\", \"method\": \"list\", \"id\": 1, \"params\": {\"connect_source\": "
    "{\"app_id\": \"app\", \"user_token\": \"token\", \"device_id\": \"device\"}, "
    "\"connect_destination\": "
    "{\"app_id\": \"far app\", \"device_id\": \"far device\"}, \"a\": \"\xe2\x82\xac\", \"b\": 2}}";

// 100 characters of JSON string: longer than any block that a check prepares.
constexpr const char* long_answer =
    "{\"result\": "
    "\"01234567890123456789012345678901234567890123456789012345678901234567890123456789012345678901"
    "23456"
    "7\"}";

class progress_observer final : public cloud::upload_observer {
 public:
  void on_progress(const cloud::upload_progress& progress) override {
    on_other_thread = GetCurrentThreadId() != own_thread_;
    if (count < 2) {
      seen[count].state = progress.state;
      seen[count].flag = progress.flag;
      seen[count].value = progress.value;
      seen[count].text = progress.text;
    }
    ++count;
  }

  cloud::upload_progress seen[2];
  uint32_t count = 0;
  bool on_other_thread = false;

 private:
  uint32_t own_thread_ = GetCurrentThreadId();
};

// A reply whose text this host made, so that its block and record belong to the host's manager.
void reply_in_own_block(const libraries& with, cloud::ICloudRequests& requests) {
  about("A reply text that this host made is grown through this host's memory manager:");
  with.answer(0, long_answer);
  cloud::connect_request request;
  fill(request);
  {
    cloud::request_reply reply;
    reply.text.create("old", 8);
    const zv::StringRecord* own = reply.text.record();
    host_manager = {};
    check_status(requests.resolve(request, reply), 0, 0, "the request succeeds");
    check_same(reply.text.length(), 100, "the text is the long answer");
    check(reply.text.record() == own, "in the string's own record");
    check(own->manager == zv::string_manager(), "which still names this host's manager");
    check(own->capacity >= 100, "with a capacity that holds it");
    check(host_manager.reallocate >= 1, "the block was grown by Reallocate of this host's manager");
    check_same(host_manager.free + host_manager.release, 0,
               "nothing was freed or released meanwhile");
    host_manager = {};
  }
  check(host_manager.free == 2 && host_manager.release == 1,
        "this host's manager got back the block and the record, and its release");
}

void reply_without_reallocation(const libraries& with, cloud::ICloudRequests& requests) {
  about("When this host's memory manager refuses to grow a block:");
  with.answer(0, long_answer);
  cloud::connect_request request;
  fill(request);
  cloud::request_reply reply;
  reply.text.create("old", 8);
  host_manager = {};
  refuse_reallocate = true;
  check_status(requests.resolve(request, reply), 0, 0, "the request succeeds");
  check_same(reply.text.length(), 100, "the text is the long answer");
  check(host_manager.allocate == 1 && host_manager.free == 1,
        "in a new block of that manager, to which the old one went back");
}

void module_manager(zv::IMemMgr& manager) {
  about("The module's memory manager works for this host:");
  auto* bytes = static_cast<uint8_t*>(manager.Allocate(64));
  if (!check(bytes != nullptr, "Allocate gives a block")) return;
  for (uint8_t i = 0; i < 64; ++i) bytes[i] = i;
  bytes = static_cast<uint8_t*>(manager.Reallocate(bytes, 1 << 20));
  if (!check(bytes != nullptr, "Reallocate gives a larger one")) return;
  uint32_t kept = 0;
  for (uint8_t i = 0; i < 64; ++i) kept += bytes[i] == i;
  check_same(kept, 64, "with the bytes of the old one");
  bytes[(1 << 20) - 1] = 1;
  manager.Free(bytes);
  manager.Release();
}

void failures(const libraries& with, cloud::ICloudRequests& requests) {
  about("What fails comes back as a record by value:");
  cloud::connect_request request;
  fill(request);
  cloud::request_reply reply;
  with.answer(0x89abcdef, "");
  check_status(requests.resolve(request, reply), 2, 0x89abcdef,
               "the client library's number, all 32 bits of it");
  with.answer(0, "{\"error\": {\"code\": -32601, \"message\": \"no\"}}");
  check_status(requests.resolve(request, reply), 0, 0, "a server's error is a success");
  check(reply.code == -32601, "its signed number stands in the reply");
  with.answer(0, "[1]");
  check_status(requests.resolve(request, reply), 1, 31, "an answer that isn't an object");
  request.message = "not json";
  check_status(requests.resolve(request, reply), 1, 13, "a message that isn't JSON");
}

}  // namespace

void connect_requests(const libraries& with, cloud::ICloudRequests& requests) {
  about("A connect request:");
  cloud::connect_request request;
  fill(request);
  {
    with.forget();
    with.answer(0, "{\"result\": {\"value\": 5}}");
    cloud::request_reply reply;
    reply.code = 77;
    host_manager = {};
    check_status(requests.resolve(request, reply), 0, 0, "succeeds");
    check_text(reply.text.text(), "{\"value\": 5}", "its reply text was made by the module");
    check_same(static_cast<uint32_t>(reply.code), 0, "its reply code was written");
    check(reply.text.record()->manager != zv::string_manager(),
          "its record names the module's memory manager");
    check(reply.text.record()->block_on_heap == 1 && reply.text.record()->record_on_heap == 1,
          "its flags stand where this host looks");
    module_manager(*reply.text.record()->manager);
    host_manager = {};
  }
  check(host_manager.free == 0 && host_manager.release == 0,
        "the reply text was freed by the module's manager, at the end of this host's string");

  if (const zvnc::record* ask = with.nth(call::ask);
      check(ask != nullptr, "the library was asked")) {
    check_text<char>(ask->first, "connect/checks", "with the service");
    check_same(ask->number, 1234, "the timeout");
    check_same(ask->format, 1, "the format");
    check_text<char>(ask->body, envelope, "the envelope");
    check_same(ask->value, length_of(envelope), "and its size");
  }
  if (const zvnc::record* freed = with.nth(call::free_response);
      check(freed != nullptr, "the answer was given back")) {
    check(freed->wiped, "after it was wiped");
    check_same(freed->value, length_of("{\"result\": {\"value\": 5}}"), "over its whole length");
  }
  check_same(with.count(call::bound_only), 0, "no other function of the library was called");

  reply_in_own_block(with, requests);
  reply_without_reallocation(with, requests);
  failures(with, requests);
}

void technology_requests(const libraries& with, cloud::ICloudRequests& requests) {
  about("A technology request:");
  with.forget();
  with.answer(0, "[1, 2]");
  cloud::technology_request request;
  request.service = "technology/checks";
  request.timeout = 99;
  request.message = "opaque \x01 body";
  cloud::request_reply reply;
  check_status(requests.resolve(request, reply), 0, 0, "succeeds");
  check_text(reply.text.text(), "[1, 2]", "its reply text is the whole answer");
  const zvnc::record* ask = with.nth(call::ask);
  if (!check(ask != nullptr, "the library was asked")) return;
  check_text<char>(ask->first, "technology/checks", "with the service");
  check_same(ask->number, 99, "the timeout");
  check_text<char>(ask->body, "opaque \x01 body", "and the body as it stands");

  about("A service of the settings has an instance of its own:");
  const void* shared = ask->instance;
  with.forget();
  request.service = "own";
  check_status(requests.resolve(request, reply), 0, 0, "its request succeeds");
  const zvnc::record* init = with.nth(call::init);
  const zvnc::record* own = with.nth(call::ask);
  if (!check(init && own && own->instance == init->instance && own->instance != shared,
             "on a new instance"))
    return;
  const zvnc::record* options[] = {with.nth(call::set_option, 0), with.nth(call::set_option, 1),
                                   with.nth(call::set_option, 2)};
  if (!check(options[0] && options[1] && options[2], "which was set up by three options")) return;
  check(options[0]->number == 1 && options[0]->value == 1, "option 1 with 1");
  check_same(options[1]->number, 28, "then option 28");
  check_text<char>(options[1]->first, "own.example:8443", "with the server of the settings");
  check(options[2]->number == 34 && options[2]->value == 1, "then option 34 with 1");
}

void refused_requests(const libraries& with, cloud::ICloudRequests& requests) {
  about("A record whose type belongs to the other kind is refused:");
  with.forget();
  cloud::request_reply reply;
  cloud::connect_request connect;
  fill(connect);
  connect.type = cloud::request_type::technology;
  check_status(requests.resolve(connect, reply), 1, 1359, "by the connect operation");
  cloud::technology_request technology;
  technology.service = "technology/checks";
  technology.type = cloud::request_type::connect;
  check_status(requests.resolve(technology, reply), 1, 1359, "by the technology operation");
  check_same(with.count(call::ask), 0, "and nothing is sent");
}

void uploads(const libraries& with, cloud::ICloudRequests& requests) {
  about("An upload:");
  with.forget();
  cloud::upload_request request;
  request.service = "upload/checks";
  request.timeout = 4321;
  request.path = "C:\\file";
  request.option_b = false;
  request.option_a = true;
  progress_observer observer;
  check_same(requests.resolve(request, &observer), 0, "succeeds");
  constexpr uint32_t numbers[] = {14, 20, 16};
  constexpr uint32_t values[] = {1, 0, 4321};
  for (uint32_t i = 0; i < 3; ++i) {
    const zvnc::record* option = with.nth(call::set_option, i);
    check(option && option->number == numbers[i] && option->value == values[i],
          i == 0   ? "option 14 comes first, from option_a"
          : i == 1 ? "then option 20, from option_b"
                   : "then option 16, the timeout");
  }
  const zvnc::record* sent = with.nth(call::upload);
  if (check(sent != nullptr, "the library was given the file")) {
    check_text<char>(sent->first, "upload/checks", "with the service");
    check_text<char>(sent->second, "C:\\file", "the path");
    check(sent->null_texts, "no signature and no meta");
  }
  check_same(observer.count, 2, "this host's observer heard both reports");
  check(observer.on_other_thread, "on the library's thread");
  check(observer.seen[0].state == 3 && observer.seen[0].flag && observer.seen[0].value == 50,
        "the first as it was");
  check_text(observer.seen[0].text.text(), "half way", "with its text");
  check(observer.seen[1].state == 0 && !observer.seen[1].flag && observer.seen[1].value == 100,
        "the second with the state that stands for unknown ones");
  check_text(observer.seen[1].text.text(), "", "and an empty text");

  with.forget();
  request.signature = "signed";
  request.meta = "about";
  request.option_b = true;
  request.option_a = false;
  check_same(requests.resolve(request, &observer), 0, "an upload with all texts succeeds");
  sent = with.nth(call::upload);
  if (check(sent != nullptr, "the library was given the file")) {
    check_text<char>(sent->third, "signed", "with the signature");
    check_text<char>(sent->body, "about", "and the meta");
  }
  const zvnc::record* a = with.nth(call::set_option, 0);
  const zvnc::record* b = with.nth(call::set_option, 1);
  check(a && b && a->value == 0 && b->value == 1, "the two flags aren't mixed up");

  with.forget();
  request.path = "";
  check_same(requests.resolve(request, &observer), 31, "an upload without a path is refused");
  check_same(with.record_count(), 0, "and nothing reaches the library");
}

void proxies(const libraries& with, cloud::ICloudRequests& requests) {
  about("Proxies:");
  with.forget();
  cloud::proxy_settings settings;
  settings.host = "proxy.example";
  settings.port = 3128;
  settings.user = "user";
  settings.password = "secret";
  check_same(requests.set_proxy(settings, cloud::proxy_target::connect), 0,
             "are set for connect requests");
  const zvnc::record* option = with.nth(call::set_option);
  if (check(option && option->number == 12, "by option 12, the default server being in use")) {
    check_text<char>(option->first, "proxy.example:3128", "with host and port");
    check_text<char>(option->second, "user", "the user");
    check_text<char>(option->third, "secret", "and the password");
  }
  with.forget();
  check_same(requests.disable_proxy(cloud::proxy_target::technology), 0,
             "are disabled for technology requests");
  option = with.nth(call::set_option);
  check(option && option->number == 39 && !option->first[0],
        "by option 39, a separate server being in use");
  settings.port = 65536;
  check_same(requests.set_proxy(settings, cloud::proxy_target::technology), 13,
             "are refused with a wrong port");
  with.forget();
  check_same(requests.disable_proxy(cloud::proxy_target::per_service), 0,
             "are disabled for single services");
  check_same(with.count(call::set_option), 1, "on the one instance that there is");
}

void older_interface(const libraries& with, cloud::ICloudRequestsCompatibility& requests) {
  about("The older interface leads to the same plug-in:");
  with.forget();
  with.answer(0, "{\"result\": 1}");
  cloud::request_reply reply;
  cloud::connect_request connect;
  fill(connect);
  check_status(requests.resolve(connect, reply), 0, 0, "a connect request succeeds");
  check_text(reply.text.text(), "1", "with its reply");
  cloud::technology_request technology;
  technology.service = "technology/checks";
  technology.message = "{}";
  check_status(requests.resolve(technology, reply), 0, 0, "a technology request succeeds");
  check_text(reply.text.text(), "{\"result\": 1}", "with its reply");
  check_same(with.count(call::ask), 2, "both were asked");
  progress_observer observer;
  cloud::upload_request upload;
  upload.path = "C:\\file";
  check_same(requests.resolve(upload, &observer), 0, "an upload succeeds");
  check_same(observer.count, 2, "with its reports");
  cloud::proxy_settings settings;
  check_same(requests.set_proxy(settings, cloud::proxy_target::connect), 13,
             "a proxy without a host is refused");
}
