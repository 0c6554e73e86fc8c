// Whatever a server answers, the resolver ends the request with one of its statuses.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "cloud/CirrelResolver.h"
#include "cloud/server_answer.h"
#include "support/InstantClient.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

void read_as_connect(const std::string& answer) {
  static InstantClient client;
  static cloud::CirrelResolver resolver(client.client(), client.instance());
  client.set_answer(answer);

  cloud::connect_request request;
  request.service = "fuzz";
  cloud::request_reply reply;
  reply.code = 77;
  const cloud::request_status status = resolver.resolve(request, reply);
  if (status.error_type == 0) {
    require(status.code == 0);
    require(reply.code != 0 || !reply.text.IsEmpty());
  } else {
    require(status.error_type == 1 && (status.code == 13 || status.code == 31));
    require(reply.code == 77 && reply.text.IsEmpty());
  }
}

void read_as_technology(const std::string& answer) {
  zv::JsonNull value;
  const bool loaded = value.LoadBuffer(answer.data(), answer.size(), 0);
  const cloud::server_answer read =
      cloud::read_server_answer(value, cloud::answer_mode::technology);
  require(read.status == 0 || read.status == 13);
  if (!loaded) require(!read.result.IsValid() && read.server_code == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string answer(reinterpret_cast<const char*>(data), size);
  read_as_connect(answer);
  read_as_technology(answer);
  return 0;
}
