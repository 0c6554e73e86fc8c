// What a push costs on its way from the cloud client's callback in the server's process to the
// application's callback in another one, against the same bytes, published and received by the bare
// MQTT library through the same broker. The second floor adds what no push can do without: its text
// is parsed and the parameters written again, and since callbacks may block, the client hands over
// to a thread of the pool. And what a registration costs when the server has come back, against one
// bare request and its reply.

#include <benchmark/benchmark.h>
#include <jansson.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <semaphore>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/HandOver.h"
#include "bench/PushScene.h"
#include "bench/Ratios.h"
#include "push/IPushCommClient.h"

namespace {

using bench::Child;
using bench::DeliveryBoard;
using bench::nanoseconds_now;

constexpr const char* application_name = "com.example.application";
constexpr const char* crowd_prefix = "com.example.app-";
constexpr const char* common_prefix = "com.example.app";
constexpr std::size_t crowd_size = 1000;
constexpr const char* bare_reply_topic = "measure/reply/1234567-12345678901234567890";

constexpr std::string_view text =
    R"({"jsonrpc": "2.0", "method": "push", "app_fields": {"connect_target": {"app_id": "com.example.application", "device_id": "0123456789abcdef0123456789abcdef"}, "event": "settings_changed", "timestamp": 1700000000123, "event_params": {"section": "network", "revision": 4711, "keys": ["proxy", "timeout", "retries"], "text": "The quick brown fox jumps over the lazy dog.", "origin": {"user": "someone", "device": "another"}}}})";

// --- the other processes

/// Until there is no more to do.
void obey(const std::function<void()>& settle) {
  std::cout << "ready" << std::endl;
  for (std::string line; std::getline(std::cin, line);) {
    settle();
    std::cout << "settled" << std::endl;
  }
}

void be_application(const std::filesystem::path& folder) {
  support::FakeCloudClient client;
  client.load_library();
  DeliveryBoard board(folder / "application");
  devkit::Application application(
      bench::module_in(folder), bench::with_user(), application_name,
      [&](const cloud::push::event_info&) { board.note(); }, [](const auto&) {});
  application.start_events();
  obey([] {});
}

void be_crowd(const std::filesystem::path& folder) {
  support::FakeCloudClient client;
  client.load_library();
  devkit::PluginHost host(bench::module_in(folder), bench::with_user());
  const devkit::HeldPlugin integrator(host, "connect_integrator", IID_IPushServiceClient);
  auto& service = integrator.as<IPushCommClient>();
  const auto nothing = [](const cloud::push::event_info&, void*) {};
  // Names that no crowd had before: the server doesn't forget the dead, and tells the cloud of none
  // twice.
  const std::string name = crowd_prefix + std::to_string(devkit::os::process_id()) + "-";
  for (std::size_t i = 0; i != crowd_size; ++i) {
    cloud::connect_source source;
    source.app_id = (name + std::to_string(i)).c_str();
    service.register_push_events_callback(nothing, nullptr, source, {});
  }
  // Waits for the lock under which registrations are sent; a stranger's leaving does nothing else.
  obey([&] {
    cloud::connect_source stranger;
    stranger.app_id = "stranger";
    service.unregister_push_events_callback(nothing, nullptr, stranger, {});
  });
}

void be_bare(const std::filesystem::path& folder) {
  DeliveryBoard board(folder / "bare");
  std::string reply;
  {
    std::ifstream file(folder / "reply");
    std::getline(file, reply);
  }
  bench::HandOver pool([&] { board.note(); });
  bench::BareMqtt mqtt(devkit::bus::Address::from_environment(),
                       [&](bench::BareMqtt& self, const bench::BareMqtt::Arrived& message) {
                         if (message.topic == bench::bare_events) return board.note();
                         if (message.topic == bench::handed_over_events) return pool.hand();
                         self.reply(message.reply_to(), reply);
                       });
  mqtt.subscribe(bench::bare_events);
  mqtt.subscribe(bench::handed_over_events);
  mqtt.subscribe(bench::bare_actions);
  obey([] {});
}

int be(std::string_view role, const std::filesystem::path& folder) {
  try {
    if (role == "application") be_application(folder);
    if (role == "crowd") be_crowd(folder);
    if (role == "bare") be_bare(folder);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", std::string(role).c_str(), error.what());
    return 1;
  }
}

// --- the server's process

class Stage {
 public:
  Stage() {
    bench::fill_module_folder(folder_.path());
    devkit::os::set_environment("SPLICE_BROKER", broker_.text());
    devkit::os::set_environment("SPLICE_USER", "");
    client_.load_library();

    bench::WireTap tap(broker_.address());
    start_server();
    application_board_.emplace(folder_ / "application");
    registrations_.expect(1);
    application_.emplace("application", folder_.path());
    registrations_.wait();
    push_one();

    event_ = tap.payload("channel/connect.events", "settings_changed");
    registration_ = tap.payload("channel/connect.actions", application_name);
    std::ofstream(folder_ / "reply") << tap.payload("reply/", "push_register");
    bare_board_.emplace(folder_ / "bare");
    bare_child_.emplace("bare", folder_.path());
    bare_.emplace(broker_.address(),
                  [this](bench::BareMqtt&, const bench::BareMqtt::Arrived&) { reply_.release(); });
    bare_->subscribe(bare_reply_topic);
  }

  DeliveryBoard& application_board() { return *application_board_; }
  DeliveryBoard& bare_board() { return *bare_board_; }

  void push() const {
    registrations_.deliver({nullptr, const_cast<char*>(text.data()), text.size()});
  }
  void publish() { bare_->publish(bench::bare_events, event_); }
  void parse_and_publish() {
    json_t* const root = json_loadb(text.data(), text.size(), 0, nullptr);
    char* const params =
        json_dumps(json_object_get(json_object_get(root, "app_fields"), "event_params"), 0);
    benchmark::DoNotOptimize(params);
    std::free(params);
    json_decref(root);
    bare_->publish(bench::handed_over_events, event_);
  }

  void request() {
    bare_->request(bench::bare_actions, registration_, {bare_reply_topic, "4711"});
    if (!reply_.try_acquire_for(bench::patience)) throw std::runtime_error("no reply");
  }

  /// Nanoseconds from each registration of the crowd to the next, on the average, once the server
  /// is back.
  double return_of_the_server() {
    registrations_.expect(crowd_size);
    Child crowd("crowd", folder_.path());
    registrations_.wait();
    // Whoever still waits for an answer when the server goes would wait for seconds.
    crowd.settle();
    server_.reset();

    registrations_.expect(crowd_size + 1);
    start_server();
    std::vector<std::int64_t> times;
    for (const auto& [app_id, at] : registrations_.wait()) {
      if (app_id.starts_with(crowd_prefix)) times.push_back(at);
    }
    const double each =
        static_cast<double>(times.back() - times.front()) / static_cast<double>(crowd_size - 1);
    crowd.settle();
    push_one();
    return each;
  }

 private:
  void start_server() { server_.emplace(folder_.path()); }

  void push_one() {
    application_board_->expect(1);
    push();
    application_board_->wait();
  }

  // In memory: the boards lie here, and their pages must not wait for a disk.
  const support::TemporaryFolder folder_{support::TemporaryFolder::fast_base()};
  devkit::Broker broker_;
  support::FakeCloudClient client_;
  bench::Registrations registrations_{client_, common_prefix};
  std::optional<bench::Server> server_;
  std::optional<DeliveryBoard> application_board_;
  std::optional<DeliveryBoard> bare_board_;
  std::optional<Child> application_;
  std::optional<Child> bare_child_;
  std::string event_;
  std::string registration_;
  std::counting_semaphore<> reply_{0};
  std::optional<bench::BareMqtt> bare_;  ///< last: its thread uses the semaphore
};

/// Does something once and gives how long it took, in nanoseconds.
using Once = std::function<double()>;
using Send = std::function<void()>;

/// So many at once: the time for each is that between first leaving and last arrival, divided.
Once delivery(DeliveryBoard& board, int burst, Send send) {
  return [&board, burst, send = std::move(send)] {
    board.expect(static_cast<std::uint64_t>(burst));
    const std::int64_t begin = nanoseconds_now();
    for (int i = 0; i != burst; ++i) send();
    return static_cast<double>(board.wait() - begin) / burst;
  };
}

/// What is to be compared, done in turns: a machine's moods last longer than a turn, and so meet
/// all alike. Each repetition of one takes the next sample, and has all measured if there is none.
class Turns {
 public:
  struct Sample {
    double median;
    double p99;
  };

  Turns(int rounds, std::vector<Once> all)
      : rounds_(rounds), all_(std::move(all)), samples_(all_.size()) {}

  Sample take(std::size_t which) {
    if (samples_[which].empty()) measure();
    const Sample sample = samples_[which].front();
    samples_[which].pop_front();
    return sample;
  }
  bool has_percentiles() const { return rounds_ >= 100; }

 private:
  void measure() {
    std::vector<std::vector<double>> spent(all_.size());
    for (int round = 0; round != rounds_; ++round) {
      for (std::size_t i = 0; i != all_.size(); ++i) spent[i].push_back(all_[i]());
    }
    for (std::size_t i = 0; i != all_.size(); ++i) {
      std::sort(spent[i].begin(), spent[i].end());
      samples_[i].push_back({spent[i][spent[i].size() / 2], spent[i][spent[i].size() * 99 / 100]});
    }
  }

  const int rounds_;
  const std::vector<Once> all_;
  std::vector<std::deque<Sample>> samples_;
};

/// Each repetition is one iteration.
void add(const char* name, int repetitions, const std::shared_ptr<Turns>& turns,
         std::size_t which) {
  const auto measure = [turns, which](benchmark::State& state) {
    constexpr double nano = 1e-9;
    constexpr double micro = 1e-3;
    for (auto _ : state) {
      try {
        const Turns::Sample sample = turns->take(which);
        state.SetIterationTime(sample.median * nano);
        if (turns->has_percentiles()) state.counters["p99_us"] = sample.p99 * micro;
      } catch (const std::exception& error) {
        state.SkipWithError(error.what());
      }
    }
  };
  benchmark::RegisterBenchmark(name, measure)
      ->Iterations(1)
      ->Repetitions(repetitions)
      ->Unit(benchmark::kMicrosecond)
      ->UseManualTime();
}

void add_all(Stage& stage) {
  constexpr int many = 30;
  constexpr int few = 9;
  constexpr int rounds = 300;
  constexpr int burst = 2000;

  const Send publish = [&] { stage.publish(); };
  const Send parse_and_publish = [&] { stage.parse_and_publish(); };
  const Send push = [&] { stage.push(); };
  const auto one_by_one = std::make_shared<Turns>(
      rounds, std::vector{delivery(stage.bare_board(), 1, publish),
                          delivery(stage.bare_board(), 1, parse_and_publish),
                          delivery(stage.application_board(), 1, push)});
  add("bare_delivery", many, one_by_one, 0);
  add("bare_delivery_handed_over", many, one_by_one, 1);
  add("push_delivery", many, one_by_one, 2);
  const auto in_bursts =
      std::make_shared<Turns>(1, std::vector{delivery(stage.bare_board(), burst, publish),
                                             delivery(stage.bare_board(), burst, parse_and_publish),
                                             delivery(stage.application_board(), burst, push)});
  add("bare_stream", many, in_bursts, 0);
  add("bare_stream_handed_over", many, in_bursts, 1);
  add("push_stream", many, in_bursts, 2);

  const Once request = [&] {
    const std::int64_t begin = nanoseconds_now();
    for (std::size_t i = 0; i != crowd_size; ++i) stage.request();
    return static_cast<double>(nanoseconds_now() - begin) / crowd_size;
  };
  const Once registration = [&] { return stage.return_of_the_server(); };
  const auto one_after_another = std::make_shared<Turns>(1, std::vector{request, registration});
  add("bare_request", few, one_after_another, 0);
  add("registration_after_return", few, one_after_another, 1);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && argv[1][0] != '-') return be(argv[1], argv[2]);
  Stage stage;
  add_all(stage);
  return bench::run(
      argc, argv,
      {{"push_delivery/manual_time", "bare_delivery/manual_time", "at most 1.5"},
       {"push_delivery/manual_time:p99_us", "bare_delivery/manual_time:p99_us", "to be looked at"},
       {"push_delivery/manual_time", "bare_delivery_handed_over/manual_time", "to be looked at"},
       {"push_stream/manual_time", "bare_stream/manual_time",
        "at most 1.43, which is 0.7 of the throughput"},
       {"push_stream/manual_time", "bare_stream_handed_over/manual_time", "to be looked at"},
       {"registration_after_return/manual_time", "bare_request/manual_time", "to be looked at"}});
}
