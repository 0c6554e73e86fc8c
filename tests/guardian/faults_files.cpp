// Services file and cache in every state of damage, met by a breaker that runs and by one that
// begins: what is of use is taken in, what isn't is told and passed over, and nobody is kept
// waiting.
//
// Each byte gets 3 patterns of flipped bits, or SPLICE_CAMPAIGN times as many, up to all 255.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "guardian/circuit_breaker.h"
#include "guardian/config_files.h"
#include "support/GuardianFolder.h"
#include "support/RecordingLog.h"
#include "support/campaign.h"
#include "support/guardian_inside.h"

namespace {

using cloud::guardian::circuit_breaker;
using nlohmann::json;
using support::circuits_of;
using support::GuardianFolder;
using support::stored_circuit;
using Circuits = support::ReferenceBreaker::Circuits;

const std::string valid_services = [] {
  json open = stored_circuit(circuit_state::open);
  open.update({{"index", 1}, {"blocked", 12}, {"allowed", 3}});
  json closed = stored_circuit();
  closed.update({{"counter", 2}, {"errors", {support::stored_failure("32005.1011", 2, "up\"")}}});
  return json{{"open", open}, {"closed", closed}}.dump();
}();

guardian_config cached_config() {
  guardian_config config = GuardianFolder::config({"open", "closed", "other"});
  config.threshold = 7;
  return config;
}

const std::string valid_cache = support::config_text(cached_config());

/// Every beginning of `text`, from nothing to all but its last byte.
std::vector<std::string> prefixes(const std::string& text) {
  std::vector<std::string> all;
  for (std::size_t size = 0; size < text.size(); ++size) all.push_back(text.substr(0, size));
  return all;
}

/// The patterns that are flipped first are those that turn a character into its like.
std::vector<unsigned char> patterns() {
  std::vector<unsigned char> all{0x01, 0x80, 0x20, 0xff, 0x10, 0x04};
  for (unsigned pattern = 1; pattern < 256; ++pattern) {
    const auto byte = static_cast<unsigned char>(pattern);
    if (std::find(all.begin(), all.end(), byte) == all.end()) all.push_back(byte);
  }
  all.resize(std::min<std::size_t>(all.size(), 3 * std::size_t{support::campaign_factor()}));
  return all;
}

std::vector<std::string> flipped(const std::string& text) {
  std::vector<std::string> all;
  for (const unsigned char pattern : patterns()) {
    for (std::size_t at = 0; at < text.size(); ++at) {
      std::string damaged = text;
      damaged[at] = static_cast<char>(static_cast<unsigned char>(damaged[at]) ^ pattern);
      all.push_back(std::move(damaged));
    }
  }
  return all;
}

/// How many files were taken in, and how many were passed over.
struct Tally {
  std::size_t taken = 0;
  std::size_t passed_over = 0;

  void count(bool is_taken) { ++(is_taken ? taken : passed_over); }
};

void print(const char* what, const Tally& running, const Tally& beginning) {
  std::cout << what << ": " << running.taken << " taken in and " << running.passed_over
            << " passed over while running, " << beginning.taken << " and " << beginning.passed_over
            << " at the beginning\n";
}

class FaultsFiles : public testing::Test {
 protected:
  FaultsFiles() {
    // The test brings the news itself.
    folder.seam().fail_calls(platform::Call::watch, 5);
  }

  /// A breaker that knows the two circuits and the packaged configuration.
  void make_breaker() {
    folder.write_services(valid_services);
    std::filesystem::remove(folder.cache_file());
    breaker = std::make_unique<circuit_breaker>();
  }
  /// Has the running breaker take in the two circuits anew.
  void teach_valid_services() {
    folder.write_services(valid_services);
    support::storage_in(*breaker).on_modified(L"folder", L"services.json");
    EXPECT_TRUE(breaker->IsSendAllowed("other"));
  }
  /// As its record says. Whatever that is, it has to be answered.
  static bool expect_answers(circuit_breaker& asked) {
    bool answer = false;
    EXPECT_NO_THROW(answer = asked.IsSendAllowed("open"));
    EXPECT_NO_THROW(static_cast<void>(asked.IsSendAllowed("closed")));
    return answer;
  }

  /// What it remembers of all but the service that nobody else asks for.
  static std::string remembered(circuit_breaker& asked) {
    Circuits circuits = support::circuits_in(asked);
    circuits.erase("other");
    return text_of(circuits);
  }

  /// The running breaker hears of the services file: it has what the file says, or what it had.
  bool meets_services(const std::string& before) {
    const auto loaded = cloud::guardian::load_services_info(folder.services_file().wstring());
    support::storage_in(*breaker).on_modified(L"folder", L"services.json");
    log.clear();
    // Of a service of its own, so that nothing happens to the others yet.
    EXPECT_TRUE(breaker->IsSendAllowed("other"));
    EXPECT_EQ(support::complaints(log).size(), loaded ? 0u : 1u);
    if (loaded) {
      Circuits expected = circuits_of(loaded.value());
      expected.erase("other");
      EXPECT_EQ(remembered(*breaker), text_of(expected));
    } else {
      EXPECT_TRUE(
          support::has_line_beginning(log, 4, L"reload services from file failed; err = 10"));
      EXPECT_EQ(remembered(*breaker), before);
    }
    expect_answers(*breaker);
    return loaded.has_value();
  }
  /// One that begins with the services file has what it says, or nothing.
  bool begins_with_services() {
    const auto loaded = cloud::guardian::load_services_info(folder.services_file().wstring());
    log.clear();
    circuit_breaker beginner;
    EXPECT_EQ(static_cast<bool>(support::has_line_beginning(
                  log, 8, L"Failed to load cloud guardian services info from file ")),
              !loaded);
    EXPECT_EQ(text_of(support::circuits_in(beginner)),
              text_of(loaded ? circuits_of(loaded.value()) : Circuits()));
    expect_answers(beginner);
    return loaded.has_value();
  }

  /// The running breaker hears of the cache: it goes by it, or by what it had. Either way all
  /// circuits begin anew.
  bool meets_cache() {
    const guardian_config before = *support::config_in(support::storage_in(*breaker));
    const auto loaded = cloud::guardian::load_config_cache(folder.cache_file().wstring());
    support::storage_in(*breaker).on_modified(L"folder", L"cloud_guardian_settings_cache.json");
    log.clear();
    EXPECT_TRUE(expect_answers(*breaker));
    EXPECT_EQ(static_cast<bool>(
                  support::has_line_beginning(log, 4, L"reload config from file failed; err = 10")),
              !loaded);
    EXPECT_EQ(*support::config_in(support::storage_in(*breaker)), loaded ? loaded.value() : before);
    for (const auto& [service, info] : support::storage_in(*breaker).circuits()) {
      EXPECT_EQ(info.state, circuit_state::closed) << service;
    }
    return loaded.has_value();
  }
  /// One that begins with the cache goes by it, or by the packaged configuration.
  bool begins_with_cache() {
    const auto loaded = cloud::guardian::load_config_cache(folder.cache_file().wstring());
    log.clear();
    circuit_breaker beginner;
    EXPECT_EQ(support::complaints(log).size(), loaded ? 0u : 1u);
    EXPECT_EQ(*support::config_in(support::storage_in(beginner)),
              loaded ? loaded.value() : GuardianFolder::config());
    expect_answers(beginner);
    return loaded.has_value();
  }

  /// Plays `texts` as the services file, one after the other.
  void play_services(const char* what, const std::vector<std::string>& texts) {
    make_breaker();
    const std::string before = remembered(*breaker);
    Tally running;
    Tally beginning;
    for (const std::string& text : texts) {
      SCOPED_TRACE(text);
      teach_valid_services();
      ASSERT_EQ(remembered(*breaker), before);

      folder.write_services(text);
      running.count(meets_services(before));
      folder.write_services(text);
      const bool taken = begins_with_services();
      beginning.count(taken);
      // No luck of the loader's own: what isn't even JSON can't have been of use.
      EXPECT_TRUE(!taken || json::accept(text));
      if (HasFailure()) return;
    }
    print(what, running, beginning);
  }
  void play_cache(const char* what, const std::vector<std::string>& texts) {
    make_breaker();
    Tally running;
    Tally beginning;
    for (const std::string& text : texts) {
      SCOPED_TRACE(text);
      teach_valid_services();
      folder.write_cache(text);
      running.count(meets_cache());
      folder.write_services(valid_services);
      const bool taken = begins_with_cache();
      beginning.count(taken);
      EXPECT_TRUE(!taken || json::accept(text));
      if (HasFailure()) return;
    }
    print(what, running, beginning);
  }

  support::RecordingLog log;
  GuardianFolder folder{GuardianFolder::config(), support::TemporaryFolder::fast_base()};
  std::unique_ptr<circuit_breaker> breaker;
};

TEST_F(FaultsFiles, EveryBeginningOfAServicesFileIsPassedOver) {
  play_services("services files cut short", prefixes(valid_services));
}

TEST_F(FaultsFiles, AServicesFileWithAFlippedByteIsTakenOrPassedOver) {
  play_services("services files with a flipped byte", flipped(valid_services));
}

TEST_F(FaultsFiles, EveryBeginningOfACacheIsPassedOver) {
  play_cache("caches cut short", prefixes(valid_cache));
}

TEST_F(FaultsFiles, ACacheWithAFlippedByteIsTakenOrPassedOver) {
  play_cache("caches with a flipped byte", flipped(valid_cache));
}

TEST_F(FaultsFiles, AValidServicesFileIsTakenIn) {
  make_breaker();
  EXPECT_TRUE(meets_services(""));
  EXPECT_FALSE(breaker->IsSendAllowed("open"));
}

}  // namespace
