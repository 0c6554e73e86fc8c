#pragma once

#include <gtest/gtest.h>

#include "devkit/broker/Broker.h"
#include "devkit/cloud/Cloud.h"
#include "system/OwnKit.h"

namespace kit_test {

/// A broker, a cloud and a kit of the test's own.
class KitScene : public testing::Test {
 protected:
  const OwnKit kit;
  devkit::Cloud cloud{{}};
  devkit::Broker broker;
  // What the environment of the machine says counts for nothing here.
  const Variable cloud_variable{"SPLICE_CLOUD", cloud.address()};
  const Variable broker_variable{"SPLICE_BROKER", broker.text()};
  const Variable user_variable{"SPLICE_USER", ""};
};

}  // namespace kit_test
