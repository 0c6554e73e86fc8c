#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "frame/msgbus/IBusChannel.h"
#include "frame/msgbus/IBusCore.h"
#include "push/comm/bus_message.h"
#include "support/FakeBus.h"
#include "support/RecordingLog.h"

/// A bus in the process, and a log. Every test ends with all messages given back.
class BusTest : public testing::Test {
 protected:
  using Fields = support::BusFields;
  using Calls = std::vector<std::string>;

  BusTest() { bus.load(); }

  void TearDown() override { EXPECT_EQ(bus.messages_alive(), 0u); }

  /// A message with these fields, made without a trace.
  cloud::comm::bus_message make(const Fields& fields) {
    cloud::comm::bus_message message = cloud::comm::create_message(*bus.bus());
    support::write_fields(*message, fields);
    return message;
  }

  /// Every write that `write` makes, in order.
  Fields writes(const std::function<void(IBusMessage&)>& write) {
    const auto message = cloud::comm::create_message(*bus.bus());
    write(*message);
    bus.bus()->Core()->GetChannel("aside")->Send(message.get());
    return bus.last_sent().fields;
  }

  support::RecordingLog log;
  support::FakeBus bus;
};
