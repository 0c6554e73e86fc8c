// Memory runs out at each allocation while a breaker is built. There is a breaker or an exception,
// and behind a resolver nobody notices either.

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "_base/EqWorkItem.h"
#include "frame/IServMain.h"
#include "guardian/ICloudGuardianQuerier.h"
#include "guardian/WithoutMemoryTest.h"
#include "guardian/circuit_breaker.h"
#include "guardian/guarded_resolver.h"
#include "support/InstantClient.h"

namespace {

using cloud::guardian::circuit_breaker;
using cloud::guardian::guarded_resolver;
using support::GuardianFolder;

/// Longer than what a string holds without an allocation.
const std::string service = "a service whose name is long enough to be allocated";

/// A host with a querier, that needs no memory itself. What it gives out is counted.
class Host final : public IServMain,
                   public IServPluginManager,
                   public IExecutionService,
                   public ISerialExecution {
 public:
  Host() = default;
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;
  ~Host() = default;

  long given = 0;

  void not_called_0() override {}
  IServPluginManager* get_plugin_manager() override { return this; }
  void not_called_2() override {}
  IExecutionService* get_execution_service() override { return this; }

  std::uint32_t get_plugin(const wchar_t*, const IID&, void** plugin) override {
    ++given;
    *plugin = static_cast<ICloudGuardianQuerier*>(&querier_);
    return 0;
  }
  void release_plugin(const wchar_t*) override { --given; }

  std::uint32_t make_serial_execution(ISerialExecution** execution) override {
    ++given;
    *execution = this;
    return 0;
  }
  void release_serial_execution(ISerialExecution*) override {
    --given;
    drop_task();
  }
  std::uint32_t enqueue_task(const wchar_t*, std::uint64_t, EqWorkItem* task, std::uint64_t,
                             std::uint64_t, std::uint64_t) override {
    task_ = task;
    return 0;
  }

 private:
  class Querier final : public ICloudGuardianQuerier {
   public:
    void* QueryInterface(const IID&) override { return this; }
    void get_settings(zv::StringT<char>&) override {}
    bool add_observer(ICloudGuardianSettingsObserver*, std::uint64_t) override { return true; }
    bool remove_observer(ICloudGuardianSettingsObserver*, std::uint64_t) override { return true; }
  };

  void drop_task() {
    if (task_ != nullptr) std::exchange(task_, nullptr)->Release();
  }

  Querier querier_;
  EqWorkItem* task_ = nullptr;
};

class FaultsMemoryStart : public WithoutMemoryTest {
 protected:
  FaultsMemoryStart() {
    folder.plant(service, support::stored_circuit(circuit_state::open));
    folder.write_cache(support::config_text(GuardianFolder::config({service})));
  }

  /// Lets each allocation of `build` fail, and counts how often `build` threw.
  void play(const char* what, const std::function<void()>& build) {
    build();
    long thrown = 0;
    const long count = each_allocation([&](long index) {
      log.clear();
      return failing_allocation::met_by(index, [&] {
        try {
          build();
        } catch (const std::exception&) {
          ++thrown;
        }
      });
    });
    std::cout << what << ": " << count << " allocations failed, exception " << thrown
              << ", process ended " << deaths << '\n';
    EXPECT_GT(thrown, 0);
    EXPECT_EQ(deaths, 0) << "ended the process";
  }

  Host host;
  InstantClient client;
};

/// The rest of a test needs all the memory there is.
template <class Check>
void with_memory(Check check) {
  const long left = std::exchange(failing_allocation::successes_left, failing_allocation::never);
  check();
  failing_allocation::successes_left = left;
}

TEST_F(FaultsMemoryStart, ABreakerIsThereOrThrows) {
  play("breaker", [] { circuit_breaker(); });
}

TEST_F(FaultsMemoryStart, ABreakerOfAHostIsThereOrThrowsAndGivesBackWhatItGot) {
  play("breaker of a host", [this] {
    try {
      circuit_breaker breaker(&host);
    } catch (...) {
      EXPECT_EQ(host.given, 0);
      throw;
    }
    EXPECT_EQ(host.given, 0);
  });
}

TEST_F(FaultsMemoryStart, AResolverHasABreakerOrDoesWithout) {
  long refused = 0;
  long passed = 0;
  play("resolver", [&] {
    // A breaker that couldn't read the file has written its own by the end.
    with_memory([&] { folder.plant(service, support::stored_circuit(circuit_state::open)); });
    guarded_resolver resolver(client.client(), client.instance(), &host);
    with_memory([&] {
      cloud::technology_request request;
      request.service = service.c_str();
      cloud::request_reply reply;
      ++(resolver.resolve(request, reply).code == 5 ? refused : passed);
    });
  });
  std::cout << "resolver: " << refused << " with a breaker that refused, " << passed
            << " without one that let pass\n";
  EXPECT_GT(refused, 0);
  EXPECT_GT(passed, 0);
}

TEST_F(FaultsMemoryStart, AWatcherThatLacksMemoryEndsNothing) {
  // More than a watcher needs to begin.
  constexpr long most = 30;
  for (long index = 0; index < most; ++index) {
    const bool survived = survives([&] {
      seam.starve_watchers(index);
      circuit_breaker();
    });
    deaths += survived ? 0 : 1;
  }
  std::cout << "watcher: " << most << " allocations, process ended " << deaths << '\n';
  EXPECT_EQ(deaths, 0) << "ended the process";
}

}  // namespace
