// The listeners without a context, with which no bus calls them. They are the server's own affair,
// so an explicit instantiation, which is not barred from private names, has to fetch them.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "push/push_service_server.h"
#include "support/RecordingLog.h"

namespace {

using cloud::comm::command_done_receiver;
using cloud::comm::register_receiver;
using cloud::comm::unregister_receiver;

register_receiver* register_listener();
unregister_receiver* unregister_listener();
command_done_receiver* command_done_listener();

template <register_receiver* listener>
struct FetchRegister {
  friend register_receiver* register_listener() { return listener; }
};
template <unregister_receiver* listener>
struct FetchUnregister {
  friend unregister_receiver* unregister_listener() { return listener; }
};
template <command_done_receiver* listener>
struct FetchCommandDone {
  friend command_done_receiver* command_done_listener() { return listener; }
};

template struct FetchRegister<&push_service_server::on_push_register>;
template struct FetchUnregister<&push_service_server::on_push_unregister>;
template struct FetchCommandDone<&push_service_server::on_push_command_done>;

template <class Action, class Listener>
void expect_refusal(Listener* listener, const wchar_t* scope) {
  support::RecordingLog log;
  Action request;
  request.source.app_id = "app";
  request.dest.app_id = "other app";
  Action response;
  EXPECT_EQ(listener(request, response, nullptr), 31);
  EXPECT_EQ(log.texts(), std::vector<std::wstring>{L"no valid context"});
  EXPECT_LOGGED(log, 4, scope, L"no valid context");
  EXPECT_TRUE(log.traced(scope));
  EXPECT_TRUE(response.source.app_id.IsEmpty());
  EXPECT_TRUE(response.dest.app_id.IsEmpty());
}

TEST(PushServiceServerListener, RefusesARegistrationWithoutAContext) {
  expect_refusal<cloud::push_register>(register_listener(), L"push register");
}

TEST(PushServiceServerListener, RefusesAnUnregistrationWithoutAContext) {
  expect_refusal<cloud::push_unregister>(unregister_listener(), L"push unregister");
}

TEST(PushServiceServerListener, RefusesACompletionWithoutAContext) {
  expect_refusal<cloud::push_command_done>(command_done_listener(), L"push command done");
}

}  // namespace
