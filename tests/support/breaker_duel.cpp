#include "support/breaker_duel.h"

#include <fstream>
#include <ostream>
#include <set>
#include <sstream>
#include <tuple>

#include "_base/utf8.h"
#include "guardian/break_time.h"
#include "support/duel_material.h"
#include "support/guardian_inside.h"

namespace support::duel {

using cloud::guardian::circuit_breaker;
using platform::Call;

namespace {

constexpr std::int64_t second = 10'000'000;
constexpr std::int64_t minute = 60 * second;
constexpr std::int64_t hour = 60 * minute;

std::optional<std::string> content(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open()) return std::nullopt;
  return std::string(std::istreambuf_iterator<char>(file), {});
}

std::string text_of(const std::optional<std::string>& file) {
  return file ? '"' + *file + '"' : "no file";
}

std::wstring text_of(const ReferenceReport& report) {
  std::wstring text = zv::to_wide(report.service);
  if (!report.began) {
    return text + L" disabled " + std::to_wstring(report.blocked) + L' ' +
           std::to_wstring(report.allowed);
  }
  text += L" enabled";
  for (const auto& failure : report.failures) text += L' ' + zv::to_wide(failure);
  return text;
}

std::wstring text_of(const PostedEvent& event) {
  std::wstring text = event.strings.at(L"service") + L' ' + event.strings.at(L"throttling");
  for (const wchar_t* const name : {L"blocked_requests", L"allowed_requests"}) {
    const auto number = event.integers.find(name);
    if (number != event.integers.end()) text += L' ' + std::to_wstring(number->second);
  }
  if (const auto errors = event.child_lists.find(L"errors"); errors != event.child_lists.end()) {
    for (const auto& error : errors->second) text += L' ' + error.strings.at(L"value");
  }
  return text;
}

unsigned instance_of(const Step& step) {
  constexpr std::array which = {0u, 0u, 0u, 1u, 1u, 2u};
  static_assert(which.size() == instances);
  return which.at(step.instance);
}

std::string service_of(const Step& step) {
  if (step.service < services / 2) return "a";
  if (step.service < services - 2) return "b";
  // Rarely the name that no file can hold, since it stays, and nothing can be written from then on.
  return step.choice == choices - 1 ? "not \xFF" : "\xC3\xA4 c";
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Step& step) {
  constexpr std::array names = {"ask",      "success", "failure", "clock", "news",
                                "settings", "restart", "damage",  "fault"};
  return out << names.at(static_cast<std::size_t>(step.kind)) << " #" << step.choice
             << " of instance " << instance_of(step) << ", service " << service_of(step);
}

Stage::Stage() {
  folder.seam().set_elevated(true);
  folder.seam().fail_calls(Call::watch, 5);
  folder.write("settings/cloud_guardian_settings.json", packaged_settings());
}

Duel::Duel(Stage& stage, Tally& tally) : stage_(stage), tally_(tally) {
  std::filesystem::remove(stage_.circuits);
  std::filesystem::remove(stage_.cache);
  world_.draw = [](std::uint32_t min, std::uint32_t max, std::uint32_t seed) {
    return cloud::guardian::draw_break({min, max}, seed);
  };
  world_.packaged = configurations[0];
  stage_.events.clear();
  set_clock(1'700'000'000 * second + 1'234'567);
  for (unsigned instance = 0; instance < real_.size(); ++instance) restart(instance);
  ++tally_.sequences;
}

Duel::~Duel() {
  stage_.folder.seam().let_calls_through(Call::lock);
  stage_.folder.seam().let_calls_through(Call::write);
}

std::optional<std::string> Duel::play(const Step& step) {
  ++tally_.steps;
  if (step.kind == Kind::restart) {
    restart(instance_of(step));
    return difference();
  }
  const auto before = reference_[instance_of(step)]->circuits();
  const Counts start = counts();
  const auto [answer, expected] = carry_out(step);
  if (answer != expected) return std::string("answered ") + (answer ? "true" : "false");
  if (!expected) ++tally_.refusals;
  note_passages(before, reference_[instance_of(step)]->circuits());
  const Counts end = counts();
  for (std::size_t i = 0; i < end.size(); ++i) {
    const std::size_t real = end[i].real - start[i].real;
    const std::size_t reference = end[i].reference - start[i].reference;
    if (real != reference) {
      return std::to_string(real) + " instead of " + std::to_string(reference) + ' ' + end[i].what;
    }
  }
  if (auto complaint = difference_of_reports()) return complaint;
  return difference();
}

std::pair<bool, bool> Duel::carry_out(const Step& step) {
  const std::string service = service_of(step);
  circuit_breaker& real = *real_[instance_of(step)];
  ReferenceBreaker& reference = *reference_[instance_of(step)];
  switch (step.kind) {
    case Kind::ask:
      return {real.IsSendAllowed(service), reference.is_send_allowed(service)};
    case Kind::success:
      real.process_request_succeded(service.c_str());
      reference.succeeded(service);
      break;
    case Kind::failure:
      fail(real, reference, service, step.choice);
      break;
    case Kind::settings: {
      const auto& settings = configurations[step.choice % configurations.size()];
      real.OnSettingsChanged(settings.c_str());
      reference.settings_changed(settings);
      break;
    }
    case Kind::clock:
      set_clock(moved_clock(step));
      break;
    case Kind::news:
      bring_news(real, reference, step.choice);
      break;
    case Kind::damage:
      damage(step.choice);
      break;
    case Kind::fault:
      arm(step.choice);
      break;
    case Kind::restart:
      break;
  }
  return {true, true};
}

Duel::Counts Duel::counts() const {
  const auto& seam = stage_.folder.seam();
  return {{{"locks", seam.calls(Call::lock), world_.locks},
           {"reads", seam.calls(Call::read), world_.reads},
           {"writes", seam.calls(Call::write), world_.writes}}};
}

void Duel::set_clock(std::int64_t now) {
  world_.now = now;
  stage_.folder.seam().hold_clock(now);
}

std::int64_t Duel::moved_clock(const Step& step) const {
  const auto& circuits = reference_[instance_of(step)]->circuits();
  const auto circuit = circuits.find(service_of(step));
  const std::int64_t next =
      circuit == circuits.end() ? world_.now : circuit->second.next_request_time;
  switch (step.choice) {
    case 0:
      return world_.now + second;
    case 1:
      return next;
    case 2:
      return next + 1;
    case 3:
      return next + 30 * minute;
    case 4:
      return next + 30 * minute + 1;
    case 5:
      return world_.now + 1;
    case 6:
      return world_.now - 1;
    case 7:
      return world_.now + 59 * second + 7;
    case 8:
      return world_.now + hour;
    case 9:
      return world_.now - hour;
    case 10:
      return world_.now + 365 * 24 * hour;
    case 11:
      return world_.now - world_.now % second;
    case 12:
      return -5 * second - 5'000'000;
    case 13:
      return 1'700'000'000 * second;
    case 14:
      return next - 1;
    case 15:
      return next + 2 * minute;
    default:
      return world_.now + static_cast<std::int64_t>(step.choice) * second;
  }
}

void Duel::fail(circuit_breaker& real, ReferenceBreaker& reference, const std::string& service,
                unsigned choice) {
  if (choice % 2 == 0) {
    real.process_request_server_error(service.c_str());
    reference.failed(service, std::nullopt);
  } else {
    const auto& failure = choice == 23 ? failures.back() : failures[choice % 3];
    real.process_request_server_error(service.c_str(),
                                      {failure.value, failure.field, failure.method});
    reference.failed(service, failure);
  }
}

void Duel::bring_news(circuit_breaker& real, ReferenceBreaker& reference, unsigned choice) {
  auto& storage = storage_in(real);
  const std::wstring folder = L"folder";
  const std::wstring circuits = L"circuits.json";
  const std::wstring cache = L"cache.json";
  switch (choice) {
    case 0:
    case 1:
    case 2:
      storage.on_modified(folder.c_str(), cache);
      reference.cache_modified = true;
      break;
    case 3:
    case 4:
      storage.on_created(folder.c_str(), cache);
      reference.cache_modified = true;
      break;
    case 5:
      storage.on_created(folder.c_str(), circuits);
      break;
    case 6:
      storage.on_removed(folder.c_str(), cache);
      break;
    case 7:
      storage.on_renamed(folder.c_str(), cache, circuits);
      break;
    case 8:
      storage.on_modified(folder.c_str(), L"Circuits.json");
      break;
    default:
      storage.on_modified(folder.c_str(), circuits);
      reference.services_modified = true;
  }
}

void Duel::damage(unsigned choice) {
  const bool hits_cache = choice >= 12 && choice % 2 == 1;
  auto& file = hits_cache ? world_.cache : world_.services;
  if (choice >= 22) {
    file.reset();
  } else if (choice >= 20 && file) {
    file->resize(file->size() / 2);
  } else if (hits_cache) {
    file = configurations[choice - 6];
  } else {
    file = circuit_files[choice % circuit_files.size()];
  }
  const auto& path = hits_cache ? stage_.cache : stage_.circuits;
  if (file) {
    std::ofstream(path, std::ios::binary) << *file;
  } else {
    std::filesystem::remove(path);
  }
}

void Duel::arm(unsigned choice) {
  if (choice % 2 == 0) {
    stage_.folder.seam().fail_call(Call::write, 28);
    world_.next_write_fails = true;
  } else {
    stage_.folder.seam().fail_call(Call::lock, 37);
    world_.next_lock_fails = true;
  }
}

void Duel::restart(unsigned instance) {
  // A breaker that begins needs its lock.
  stage_.folder.seam().let_calls_through(Call::lock);
  world_.next_lock_fails = false;
  real_[instance].reset();
  real_[instance] = std::make_unique<circuit_breaker>();
  reference_[instance] = std::make_unique<ReferenceBreaker>(world_);
}

void Duel::note_passages(const ReferenceBreaker::Circuits& before,
                         const ReferenceBreaker::Circuits& after) {
  for (const auto& [service, circuit] : after) {
    const auto old = before.find(service);
    if (old == before.end() || old->second.state == circuit.state) continue;
    ++tally_.passages[{old->second.state, circuit.state}];
  }
}

std::optional<std::string> Duel::difference() const {
  const auto files = {std::tuple{"the circuits' file", stage_.circuits, world_.services},
                      std::tuple{"the cache", stage_.cache, world_.cache}};
  for (const auto& [name, path, expected] : files) {
    const auto found = content(path);
    if (found != expected) {
      return std::string(name) + "\n  is        " + text_of(found) + "\n  should be " +
             text_of(expected);
    }
  }
  for (std::size_t i = 0; i < real_.size(); ++i) {
    const std::string found = text_of(circuits_in(*real_[i]));
    const std::string expected = text_of(reference_[i]->circuits());
    if (found != expected) {
      std::string complaint = "instance " + std::to_string(i);
      complaint += "\n  remembers" + found;
      complaint += "\n  instead of" + expected;
      return complaint;
    }
  }
  return std::nullopt;
}

std::optional<std::string> Duel::difference_of_reports() {
  // Several of one step come in the order of a hash map.
  std::multiset<std::wstring> found;
  std::multiset<std::wstring> expected;
  for (const auto& event : stage_.events.posted()) found.insert(text_of(event));
  for (const auto& report : world_.reports) expected.insert(text_of(report));
  tally_.reports += expected.size();
  if (!expected.empty()) stage_.events.clear();
  world_.reports.clear();
  if (found == expected) return std::nullopt;
  std::string complaint = "reported";
  for (const auto& line : found) complaint += "\n    " + zv::to_utf8(line);
  complaint += "\n  instead of";
  for (const auto& line : expected) complaint += "\n    " + zv::to_utf8(line);
  return complaint;
}

std::optional<std::string> play(Stage& stage, Tally& tally, const std::vector<Step>& steps) {
  Duel duel(stage, tally);
  for (std::size_t i = 0; i < steps.size(); ++i) {
    const auto complaint = duel.play(steps[i]);
    if (!complaint) continue;
    std::ostringstream out;
    out << "after step " << i << " (" << steps[i] << "): " << *complaint;
    return out.str();
  }
  return std::nullopt;
}

}  // namespace support::duel
