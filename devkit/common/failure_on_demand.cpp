#include "devkit/common/failure_on_demand.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <string>
#include <string_view>

#include "devkit/common/os.h"

namespace devkit {

namespace {

bool read_number(std::string_view text, std::uint32_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

std::string listed(std::initializer_list<const char*> names) {
  std::string text;
  for (const char* const name : names) text += std::string(text.empty() ? " " : ", ") + name;
  return text;
}

}  // namespace

std::uint32_t failure_on_demand(const char* variable, const char* operation,
                                std::initializer_list<const char*> known) {
  const char* const usual = *known.begin();
  const std::string wishes = os::environment(variable).value_or("");
  std::string_view rest = wishes;
  while (!rest.empty()) {
    const std::string_view wish = rest.substr(0, rest.find(','));
    rest.remove_prefix(std::min(rest.size(), wish.size() + 1));
    const std::size_t colon = wish.find(':');
    const std::string_view name = colon == std::string_view::npos ? usual : wish.substr(0, colon);
    const std::string_view text = colon == std::string_view::npos ? wish : wish.substr(colon + 1);
    std::uint32_t number = 0;
    if (!read_number(text, number)) {
      std::fprintf(stderr, "%s: \"%s\" is no wish to fail; write a number, or %s:number.\n",
                   variable, std::string(wish).c_str(), usual);
    } else if (std::find(known.begin(), known.end(), name) == known.end()) {
      std::fprintf(stderr, "%s: \"%s\" names nothing that can fail; there are%s.\n", variable,
                   std::string(wish).c_str(), listed(known).c_str());
    } else if (name == operation) {
      return number;
    }
  }
  return 0;
}

}  // namespace devkit
