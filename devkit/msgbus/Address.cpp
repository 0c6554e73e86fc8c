#include "devkit/msgbus/Address.h"

#include <charconv>
#include <cstdio>

#include "devkit/common/os.h"

namespace devkit::bus {

std::optional<Address> Address::parse(std::string_view text) {
  Address address;
  const std::size_t colon = text.rfind(':');
  const std::string_view host = text.substr(0, colon);
  if (!host.empty()) address.host = host;
  if (colon == std::string_view::npos) return address;

  const std::string_view port = text.substr(colon + 1);
  const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), address.port);
  if (error != std::errc() || end != port.data() + port.size() || address.port == 0)
    return std::nullopt;
  return address;
}

Address Address::from_environment() {
  const std::optional<std::string> text = os::environment("SPLICE_BROKER");
  if (!text) return {};
  if (const std::optional<Address> address = parse(*text)) return *address;
  std::fprintf(stderr, "SPLICE_BROKER: \"%s\" is no address; write host:port.\n", text->c_str());
  return {};
}

std::string Address::text() const {
  return host + ":" + std::to_string(port);
}

}  // namespace devkit::bus
