// How much memory a request asks for. Three sources are counted: operator new, jansson's own
// allocator, and the C heap as the strings of the records use it (this program is linked with
// --wrap=malloc and --wrap=realloc).

#include <gtest/gtest.h>
#include <jansson.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "cloud/CirrelResolver.h"
#include "frame/logger_stream.h"
#include "guardian/guarded_resolver.h"
#include "support/InstantClient.h"
#include "support/ModuleFolder.h"

namespace {

struct Counts {
  int operator_new = 0;
  int jansson = 0;
  int strings = 0;
};

Counts counts;
bool counting = false;

/// Counts while it lives.
class Counting {
 public:
  Counting() {
    counts = {};
    counting = true;
  }
  Counting(const Counting&) = delete;
  Counting& operator=(const Counting&) = delete;
  ~Counting() { counting = false; }
};

}  // namespace

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* memory, std::size_t size);

void* __wrap_malloc(std::size_t size) {
  if (counting) ++counts.strings;
  return __real_malloc(size);
}

void* __wrap_realloc(void* memory, std::size_t size) {
  if (counting) ++counts.strings;
  return __real_realloc(memory, size);
}
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (counting) ++counts.operator_new;
  return __real_malloc(size);
}
void* operator new(std::size_t size) {
  if (void* const memory = operator new(size, std::nothrow)) return memory;
  throw std::bad_alloc();
}
// All of them, since a sanitizer brings its own for those that are left out.
void* operator new[](std::size_t size) {
  return operator new(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return operator new(size, std::nothrow);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

/// Memory from neither of the counted sources, so that the client's answer isn't counted.
class QuietClient {
 public:
  QuietClient() {
    json_set_alloc_funcs(
        [](std::size_t size) -> void* {
          if (counting) ++counts.jansson;
          return __real_malloc(size);
        },
        std::free);
    client_.client()->zvcirrel_ask = [](void*, const cirrel_ask_request*,
                                        cirrel_response** response) {
      static char text[64];
      static cirrel_response made;
      std::strcpy(text, R"({"result": {"a": 1}})");
      made = {nullptr, text, std::strlen(text)};
      *response = &made;
      return std::uint32_t{0};
    };
    client_.client()->zvcirrel_free_response = [](cirrel_response*) { return std::uint32_t{0}; };
  }

  cirrel_client* client() { return client_.client(); }
  void* instance() { return client_.instance(); }

 private:
  InstantClient client_;
};

TEST(Allocations, OfAConnectRequestAreTheEnvelopeTheAnswerAndTheReply) {
  // Without the guardian's settings, so that it has the dummy for its breaker, which asks for none.
  const support::ModuleFolder folder;
  QuietClient client;
  cloud::guardian::guarded_resolver resolver(client.client(), client.instance());
  cloud::connect_request request;
  request.service = "connect/settings";
  request.request_method = "get";
  request.source.app_id = "Desktop";
  request.message = R"({"a": 1})";
  cloud::request_reply reply;
  resolver.resolve(request, reply);  // whatever is made once

  cloud::request_reply fresh;
  {
    const Counting scope;
    resolver.resolve(request, fresh);
  }

  EXPECT_STREQ("{\"a\": 1}", fresh.text.c_str());
  // Exact, so that a further copy on the request road shows. More than these may be asked for only
  // with a reason.
  EXPECT_EQ(11, counts.operator_new);
  EXPECT_EQ(48, counts.jansson) << "jansson's own, for four values built and two texts parsed";
  EXPECT_EQ(2, counts.strings) << "the reply's record and block";
}

TEST(Allocations, OfALogStatementWhileLoggingIsOffAreNone) {
  int evaluated = 0;
  const auto costly = [&] {
    ++evaluated;
    return std::string(100, 'x');
  };
  {
    const Counting scope;
    LOG_LINE(logging::failure, L"test") << L"never " << costly();
  }
  EXPECT_EQ(0, evaluated);
  EXPECT_EQ(0, counts.operator_new + counts.jansson + counts.strings);
}

}  // namespace
