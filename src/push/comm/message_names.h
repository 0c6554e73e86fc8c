#pragma once

#include "push/comm/bus_channel.h"
#include "push/comm/records.h"
#include "push/command_info.h"
#include "push/event_info.h"

/// The field `method` of each message, by which those of a channel are told apart.
namespace cloud::comm {

inline constexpr char push_server_up_method[] = "on_push_server_up";

/// There is none for other records: asking for it doesn't compile.
template <class Record>
struct no_method;
template <class Record>
inline constexpr const char* method_of = no_method<Record>::name;
template <>
inline constexpr const char* method_of<push::event_info> = "on_push_event";
template <>
inline constexpr const char* method_of<push::command_info> = "on_push_command";
// An action is announced as a listener under the very name that it bears.
template <>
inline constexpr const char* method_of<push_register> = register_listener;
template <>
inline constexpr const char* method_of<push_unregister> = unregister_listener;
template <>
inline constexpr const char* method_of<push_command_done> = command_done_listener;

}  // namespace cloud::comm
