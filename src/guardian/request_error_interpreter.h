#pragma once

#include <cstdint>
#include <optional>

#include "guardian/ICircuitBreaker.h"
#include "guardian/IRequestObserver.h"

namespace cloud::guardian {

/// Sorts outcomes for the breaker: the few that show a server in trouble, and all others, which
/// speak for it. Stateless.
class request_error_interpreter final : public IRequestObserver {
 public:
  /// `breaker` is not owned and must outlive the interpreter's last call.
  explicit request_error_interpreter(IRequestStatusObserver* breaker);

  void on_upload_result(const char* service, std::uint32_t status) override;
  void on_connect_result(const char* service, const char* method, const request_status& status,
                         const request_reply& reply) override;
  void on_technology_result(const char* service, const request_status& status,
                            const request_reply& reply) override;

  /// True if the status alone settled the matter. `method` may be null in these.
  bool on_generic_request_error(const char* service, const char* method,
                                const request_status& status);
  void on_cirrel_request_error(const char* service, const char* method, std::uint32_t code);
  void on_request_reply_error(const char* service, const char* method, std::int32_t code,
                              std::optional<std::int32_t> detail);
  /// The integer "code" of a reply's text, if it has one.
  static std::optional<std::int32_t> get_request_reply_detailed_error_code(
      const request_reply& reply);

 private:
  void on_reply(const char* service, const char* method, const request_status& status,
                const request_reply& reply);
  void report_failure(const char* service, const char* method, const std::string& value,
                      std::int32_t field);

  IRequestStatusObserver* breaker;
};

}  // namespace cloud::guardian
