#pragma once

#include <memory>

#include "push/comm/handle.h"
#include "push/comm/records.h"
#include "push/command_info.h"
#include "push/event_info.h"

/// Subscriptions. A callback runs on the bus's thread, which delivers nothing else meanwhile. An
/// empty handle means failure, which is logged.
namespace cloud::comm {

using event_receiver = void(const push::event_info& event, void* context);
using command_receiver = void(const push::command_info& command, void* context);
using management_receiver = void(void* context);
/// Their results go back to the sender as `err`; what they write to `response`, as the echo.
using register_receiver = int(push_register& request, push_register& response, void* context);
using unregister_receiver = int(push_unregister& request, push_unregister& response, void* context);
using command_done_receiver = int(push_command_done& request, push_command_done& response,
                                  void* context);

std::unique_ptr<handle<event_receiver>> start_receiving_events(event_receiver* callback,
                                                               void* context);
std::unique_ptr<handle<command_receiver>> start_receiving_events(command_receiver* callback,
                                                                 void* context);
/// Announces "push_client". The callback hears that the push server has come up.
std::unique_ptr<handle<management_receiver>> start_receiving_management_events(
    management_receiver* callback, void* context);
// Each announces its message's name.
std::unique_ptr<handle<register_receiver>> start_receiving_actions(register_receiver* callback,
                                                                   void* context);
std::unique_ptr<handle<unregister_receiver>> start_receiving_actions(unregister_receiver* callback,
                                                                     void* context);
std::unique_ptr<handle<command_done_receiver>> start_receiving_actions(
    command_done_receiver* callback, void* context);

}  // namespace cloud::comm
