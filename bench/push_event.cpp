// What a push costs on its way from the client library to a callback in the same process, against
// the bare parse of the same text and the call. The parameters go out as text, so their bare dump
// is part of the second floor.

#include <benchmark/benchmark.h>
#include <jansson.h>

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "bench/Ratios.h"
#include "push/push_service.h"

namespace {

using cloud::push::event_info;

constexpr std::string_view text =
    R"({"jsonrpc": "2.0", "method": "push", "app_fields": {"connect_target": {"app_id": "com.example.application", "device_id": "0123456789abcdef0123456789abcdef"}, "event": "settings_changed", "timestamp": 1700000000123, "event_params": {"section": "network", "revision": 4711, "keys": ["proxy", "timeout", "retries"], "text": "The quick brown fox jumps over the lazy dog.", "origin": {"user": "someone", "device": "another"}}}})";

void on_event(const event_info& event, void* context) {
  benchmark::DoNotOptimize(event.params.c_str());
  ++*static_cast<std::uint64_t*>(context);
}

void parse_and_call(benchmark::State& state, bool with_dump) {
  std::uint64_t calls = 0;
  const event_info event;
  for (auto _ : state) {
    json_t* const root = json_loadb(text.data(), text.size(), 0, nullptr);
    json_t* const fields = json_object_get(root, "app_fields");
    if (with_dump) {
      char* const params = json_dumps(json_object_get(fields, "event_params"), 0);
      benchmark::DoNotOptimize(params);
      std::free(params);
    }
    on_event(event, &calls);
    json_decref(root);
  }
}

void bare_parse_and_call(benchmark::State& state) {
  parse_and_call(state, false);
}

void bare_parse_dump_and_call(benchmark::State& state) {
  parse_and_call(state, true);
}

std::uint32_t accept(void*, const cirrel_push_source*, const cirrel_push_destination*, const char*,
                     const char*, const cirrel_push_callbacks*) {
  return 0;
}

void push_event(benchmark::State& state) {
  cirrel_client client{};
  client.connect_register = accept;
  cloud::push::push_service service(&client, nullptr, nullptr, nullptr);
  cloud::connect_source source;
  source.app_id = "com.example.application";
  source.device_id = "0123456789abcdef0123456789abcdef";
  source.user_token = "token";
  std::uint64_t calls = 0;
  service.register_push_events_callback(on_event, &calls, source, {});
  const cirrel_response response{nullptr, const_cast<char*>(text.data()), text.size()};
  for (auto _ : state) cloud::push::push_service::push_event(&response, &service);
  if (calls != static_cast<std::uint64_t>(state.iterations())) {
    state.SkipWithError("not every push reached the callback");
  }
}

}  // namespace

BENCHMARK(bare_parse_and_call);
BENCHMARK(bare_parse_dump_and_call);
BENCHMARK(push_event);

int main(int argc, char** argv) {
  return bench::run(argc, argv,
                    {{"push_event", "bare_parse_and_call", "at most 1.25"},
                     {"push_event", "bare_parse_dump_and_call", "at most 1.25"}});
}
