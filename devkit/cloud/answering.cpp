#include "devkit/cloud/answering.h"

#include <httplib.h>

#include <stdexcept>

namespace devkit {

void write(httplib::Response& response, const nlohmann::json& value) {
  response.set_content(value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace),
                       json_type);
}

void refuse(httplib::Response& response, int status, const std::string& sentence) {
  response.status = status;
  response.set_content(sentence, "text/plain");
}

void answer_or_refuse(httplib::Response& response, const std::function<void()>& serve) {
  try {
    serve();
  } catch (const nlohmann::json::exception& wrong) {
    refuse(response, 400, std::string("the body is not what is needed here: ") + wrong.what());
  } catch (const std::invalid_argument& wrong) {
    refuse(response, 400, wrong.what());
  } catch (const std::exception& failure) {
    refuse(response, 500, failure.what());
  }
}

}  // namespace devkit
