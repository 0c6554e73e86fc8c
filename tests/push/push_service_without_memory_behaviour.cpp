#include "_base/FailingAllocation.h"
#include "support/PushServiceTest.h"

namespace {

using support::push_source;
using support::PushReceiver;

class PushServiceWithoutMemory : public support::PushServiceTest {
 protected:
  PushReceiver receiver;
};

TEST_F(PushServiceWithoutMemory, TellsTheCloudAtTheNextChangeOfTheUserWhatItCouldNotWhenItCameUp) {
  bool met = true;
  long met_times = 0;
  for (long index = 0; met && !HasFailure(); ++index) {
    SCOPED_TRACE("allocation " + std::to_string(index));
    renew();
    want_events("an application whose name is long", receiver);
    want_events("another one whose name is long", receiver);
    met = failing_allocation::met_by(index, [&] { EXPECT_NO_THROW(network_up()); });
    if (met) ++met_times;
    forget();
    service->refresh_push_listeners(push_source("", "device", "token"));
    EXPECT_EQ(told_apps(),
              (Names{"an application whose name is long", "another one whose name is long"}));
  }
  EXPECT_GT(met_times, 0);
}

}  // namespace
