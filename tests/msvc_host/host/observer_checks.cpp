// Observers of the cloud's coming up: the second table of the object, and this host's objects
// behind it.

#include "host/module.h"

namespace {

class network_observer final : public cloud::ICloudConnectionObserver {
 public:
  ~network_observer() override { ++ended; }
  void OnNetworkAvailable() override {
    ++heard;
    on_other_thread = GetCurrentThreadId() != own_thread_;
  }

  uint32_t heard = 0;
  bool on_other_thread = false;
  static inline uint32_t ended = 0;

 private:
  uint32_t own_thread_ = GetCurrentThreadId();
};

}  // namespace

void observers(const libraries& with, cloud::observable_cloud_requests& requests) {
  about("The observable stands in the object behind the plug-in's fields:");
  zv::iobservable<cloud::ICloudConnectionObserver*>& observable = requests;
  check_same(static_cast<uint64_t>(reinterpret_cast<uint8_t*>(&observable) -
                                   reinterpret_cast<uint8_t*>(&requests)),
             32, "at offset 32");
  {
    network_observer first;
    network_observer second;
    with.cloud_status(0, 1);
    check(!requests.is_cloud_up(), "the cloud is down");
    check(observable.add_observer(&first, 7), "an observer is taken");
    check_same(first.heard, 0, "and hears nothing yet");
    check(!observable.add_observer(&first, 8), "the same observer is refused");

    with.cloud_status(0, 0);
    check(requests.is_cloud_up(), "the cloud is up");
    check(observable.add_observer(&second, ~uint64_t{0}), "another observer is taken");
    check_same(second.heard, 1, "and hears of the cloud at once");
    check(!second.on_other_thread, "on the caller's thread");

    check(with.fire_cloud_up(), "the library tells that the cloud is up");
    check(first.heard == 1 && second.heard == 2, "both observers hear it");
    check(first.on_other_thread && second.on_other_thread, "on the library's thread");

    check(!observable.remove_observer(&first, 8), "another context doesn't remove an observer");
    check(observable.remove_observer(&first, 7), "its own does");
    check(with.fire_cloud_up() && first.heard == 1 && second.heard == 3,
          "a removed observer hears nothing more");
    check(!observable.remove_observer(&second, 0xffffffff), "a context has 64 bits");
    check(observable.remove_observer(&second, ~uint64_t{0}), "and all of them count");

    with.cloud_status(5, 1);
    check(requests.is_cloud_up(), "an instance that can't say is taken for up");
    check_same(network_observer::ended, 0, "the module ended none of this host's observers");
  }
}
