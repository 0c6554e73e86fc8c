#include "devkit/ecevents/event_line.h"

#include <chrono>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include "devkit/common/os.h"
#include "devkit/common/text.h"

namespace devkit {

namespace {

using nlohmann::ordered_json;
using Text = PostedValues::Text;

std::string time_text() {
  using namespace std::chrono;
  const auto now = floor<milliseconds>(system_clock::now());
  const auto day = floor<days>(now);
  const year_month_day date(day);
  const hh_mm_ss time(now - day);
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ",
                static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
                static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
                static_cast<int>(time.subseconds().count()));
  return text;
}

std::string utf8(const Text& text) {
  return to_utf8(text.view());
}

struct Releasing {
  template <class Enumerator>
  void operator()(Enumerator* enumerator) const {
    zv::ReleaseEnum(enumerator);
  }
};

template <class Value, class Convert>
ordered_json object(zv::IConstEnum<Text, Value>* enumerator, const Convert& convert) {
  const std::unique_ptr<zv::IConstEnum<Text, Value>, Releasing> entry(enumerator);
  ordered_json object = ordered_json::object();
  for (; entry->HasNext(); entry->Next()) object[utf8(*entry->Key())] = convert(*entry->Value());
  return object;
}

template <class Value, class Convert>
ordered_json array(const zv::IList<Value>& list, const Convert& convert) {
  const std::unique_ptr<zv::IConstListEnum<Value>, Releasing> entry(list.GetConstEnum());
  ordered_json array = ordered_json::array();
  for (; entry->HasNext(); entry->Next()) array.push_back(convert(*entry->Value()));
  return array;
}

void add_values(ordered_json& to, const PostedValues& from);

ordered_json child(const PostedValues* values) {
  ordered_json object = ordered_json::object();
  add_values(object, *values);
  return object;
}

void add_values(ordered_json& to, const PostedValues& from) {
  to["strings"] = object(from.GetStrings(), utf8);
  to["integers"] = object(from.GetIntegers(), [](std::int64_t value) { return value; });
  to["string_lists"] = object(
      from.GetStringLists(), [](const PostedValues::TextList* list) { return array(*list, utf8); });
  to["children"] = object(from.GetChildren(), child);
  to["child_lists"] = object(from.GetChildLists(), [](const PostedValues::ChildList* list) {
    return array(*list, child);
  });
}

}  // namespace

std::string event_line(const PostedEvent& event) {
  ordered_json line = {{"time", time_text()},
                       {"process", os::process_id()},
                       {"name", to_utf8(event.GetName())},
                       {"version", to_utf8(event.GetVersion())},
                       {"type", event.GetType()}};
  add_values(line, event);
  return line.dump(-1, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace devkit
